// Protected scopes through the public macros: nesting, raising, release
// order, FFDC, signals turned into faults, inhibit counts on two threads;
// and, in the C probes' own processes, 100,000 SIGSEGVs in scopes, stack
// overflow, a fault on a second thread, the ways a process ends with no
// scope open, and a thread's first scope when memory runs out.
#include <zul/pfm1.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <thread>

namespace {

std::string trail; // what FFDC routines wrote
void note(void *text) { trail += static_cast<const char *>(text); }
void raise_from_ffdc(void *) { trail += "R"; PFM1__Raise(nullptr, 5); }

// Runs `body` in a scope and returns what the scope ended with.
uint32_t scoped(const std::function<void(PFM1_Scope &)> &body)
{
    uint32_t status = 0;
    PFM1_TRY(s) { body(s); } PFM1_CATCH(s) { status = s.status; } PFM1_END(s);
    return status;
}

struct Case {
    const char *name;
    std::function<uint32_t()> run;
    uint32_t status;     // what the outer scope ended with
    const char *trail;   // what FFDC routines wrote
};

TEST(Pfm, ScopesRaisesAndFfdc)
{
    PFM1_TAB *tab = PFM1_Thread();
    const Case cases[] = {
        {"inner raise comes back to the inner entry only",
         [] { return scoped([](PFM1_Scope &) {
              uint32_t inner = scoped([](PFM1_Scope &) { PFM1__Raise(nullptr, 42); });
              trail += inner == 42 ? "i" : "?"; }); }, 0, "i"},
        {"raise of 0 is seen as 0x0304FFFF, the TAB keeps 0",
         [tab] { uint32_t s = scoped([](PFM1_Scope &) { PFM1__Raise(nullptr, 0); });
              return s == PFM1_ZERO_RAISED ? tab->status : s; }, 0, ""},
        {"releasing the outer frame raises into the inner scope",
         [] { return scoped([](PFM1_Scope &outer) {
              trail += scoped([&](PFM1_Scope &) {
                  PFM1__Release(outer.tab, &outer.frame, __FILE__, __LINE__); }) == PFM1_BAD_RELEASE ? "b" : "?"; }); }, 0, "b"},
        {"nested scope inherits FFDC, its own change ends with it",
         [tab] { return scoped([tab](PFM1_Scope &) {
              PFM1__EnableFFDC(tab, note, (void *)"o");
              scoped([tab](PFM1_Scope &) { PFM1__CallFFDC(tab); PFM1__EnableFFDC(tab, note, (void *)"n");
                                           PFM1__CallFFDC(tab); });
              PFM1__CallFFDC(tab); }); }, 0, "ono"},
        {"a raising FFDC routine ends itself only",
         [tab] { return scoped([tab](PFM1_Scope &) {
              PFM1_Frame *top = tab->top;
              PFM1__EnableFFDC(tab, raise_from_ffdc, nullptr);
              PFM1__CallFFDC(tab);
              trail += tab->top == top ? "=" : "?"; }); }, 0, "R="},
        {"SIGSEGV raised in a scope runs FFDC and comes back as 0x00120001",
         [tab] { return scoped([tab](PFM1_Scope &) { PFM1__EnableFFDC(tab, note, (void *)"f");
                                                       SIG1_Raise(SIG1_SIGSEGV); }); }, 0x00120001, "f"},
        {"SIGUSR1 raised in a scope comes back as 0x00120005",
         [] { return scoped([](PFM1_Scope &) { SIG1_Raise(SIG1_SIGUSR1); }); }, 0x00120005, ""},
        {"SIGCHLD taken by another thread only is ignored here",
         [] { std::thread([] { PFM1_Signal(SIG1_SIGCHLD, [](int) { trail += "?"; }); PFM1_Inhibit(); }).join();
              return scoped([](PFM1_Scope &) { SIG1_Raise(SIG1_SIGCHLD); }); }, 0, ""},
        {"a synchronous signal this thread does not handle is unhandled",
         [] { std::thread([] { PFM1_Signal(SIG1_SIGSYS, [](int) { trail += "?"; }); }).join();
              return scoped([](PFM1_Scope &) { SIG1_Raise(SIG1_SIGSYS); }); }, PFM1_UNHANDLED_SIGNAL, ""},
        {"an asynchronous signal whose only thread is inhibited is unhandled",
         [] { PFM1_Inhibit(); uint32_t s = scoped([](PFM1_Scope &) { SIG1_Raise(SIG1_SIGUSR2); });
              PFM1_Allow(); return s; }, PFM1_UNHANDLED_SIGNAL, ""},
    };
    for (const Case &c : cases) {
        trail.clear();
        EXPECT_EQ(c.run(), c.status) << c.name;
        EXPECT_EQ(trail, c.trail) << c.name;
        EXPECT_EQ(tab->top, &tab->base) << c.name;
    }
}

bool masked(int signal)
{
    SIG1_Set mask;
    return SIG1_ProcMask(SIG1_BLOCK, nullptr, &mask) == 0 && SIG1_IsMember(&mask, signal);
}

TEST(Pfm, InhibitCountsOnTwoThreads)
{
    PFM1_TAB *tab = PFM1_Thread();
    PFM1_Allow(); // on zero counts: nothing changes
    EXPECT_FALSE(masked(SIG1_SIGTERM));
    PFM1_Inhibit(), PFM1_Inhibit();
    EXPECT_TRUE(masked(SIG1_SIGTERM));
    std::thread([] {
        SIG1_Set term = {{0, 0}};
        SIG1_AddSet(&term, SIG1_SIGTERM);
        SIG1_ProcMask(SIG1_UNBLOCK, &term, nullptr); // a new thread inherits the mask
        PFM1_Inhibit(); // the process count was not 0: this mask stays
        EXPECT_EQ(PFM1_Thread()->pab->inhibit, 2);
        EXPECT_FALSE(masked(SIG1_SIGTERM));
        PFM1_Allow();
    }).join();
    PFM1_Allow(); // the thread keeps one level, the process count is 0
    EXPECT_EQ(tab->inhibit, 1);
    EXPECT_EQ(tab->pab->inhibit, 0);
    EXPECT_FALSE(masked(SIG1_SIGTERM));
}

// Runs a shell command; its standard output in `out`, its wait status
// as the result.
int run(const std::string &command, std::string &out)
{
    FILE *pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return -1;
    char buf[256];
    for (size_t n; (n = fread(buf, 1, sizeof buf, pipe)) > 0;)
        out.append(buf, n);
    return pclose(pipe);
}

struct ProbeCase {
    const char *mode;
    int exitCode;        // -1: ended by `signal`
    int signal;
    const char *output;  // expected in the probe's standard output
};

TEST(Pfm, FaultProbe)
{
    const ProbeCase cases[] = {
        {"loop", 0, 0, "ffdc 50500"},
        {"overflow", 0, 0, ""},
        {"thread", 0, 0, ""},
        {"outside", -1, SIGSEGV, ""},
        {"deep", -1, SIGSEGV, ""},
        {"raise0", 0, 0, ""},
        {"raise7", 255, 0, "Unhandled exception: Status(00000007)"},
    };
    for (const ProbeCase &c : cases) {
        std::string out;
        const int status = run(std::string("ZUL_RAS1=ERROR exec " ZUL_PFM_PROBE " ") + c.mode, out);
        if (c.exitCode >= 0)
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == c.exitCode) << c.mode << ": " << status << out;
        else
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == c.signal) << c.mode << ": " << status << out;
        EXPECT_NE(out.find(c.output), std::string::npos) << c.mode << ": " << out;
    }
}

