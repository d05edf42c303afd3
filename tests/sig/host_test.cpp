// The host side: which signals ZUL_SIG1 lets the library hook, and what a
// hooked signal does: the portable handler, the program's earlier
// handler, or the end (or stop) the host would have given the process.
#include "sigtest.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>

namespace {

// The Linux signals the library hooks with ZUL_SIG1 unset.
const std::string kByDefault = "1 2 10 12 13 14 15 17 18 20 21 22 23 24 25 26 27 28 29 30";

std::string HookedList()
{
    std::string list;
    for (int h = 1; h < 32; h++)
        if (Hooked(h))
            list += (list.empty() ? "" : " ") + std::to_string(h);
    return list;
}

TEST(Hooking, ZulSig1DecidesWhichHostSignalsAreHooked)
{
    const struct {
        const char *value;
        std::string hooked;
    } kCases[] = {
        {nullptr, kByDefault},
        {"-dumpon", "1 2 3 4 5 6 7 8 10 11 12 13 14 15 17 18 20 21 22 23 24 25 26 27 28 29 30 31"},
        {"-dumpon -syncoff", "1 2 3 10 12 14 15 17 18 20 21 22 23 24 25 26 27 28 29 30"},
        {"-asyncoff", "13"},                    // SIGPIPE: synchronous, no dump
        {"-DumpOn -dumpoff", kByDefault},       // any case; the last one wins
        {"-dumpo -dumpons -syncoff -trac", "1 2 10 12 14 15 17 18 20 21 22 23 24 25 26 27 28 29 30"},
        {"-asyncoff -syncoff -dumpon", ""},
    };
    for (const auto &c : kCases) {
        Child child([&] {
            if (c.value)
                setenv("ZUL_SIG1", c.value, 1);
            UseSig1();
            std::printf("%s", HookedList().c_str());
        });
        EXPECT_EQ(child.Wait().text, c.hooked) << (c.value ? c.value : "(unset)");
    }
}

TEST(Hooking, LoadingTheLibraryChangesNoDispositionAndTheFirstUseHooks)
{
    Child child([] {
        execl(ZUL_SIG_LOAD_PROBE, ZUL_SIG_LOAD_PROBE, ZUL_SHARED_LIBRARY, static_cast<char *>(nullptr));
    });
    // Hooked at first use: those hooked by default, less those the probe ignores.
    std::string want;
    for (int h : {2, 12, 14, 15, 17, 18, 20, 21, 23, 24, 26, 27, 29, 30})
        want += " " + std::to_string(h);
    EXPECT_EQ(child.Wait().text, "used:" + want + "\n");
}

TEST(Hooking, TheScanAndTheTokensAreLogged)
{
    Child child([] {
        setenv("ZUL_RAS1", "STATE DETAIL", 1);
        setenv("ZUL_SIG1", "-bogus -trace", 1);
        UseSig1();
    });
    const std::string log = child.Wait().text;
    for (const char *line : {"zulsgnp,", "siginfo:yes, sigaction:yes, per-process handlers:yes",
                             "Signal SIG1_SIGABRT(1:6) available, dump\n",
                             "Signal SIG1_SIGQUIT(26:3) available, async, dump\n",
                             "Signal SIG1_SIGPIPE(22:13) available\n", "Token 2: \"-trace\"\n",
                             "Syntax error in ZUL_SIG1: \"-bogus\"\n"})
        EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
    EXPECT_EQ(log.find("SIG1_SIGBREAK"), std::string::npos);
}

// With the default disposition, a hooked signal ends the process as it
// would have ended without the library: the parent sees the same status,
// core dump bit included.  `how`: k kill, r raise, f a real fault.
TEST(DefaultAction, EndsTheProcessAsTheHostWould)
{
    const struct {
        int host, portable;
        char how;
        const char *zulSig1;
    } kCases[] = {
        {SIGTERM, SIG1_SIGTERM, 'k', nullptr},  {SIGHUP, SIG1_SIGHUP, 'r', nullptr},
        {SIGXCPU, SIG1_SIGXCPU, 'k', nullptr},  {SIGCHLD, SIG1_SIGCHLD, 'k', nullptr},
        {SIGWINCH, SIG1_SIGWINCH, 'r', nullptr}, {SIGQUIT, SIG1_SIGQUIT, 'k', "-dumpon"},
        {SIGSEGV, SIG1_SIGSEGV, 'f', "-dumpon"}, {SIGFPE, SIG1_SIGFPE, 'r', "-dumpon"},
    };
    const std::string dir = std::filesystem::temp_directory_path() / ("zulsig" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    const bool coreFiles = std::ifstream("/proc/sys/kernel/core_pattern").peek() != '|';
    for (const auto &c : kCases) {
        int status[2];
        for (int useSig1 = 0; useSig1 < 2; useSig1++) {
            Child child([&] {
                struct rlimit core = {64 << 20, 64 << 20};
                CHILD_CHECK(chdir(dir.c_str()) == 0 && setrlimit(RLIMIT_CORE, &core) == 0);
                if (c.zulSig1)
                    setenv("ZUL_SIG1", c.zulSig1, 1);
                if (useSig1) {
                    UseSig1();
                    CHILD_CHECK(Hooked(c.host));
                }
                if (c.how == 'k')
                    kill(getpid(), c.host);
                else if (c.how == 'r')
                    useSig1 ? (void)SIG1_Raise(c.portable) : (void)raise(c.host);
                else if (volatile uintptr_t unmapped = 8; true) // not null: no sanitizer check stops it
                    *reinterpret_cast<volatile int *>(unmapped) = 1;
            });
            status[useSig1] = child.Wait().status;
        }
        EXPECT_EQ(status[1], status[0]) << strsignal(c.host);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        // The sanitizers turn core dumps off: there is no dump to see there.
        if (coreFiles && c.zulSig1)
            EXPECT_TRUE(WCOREDUMP(status[1])) << strsignal(c.host);
#endif
    }
    std::filesystem::remove_all(dir);
}

TEST(DefaultAction, AStopSignalStopsAndTheHookSurvivesTheContinue)
{
    Child child([] {
        UseSig1();
        kill(getpid(), SIGTSTP);
        CHILD_CHECK(Hooked(SIGTSTP));
    });
    child.Wait(WUNTRACED);
    EXPECT_TRUE(WIFSTOPPED(child.status) && WSTOPSIG(child.status) == SIGTSTP);
    kill(child.pid, SIGCONT);
    EXPECT_TRUE(child.Wait().Passed()) << child.text;
}

volatile sig_atomic_t programSignal, programSender, portableSignal;

void program_handler(int signal, siginfo_t *info, void *)
{
    programSignal = signal;
    programSender = info->si_pid;
}

void portable_handler(int signal)
{
    portableSignal = signal;
    errno = EBADF; // the library puts the interrupted code's errno back
}

TEST(DefaultAction, IsTheHandlerTheProgramHadInstalled)
{
    Child child([] {
        struct sigaction sa = {};
        sa.sa_sigaction = program_handler;
        sa.sa_flags = SA_SIGINFO; // no SA_RESTART: calls are to be interrupted
        sigaction(SIGUSR1, &sa, nullptr);
        signal(SIGHUP, SIG_IGN);
        UseSig1();
        CHILD_CHECK(!Hooked(SIGHUP)); // an ignored signal stays ignored
        sigaction(SIGUSR1, nullptr, &sa);
        CHILD_CHECK(sa.sa_sigaction != program_handler && !(sa.sa_flags & SA_RESTART));

        kill(getpid(), SIGUSR1);
        CHILD_CHECK(programSignal == SIGUSR1 && programSender == getpid() && portableSignal == 0);
        programSignal = errno = 0;
        CHILD_CHECK(SIG1_Signal(SIG1_SIGUSR1, portable_handler) == SIG1_DFL);
        kill(getpid(), SIGUSR1);
        CHILD_CHECK(portableSignal == SIG1_SIGUSR1 && programSignal == 0 && errno == 0);
        CHILD_CHECK(SIG1_Signal(SIG1_SIGUSR1, SIG1_IGN) == portable_handler);
        kill(getpid(), SIGUSR1);
        kill(getpid(), SIGHUP);
        CHILD_CHECK(SIG1_Signal(SIG1_SIGUSR1, SIG1_DFL) == SIG1_IGN && programSignal == 0);
        kill(getpid(), SIGUSR1);
        CHILD_CHECK(programSignal == SIGUSR1);
    });
    EXPECT_TRUE(child.Wait().Passed()) << child.text;
}

TEST(DefaultAction, TraceWritesEachHostSignalAndKillStaysWithTheHost)
{
    Child child([] {
        setenv("ZUL_SIG1", "-trace", 1);
        CHILD_CHECK(SIG1_Signal(SIG1_SIGUSR2, portable_handler) == SIG1_DFL);
        CHILD_CHECK(SIG1_Signal(SIG1_SIGKILL, portable_handler) == SIG1_DFL);
        kill(getpid(), SIGUSR2);
        CHILD_CHECK(SIG1_Raise(SIG1_SIGKILL) == STC1_Success && portableSignal == SIG1_SIGKILL);
        SIG1_Signal(SIG1_SIGKILL, SIG1_DFL);
        SIG1_Raise(SIG1_SIGKILL);
    });
    EXPECT_EQ(child.Wait().text, "signal 12(SIG1_SIGUSR2=40) \n");
    EXPECT_TRUE(WIFSIGNALED(child.status) && WTERMSIG(child.status) == SIGKILL);
}

} // namespace
