// The host side: which signals ZUL_SIG1 lets the library hook, and what a
// hooked signal does: the portable handler, the program's earlier
// handler, or the end (or stop) the host would have given the process.
#include "sigtest.h"

#include <cerrno>
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>

namespace {

// The Linux signals the library can hook, by class.
const std::vector<int> kAsyncHooked = {SIGALRM, SIGCHLD, SIGCONT, SIGHUP,  SIGINT,  SIGIO,   SIGPROF,
                                       SIGPWR,  SIGTERM, SIGTSTP, SIGTTIN, SIGTTOU, SIGURG,  SIGUSR1,
                                       SIGUSR2, SIGVTALRM, SIGWINCH, SIGXCPU, SIGXFSZ};
const std::vector<int> kDumpAsync = {SIGQUIT};
const std::vector<int> kSyncPlain = {SIGPIPE};
const std::vector<int> kSyncDump = {SIGABRT, SIGFPE, SIGILL, SIGSEGV, SIGBUS, SIGSYS, SIGTRAP};

std::vector<int> Join(std::initializer_list<std::vector<int>> parts)
{
    std::vector<int> all;
    for (const auto &p : parts)
        all.insert(all.end(), p.begin(), p.end());
    return all;
}

TEST(Hooking, ZulSig1DecidesWhichHostSignalsAreHooked)
{
    const std::vector<int> byDefault = Join({kAsyncHooked, kSyncPlain});
    const struct {
        const char *value;
        std::vector<int> hooked;
    } kCases[] = {
        {nullptr, byDefault},
        {"-dumpon", Join({kAsyncHooked, kDumpAsync, kSyncPlain, kSyncDump})},
        {"-dumpon -syncoff", Join({kAsyncHooked, kDumpAsync})},
        {"-asyncoff", kSyncPlain},
        {"-DumpOn -dumpoff", byDefault}, // any case; the last one wins
        {"-dumpo -dumpons -syncoff", Join({kAsyncHooked})}, // near misses do nothing
        {"-asyncoff -syncoff -dumpon", {}},
    };
    for (const auto &c : kCases) {
        Child child([&] {
            if (c.value)
                setenv("ZUL_SIG1", c.value, 1);
            UseSig1();
            for (int h = 1; h < 32; h++)
                std::printf("%d", Hooked(h));
        });
        std::string want;
        for (int h = 1; h < 32; h++)
            want += std::find(c.hooked.begin(), c.hooked.end(), h) != c.hooked.end() ? '1' : '0';
        EXPECT_EQ(child.Wait().text, want) << (c.value ? c.value : "(unset)");
    }
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
                             "Signal SIG1_SIGHUP(13:1) available, async\n",
                             "Signal SIG1_SIGQUIT(26:3) available, async, dump\n",
                             "Signal SIG1_SIGPIPE(22:13) available\n", "Token 2: \"-trace\"\n",
                             "Syntax error in ZUL_SIG1: \"-bogus\"\n"})
        EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
    EXPECT_EQ(log.find("SIG1_SIGBREAK"), std::string::npos);
}

// How a case makes its signal arrive.
enum How { Kill, Raise, Fault, Abort, BrokenPipe };

void Deliver(int host, int portable, How how, bool useSig1)
{
    switch (how) {
    case Kill:
        kill(getpid(), host);
        break;
    case Raise:
        useSig1 ? (void)SIG1_Raise(portable) : (void)raise(host);
        break;
    case Fault: {
        int *volatile nowhere = nullptr;
        *static_cast<volatile int *>(nowhere) = 1;
        break;
    }
    case Abort:
        abort();
    case BrokenPipe: {
        int fds[2];
        CHILD_CHECK(pipe(fds) == 0);
        close(fds[0]);
        CHILD_CHECK(write(fds[1], "x", 1) == -1);
        break;
    }
    }
}