// A new thread's first scope, with its allocations failing from the Nth
// on: the scope catches its fault, or the thread has no TAB and the
// process ends as an unhandled raise, or a process block could not be
// built and the process aborts with a message.  Never a scope that opens
// and then lets its fault end the process.  The main thread has used a
// scope before, or only the signals, or nothing; in the last case only
// the last 40 of the thread's many allocations are made to fail, those of
// its own blocks.
TEST(Pfm, FirstScopeOutOfMemory)
{
    for (const char *mode : {"warm", "signals", "cold 40"}) {
        std::string out;
        // Children that end by exit() would each wait a second at exit
        // under ThreadSanitizer.
        const int status = run(std::string("TSAN_OPTIONS=\"$TSAN_OPTIONS:atexit_sleep_ms=0\" "
                                           "ZULWNT_RASPATH=/nonexistent/ exec " ZUL_PFM_OOM_PROBE " ") +
                                   mode + " 2>&1",
                               out);
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << mode << ": " << out;
        EXPECT_EQ(out.find("status"), std::string::npos) << mode << ": " << out;
        EXPECT_NE(out.find(" caught\n"), std::string::npos) << mode << ": " << out;
        if (out.find(" abort\n") != std::string::npos)
            EXPECT_NE(out.find("out of memory"), std::string::npos) << mode << ": " << out;
    }
}

} // namespace
