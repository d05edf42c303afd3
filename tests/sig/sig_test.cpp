// Portable signals.  The bookkeeping (names, the query record,
// dispositions, SIG1_Raise with a handler) runs in the test's own
// process; real signals are sent and taken in forked children, each of
// which starts with the library unused and every disposition at the
// host's default: which host signals ZUL_SIG1 lets the library hook, what
// a hooked signal does (the portable handler, the program's earlier
// handler, or the end or stop the host would have given), masks, pending
// signals, SIG1_Suspend and SIG1_Wait.
#include <zul/sig1.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

// In a child: report a failed check on standard output and end with 70.
#define CHILD_CHECK(cond)                                                                  \
    do {                                                                                   \
        if (!(cond))                                                                       \
            std::printf("line %d: %s\n", __LINE__, #cond), std::fflush(stdout), _exit(70); \
    } while (0)

namespace {

// A forked child that resets every disposition, runs `body` under a
// watchdog and exits 0; its standard output comes to `out`.
struct Child {
    pid_t pid;
    int out, status = 0;
    std::string text;
    explicit Child(const std::function<void()> &body)
    {
        int fds[2];
        EXPECT_EQ(pipe(fds), 0);
        std::fflush(stdout);
        if ((pid = fork()) == 0) {
            for (int h = 1; h < 32; h++)
                std::signal(h, SIG_DFL);
            dup2(fds[1], 1), alarm(30);
            body();
            std::fflush(stdout), _exit(0);
        }
        close(fds[1]), out = fds[0];
    }
    // The rest of the output, and the end; with WUNTRACED, only the stop.
    Child &Wait(int options = 0)
    {
        char buf[512];
        for (ssize_t n; !(options & WUNTRACED) && (n = read(out, buf, sizeof buf)) > 0;)
            text.append(buf, size_t(n));
        waitpid(pid, &status, options);
        return *this;
    }
    bool Passed() const { return WIFEXITED(status) && WEXITSTATUS(status) == 0; }
};

// Whether a handler is installed for host signal `host`.
bool Hooked(int host)
{
    struct sigaction sa;
    return sigaction(host, nullptr, &sa) == 0 && (sa.sa_handler != SIG_DFL && sa.sa_handler != SIG_IGN);
}

// The first use of the family builds it and hooks the host.
bool UseSig1() { return SIG1_ProcMask(SIG1_BLOCK, nullptr, nullptr) == STC1_Success; }

SIG1_Set SetOf(std::initializer_list<int> signals, SIG1_Set set = {{0, 0}})
{
    for (int n : signals)
        SIG1_AddSet(&set, n);
    return set;
}
bool operator==(const SIG1_Set &a, const SIG1_Set &b) { return a.word[0] == b.word[0] && a.word[1] == b.word[1]; }

// ---- Bookkeeping, in the test's own process ------------------------------

// The record's figures, and a null record or a size of 0 refused.
TEST(Query, FiguresAndBadArguments)
{
    SIG1_QueryRecord full;
    ASSERT_TRUE(SIG1_Query(&full, sizeof full) == STC1_Success && full.highest == 47 && full.asyncCount == 22);
    EXPECT_TRUE(SIG1_Query(nullptr, 28) == STC1_BadArgument && SIG1_Query(&full, 0) == STC1_BadArgument);
}

volatile sig_atomic_t programSignal, programSender, portableSignal, caught;
void program_handler(int signal, siginfo_t *info, void *)
{
    programSignal = signal;
    programSender = info->si_pid;
}
void count_handler(int signal) { caught = caught * 100 + signal; }
void portable_handler(int signal)
{
    portableSignal = signal;
    errno = EBADF; // the library puts the interrupted code's errno back
}

// An action record is read and replaced whole, one record may be both
// arguments, and a signal outside 1 to 47 is refused by every call.
// SIG1_Raise calls a handler whatever the mask (SIGKILL's too), does
// nothing for an ignored signal and drops a default one the host lacks.
TEST(Action, RecordsAndRaise)
{
    SIG1_ActionRecord old, next = {count_handler, SetOf({SIG1_SIGUSR1, SIG1_SIGXFSZ}), 7}, both = {portable_handler, {}, 1};
    std::memset(&old, 0x5A, sizeof old);
    for (int bad : {0, 48, -1})
        EXPECT_TRUE(SIG1_Action(bad, &next, &old) == STC1_BadArgument && SIG1_Signal(bad, count_handler) == SIG1_ERR &&
                    !strcmp(SIG1_SignalName(bad), "<bad signal>") && SIG1_Raise(bad) == STC1_BadArgument);
    EXPECT_EQ(old.flags, 0x5A5A5A5Au); // untouched
    EXPECT_TRUE(SIG1_Action(SIG1_SIGUSR1, &next, &old) == STC1_Success && old.handler == SIG1_DFL && old.flags == 0);
    EXPECT_TRUE(SIG1_Action(SIG1_SIGUSR1, &both, &both) == STC1_Success && both.handler == count_handler &&
                both.mask == next.mask && both.flags == 7);
    EXPECT_EQ(SIG1_Signal(SIG1_SIGUSR1, count_handler), portable_handler);
    EXPECT_TRUE(SIG1_Action(SIG1_SIGUSR1, nullptr, &old) == STC1_Success && old.flags == 4u);
    SIG1_Signal(SIG1_SIGUSR2, SIG1_IGN), SIG1_Signal(SIG1_SIGDANGER, count_handler), SIG1_Signal(SIG1_SIGKILL, count_handler);
    ASSERT_EQ(SIG1_ProcMask(SIG1_BLOCK, &next.mask, nullptr), STC1_Success);
    for (int n : {SIG1_SIGUSR1, SIG1_SIGUSR2, SIG1_SIGDANGER, SIG1_SIGBREAK, SIG1_SIGKILL}) // DANGER, BREAK: not here
        EXPECT_EQ(SIG1_Raise(n), STC1_Success);
    EXPECT_EQ(caught, (SIG1_SIGUSR1 * 100 + SIG1_SIGDANGER) * 100 + SIG1_SIGKILL);
}

// ---- Hooking and the default action, in children -------------------------

TEST(Hooking, ZulSig1DecidesWhichHostSignalsAreHooked)
{
    const std::string kByDefault = " 1 2 10 12 13 14 15 17 18 20 21 22 23 24 25 26 27 28 29 30";
    const std::pair<const char *, std::string> kCases[] = {
        {nullptr, kByDefault},
        {"-dumpon", " 1 2 3 4 5 6 7 8 10 11 12 13 14 15 17 18 20 21 22 23 24 25 26 27 28 29 30 31"},
        {"-asyncoff", " 13"},              // SIGPIPE: synchronous, no dump
        {"-DumpOn -dumpoff", kByDefault}, // any case; the last one wins
        {"-dumpo -dumpons -syncoff -trac", " 1 2 10 12 14 15 17 18 20 21 22 23 24 25 26 27 28 29 30"},
        {"-asyncoff -syncoff -dumpon", ""},
    };
    for (const auto &c : kCases) {
        Child child([&] {
            if (c.first)
                setenv("ZUL_SIG1", c.first, 1);
            CHILD_CHECK(UseSig1());
            for (int h = 1; h < 32; h++)
                if (Hooked(h))
                    std::printf(" %d", h);
        });
        EXPECT_EQ(child.Wait().text, c.second) << (c.first ? c.first : "(unset)");
    }
}

// The probe gives the signals dispositions of its own, loads the shared
// library, and fails if that changed any but the fatal signals that the
// failure report takes, or any at all with ZULWNT_SIGNALS=off.
TEST(Hooking, LoadingTheLibraryChangesNoDisposition)
{
    for (const char *setting : {"", "off"}) {
        Child child([setting] {
            if (*setting != '\0')
                setenv("ZULWNT_SIGNALS", setting, 1);
            execl(ZUL_SIG_LOAD_PROBE, ZUL_SIG_LOAD_PROBE, ZUL_SHARED_LIBRARY, static_cast<char *>(nullptr));
        });
        EXPECT_TRUE(child.Wait().Passed()) << setting << ": " << child.status;
    }
}

// With the default disposition, a hooked signal ends the process as it
// would have ended without the library: the parent sees the same status,
// core dump bit included.  `how`: k kill, r raise, f a real fault.
TEST(DefaultAction, EndsTheProcessAsTheHostWould)
{
    const struct { int host, portable; char how; const char *zulSig1; } kCases[] = {
        {SIGTERM, SIG1_SIGTERM, 'k', ""},        {SIGHUP, SIG1_SIGHUP, 'r', ""},
        {SIGXCPU, SIG1_SIGXCPU, 'k', ""},        {SIGWINCH, SIG1_SIGWINCH, 'r', ""},
        {SIGQUIT, SIG1_SIGQUIT, 'k', "-dumpon"}, {SIGSEGV, SIG1_SIGSEGV, 'f', "-dumpon"},
        {SIGFPE, SIG1_SIGFPE, 'r', "-dumpon"},   {SIGKILL, SIG1_SIGKILL, 'r', ""}, // KILL: never hooked
    };
    const std::string dir = std::filesystem::temp_directory_path() / ("zulsig" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    for (const auto &c : kCases) {
        int status[2];
        for (int useSig1 = 0; useSig1 < 2; useSig1++) {
            status[useSig1] = Child([&] {
                struct rlimit core = {64 << 20, 64 << 20};
                CHILD_CHECK(chdir(dir.c_str()) == 0 && setrlimit(RLIMIT_CORE, &core) == 0);
                setenv("ZUL_SIG1", c.zulSig1, 1);
                CHILD_CHECK(!useSig1 || (UseSig1() && (Hooked(c.host) || c.host == SIGKILL)));
                if (c.how == 'k')
                    kill(getpid(), c.host);
                else if (c.how == 'r')
                    useSig1 ? (void)SIG1_Raise(c.portable) : (void)raise(c.host);
                else if (volatile uintptr_t unmapped = 8; true) // not null: no sanitizer check stops it
                    *reinterpret_cast<volatile int *>(unmapped) = 1;
            }).Wait().status;
        }
        EXPECT_EQ(status[1], status[0]) << strsignal(c.host);
    }
    std::filesystem::remove_all(dir);
}

TEST(DefaultAction, AStopSignalStopsAndTheHookSurvivesTheContinue)
{
    // A group of its own: the kernel discards a stop signal sent to an
    // orphaned group, which the test's own group may be under a runner.
    Child child([] { CHILD_CHECK(setpgid(0, 0) == 0 && UseSig1() && kill(getpid(), SIGTSTP) == 0 && Hooked(SIGTSTP)); });
    EXPECT_TRUE(WIFSTOPPED(child.Wait(WUNTRACED).status) && WSTOPSIG(child.status) == SIGTSTP);
    kill(child.pid, SIGCONT);
    EXPECT_TRUE(child.Wait().Passed()) << child.text;
}

TEST(DefaultAction, IsTheHandlerTheProgramHadInstalled)
{
    Child child([] {
        struct sigaction sa = {};
        sa.sa_sigaction = program_handler;
        sa.sa_flags = SA_SIGINFO; // no SA_RESTART: calls are to be interrupted
        sigaction(SIGUSR1, &sa, nullptr), signal(SIGHUP, SIG_IGN);
        CHILD_CHECK(UseSig1() && !Hooked(SIGHUP)); // an ignored signal stays ignored
        CHILD_CHECK(sigaction(SIGUSR1, nullptr, &sa) == 0 && sa.sa_sigaction != program_handler && !(sa.sa_flags & SA_RESTART));
        CHILD_CHECK(kill(getpid(), SIGUSR1) == 0 && programSignal == SIGUSR1 && programSender == getpid() && !portableSignal);
        programSignal = errno = 0;
        CHILD_CHECK(SIG1_Signal(SIG1_SIGUSR1, portable_handler) == SIG1_DFL && kill(getpid(), SIGUSR1) == 0);
        CHILD_CHECK(portableSignal == SIG1_SIGUSR1 && programSignal == 0 && errno == 0);
        CHILD_CHECK(SIG1_Signal(SIG1_SIGUSR1, SIG1_IGN) == portable_handler);
        kill(getpid(), SIGUSR1), kill(getpid(), SIGHUP);
        CHILD_CHECK(SIG1_Signal(SIG1_SIGUSR1, SIG1_DFL) == SIG1_IGN && programSignal == 0);
        CHILD_CHECK(kill(getpid(), SIGUSR1) == 0 && programSignal == SIGUSR1);
    });
    EXPECT_TRUE(child.Wait().Passed()) << child.text;
}

// ---- Masks, pending signals, suspend and wait, in children ----------------

uint32_t HostMask()
{
    sigset_t set;
    uint32_t bits = 0;
    pthread_sigmask(SIG_BLOCK, nullptr, &set);
    for (int h = 1; h < 32; h++)
        bits |= uint32_t(sigismember(&set, h) == 1) << h;
    return bits;
}

// The host mask follows the portable one both ways; BREAK and KILL are
// bookkeeping only, and bits of no signal are dropped.  A bad `how` gives
// the old mask and changes nothing; with no set, `how` is not looked at.
// A new thread starts with the mask of its creator.
TEST(ProcMask, TheHostMaskFollowsThePortableOneAndPendingShowsBlockedArrivals)
{
    Child child([] {
        const SIG1_Set usr1 = SetOf({SIG1_SIGUSR1}), kept = SetOf({SIG1_SIGUSR1, SIG1_SIGBREAK, SIG1_SIGKILL});
        SIG1_Set set = kept, old;
        sigset_t usr2;
        set.word[1] |= 0xFFFF8000u;
        CHILD_CHECK(SIG1_ProcMask(SIG1_BLOCK, &set, &old) == STC1_Success && old == SetOf({}) && HostMask() == 1u << SIGUSR1);
        CHILD_CHECK(SIG1_ProcMask(SIG1_UNBLOCK, &usr1, &old) == STC1_Success && old == kept && HostMask() == 0);
        sigemptyset(&usr2), sigaddset(&usr2, SIGUSR2), pthread_sigmask(SIG_BLOCK, &usr2, nullptr);
        CHILD_CHECK(SIG1_ProcMask(3, &usr1, &old) == STC1_BadArgument && old == SetOf({SIG1_SIGUSR2, SIG1_SIGBREAK, SIG1_SIGKILL}));
        CHILD_CHECK(SIG1_ProcMask(3, nullptr, nullptr) == STC1_Success && HostMask() == 1u << SIGUSR2);
        CHILD_CHECK(SIG1_ProcMask(SIG1_SETMASK, &usr1, &old) == STC1_Success && HostMask() == 1u << SIGUSR1);
        std::thread([&] { CHILD_CHECK(SIG1_ProcMask(SIG1_BLOCK, nullptr, &old) == STC1_Success && old == usr1); }).join();
        // An arrival, sent by another thread that has it blocked too, is
        // pending until it is unblocked.
        SIG1_Signal(SIG1_SIGUSR1, count_handler);
        std::thread([] { kill(getpid(), SIGUSR1); }).join();
        CHILD_CHECK(SIG1_Pending(&set) == STC1_Success && set == usr1 && caught == 0);
        CHILD_CHECK(SIG1_ProcMask(SIG1_UNBLOCK, &usr1, nullptr) == STC1_Success && caught == SIG1_SIGUSR1);
        CHILD_CHECK(SIG1_Pending(&set) == STC1_Success && set == SetOf({}) && SIG1_Pending(nullptr) == STC1_BadArgument);
    });
    EXPECT_TRUE(child.Wait().Passed()) << child.text;
}

// SIG1_Suspend waits for a handler, of a signal from a thread or from
// another process, and puts the mask back; SIG1_Wait takes a signal of its
// set without its handler, and refuses a set it can never take.
TEST(SuspendAndWait, TakeSignalsFromAThreadOrAnotherProcessAndPutTheMaskBack)
{
    for (int wait = 0; wait < 2; wait++) {
        Child child([wait] {
            SIG1_Set set = SetOf({SIG1_SIGUSR1, SIG1_SIGUSR2}), none = SetOf({}), old;
            int signal = 0;
            SIG1_Signal(SIG1_SIGUSR1, count_handler), SIG1_Signal(SIG1_SIGUSR2, count_handler);
            SIG1_ProcMask(SIG1_BLOCK, &set, nullptr);
            std::thread([self = pthread_self()] { pthread_kill(self, SIGUSR2); }).join();
            for (int n : {SIG1_SIGUSR2, SIG1_SIGUSR1}) {
                if (wait)
                    CHILD_CHECK(SIG1_Wait(&set, &signal) == STC1_Success && signal == n && caught == 0);
                else
                    CHILD_CHECK(SIG1_Suspend(&none) == STC1_Success && caught % 100 == n);
                std::printf("ready\n"), std::fflush(stdout);
            }
            CHILD_CHECK(SIG1_ProcMask(SIG1_BLOCK, nullptr, &old) == STC1_Success && old == set);
            CHILD_CHECK(SIG1_Suspend(nullptr) == STC1_BadArgument && SIG1_Wait(nullptr, &signal) == STC1_BadArgument);
            CHILD_CHECK(SIG1_Wait(&(old = SetOf({SIG1_SIGKILL, SIG1_SIGSTOP, SIG1_SIGBREAK})), &signal) == STC1_BadArgument);
        });
        char line[6];
        EXPECT_TRUE(read(child.out, line, 6) == 6 && kill(child.pid, SIGUSR1) == 0);
        EXPECT_TRUE(child.Wait().Passed()) << child.text;
    }
}

} // namespace