// With the default disposition, a hooked signal ends the process as it
// would have ended without the library: the parent sees the same status,
// core dump bit included.
TEST(DefaultAction, EndsTheProcessAsTheHostWould)
{
    const struct {
        int host, portable;
        How how;
        const char *zulSig1;
    } kCases[] = {
        {SIGTERM, SIG1_SIGTERM, Kill, nullptr},   {SIGHUP, SIG1_SIGHUP, Raise, nullptr},
        {SIGUSR1, SIG1_SIGUSR1, Kill, nullptr},   {SIGXCPU, SIG1_SIGXCPU, Kill, nullptr},
        {SIGPIPE, SIG1_SIGPIPE, BrokenPipe, nullptr},
        {SIGCHLD, SIG1_SIGCHLD, Kill, nullptr},   {SIGWINCH, SIG1_SIGWINCH, Raise, nullptr},
        {SIGQUIT, SIG1_SIGQUIT, Kill, "-dumpon"}, {SIGSEGV, SIG1_SIGSEGV, Fault, "-dumpon"},
        {SIGABRT, SIG1_SIGABRT, Abort, "-dumpon"}, {SIGFPE, SIG1_SIGFPE, Raise, "-dumpon"},
    };
    const std::string dir = std::filesystem::temp_directory_path() / ("zulsig" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    std::ifstream pattern("/proc/sys/kernel/core_pattern");
    const bool coreFiles = pattern.peek() != '|';
    for (const auto &c : kCases) {
        int status[2];
        for (int useSig1 = 0; useSig1 < 2; useSig1++) {
            Child child([&] {
                CHILD_CHECK(chdir(dir.c_str()) == 0);
                struct rlimit core = {64 << 20, 64 << 20};
                setrlimit(RLIMIT_CORE, &core);
                if (c.zulSig1)
                    setenv("ZUL_SIG1", c.zulSig1, 1);
                if (useSig1) {
                    UseSig1();
                    CHILD_CHECK(Hooked(c.host));
                }
                Deliver(c.host, c.portable, c.how, useSig1);
            });
            status[useSig1] = child.Wait().status;
            EXPECT_EQ(child.text, "");
        }
        EXPECT_EQ(status[1], status[0]) << strsignal(c.host);
#ifndef SIG_TEST_SANITIZED // sanitizers turn core dumps off, so there is no dump to compare
        if (coreFiles && (c.host == SIGQUIT || c.host == SIGXCPU || c.host == SIGSEGV))
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
    ASSERT_TRUE(WIFSTOPPED(child.status));
    EXPECT_EQ(WSTOPSIG(child.status), SIGTSTP);
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
        struct sigaction now;
        sigaction(SIGUSR1, nullptr, &now);
        CHILD_CHECK(now.sa_sigaction != program_handler && !(now.sa_flags & SA_RESTART));

        kill(getpid(), SIGUSR1);
        CHILD_CHECK(programSignal == SIGUSR1 && programSender == getpid() && portableSignal == 0);
        programSignal = 0;
        CHILD_CHECK(SIG1_Signal(SIG1_SIGUSR1, portable_handler) == SIG1_DFL);
        errno = 0;
        kill(getpid(), SIGUSR1);
        CHILD_CHECK(portableSignal == SIG1_SIGUSR1 && programSignal == 0 && errno == 0);
        CHILD_CHECK(SIG1_Signal(SIG1_SIGUSR1, SIG1_IGN) == portable_handler);
        kill(getpid(), SIGUSR1);
        kill(getpid(), SIGHUP);
        CHILD_CHECK(SIG1_Signal(SIG1_SIGUSR1, SIG1_DFL) == SIG1_IGN);
        kill(getpid(), SIGUSR1);
        CHILD_CHECK(programSignal == SIGUSR1);
    });
    EXPECT_TRUE(child.Wait().Passed()) << child.text;
}

TEST(DefaultAction, TraceWritesEachHostSignalAndKillAndStopStayWithTheHost)
{
    Child child([] {
        setenv("ZUL_SIG1", "-trace", 1);
        CHILD_CHECK(SIG1_Signal(SIG1_SIGUSR2, portable_handler) == SIG1_DFL);
        CHILD_CHECK(SIG1_Signal(SIG1_SIGKILL, portable_handler) == SIG1_DFL);
        CHILD_CHECK(!Hooked(SIGKILL) && !Hooked(SIGSTOP));
        kill(getpid(), SIGUSR2);
        CHILD_CHECK(SIG1_Raise(SIG1_SIGKILL) == STC1_Success); // the handler: only SIG1_Raise calls it
        CHILD_CHECK(portableSignal == SIG1_SIGKILL);
        SIG1_Signal(SIG1_SIGKILL, SIG1_DFL);
        SIG1_Raise(SIG1_SIGKILL);
    });
    child.Wait();
    EXPECT_EQ(child.text, "signal 12(SIG1_SIGUSR2=40) \n");
    EXPECT_TRUE(WIFSIGNALED(child.status) && WTERMSIG(child.status) == SIGKILL);
}

TEST(Hooking, LoadingTheLibraryChangesNoDispositionAndTheFirstUseHooks)
{
    Child child([] {
        execl(ZUL_SIG_LOAD_PROBE, ZUL_SIG_LOAD_PROBE, ZUL_SHARED_LIBRARY, static_cast<char *>(nullptr));
        _exit(99);
    });
    // Hooked at first use: those hooked by default, less those the probe ignores.
    const std::vector<int> byDefault = Join({kAsyncHooked, kSyncPlain});
    std::string want = "used:";
    for (int h = 1; h < 32; h++)
        if (h % 3 != 1 && std::find(byDefault.begin(), byDefault.end(), h) != byDefault.end())
            want += " " + std::to_string(h);
    EXPECT_TRUE(child.Wait().Passed()) << child.text;
    EXPECT_EQ(child.text, want + "\n");
}

} // namespace
