// Masks, pending signals, SIG1_Suspend and SIG1_Wait, with real signals
// sent by another thread of the child and by kill from the test process.
#include "sigtest.h"

#include <pthread.h>

#include <thread>

namespace {

uint32_t HostMask()
{
    sigset_t set;
    pthread_sigmask(SIG_BLOCK, nullptr, &set);
    uint32_t bits = 0;
    for (int h = 1; h < 32; h++)
        bits |= uint32_t(sigismember(&set, h) == 1) << h;
    return bits;
}

TEST(ProcMask, TheHostMaskFollowsThePortableOneBothWays)
{
    Child child([] {
        const SIG1_Set usr1 = SetOf({SIG1_SIGUSR1});
        const SIG1_Set kept = SetOf({SIG1_SIGUSR1, SIG1_SIGBREAK, SIG1_SIGKILL});
        SIG1_Set set = kept, old;
        set.word[1] |= 0xFFFF8000u; // bits of no signal are dropped
        CHILD_CHECK(SIG1_ProcMask(SIG1_BLOCK, &set, &old) == STC1_Success && old == SetOf({}));
        CHILD_CHECK(HostMask() == 1u << SIGUSR1); // BREAK and KILL: bookkeeping only
        CHILD_CHECK(SIG1_ProcMask(SIG1_UNBLOCK, &usr1, &old) == STC1_Success && old == kept);
        CHILD_CHECK(HostMask() == 0);

        // A change made at the host shows; a bad `how` gives the old mask
        // and changes nothing; with no set, `how` is not looked at.
        sigset_t usr2;
        sigemptyset(&usr2);
        sigaddset(&usr2, SIGUSR2);
        pthread_sigmask(SIG_BLOCK, &usr2, nullptr);
        CHILD_CHECK(SIG1_ProcMask(3, &usr1, &old) == STC1_BadArgument);
        CHILD_CHECK(old == SetOf({SIG1_SIGUSR2, SIG1_SIGBREAK, SIG1_SIGKILL}));
        CHILD_CHECK(SIG1_ProcMask(3, nullptr, nullptr) == STC1_Success && HostMask() == 1u << SIGUSR2);
        CHILD_CHECK(SIG1_ProcMask(SIG1_SETMASK, &usr1, &old) == STC1_Success);
        CHILD_CHECK(HostMask() == 1u << SIGUSR1);

        // A new thread starts with the mask it inherits from its creator.
        std::thread([&] {
            CHILD_CHECK(SIG1_ProcMask(SIG1_BLOCK, nullptr, &old) == STC1_Success && old == usr1);
        }).join();
    });
    EXPECT_TRUE(child.Wait().Passed()) << child.text;
}

volatile sig_atomic_t caught;
void count_handler(int signal) { caught = caught * 100 + signal; }

TEST(Pending, ShowsBlockedArrivalsUntilTheyAreUnblocked)
{
    Child child([] {
        const SIG1_Set usr2 = SetOf({SIG1_SIGUSR2});
        SIG1_Set pending;
        SIG1_Signal(SIG1_SIGUSR2, count_handler);
        SIG1_ProcMask(SIG1_BLOCK, &usr2, nullptr);
        std::thread([] { kill(getpid(), SIGUSR2); }).join(); // the thread has it blocked too
        CHILD_CHECK(SIG1_Pending(&pending) == STC1_Success && pending == usr2 && caught == 0);
        CHILD_CHECK(SIG1_ProcMask(SIG1_UNBLOCK, &usr2, nullptr) == STC1_Success);
        CHILD_CHECK(caught == SIG1_SIGUSR2);
        CHILD_CHECK(SIG1_Pending(&pending) == STC1_Success && pending == SetOf({}));
        CHILD_CHECK(SIG1_Pending(nullptr) == STC1_BadArgument);
    });
    EXPECT_TRUE(child.Wait().Passed()) << child.text;
}

TEST(Suspend, WaitsForAHandlerFromAThreadOrAnotherProcessAndPutsTheMaskBack)
{
    Child child([] {
        const SIG1_Set usr1 = SetOf({SIG1_SIGUSR1}), none = SetOf({});
        SIG1_Set old;
        SIG1_Signal(SIG1_SIGUSR1, count_handler);
        SIG1_ProcMask(SIG1_BLOCK, &usr1, nullptr);
        const pthread_t self = pthread_self();
        std::thread([self] { pthread_kill(self, SIGUSR1); }).join();
        CHILD_CHECK(SIG1_Suspend(&none) == STC1_Success && caught == SIG1_SIGUSR1);
        std::printf("ready\n"), std::fflush(stdout);
        CHILD_CHECK(SIG1_Suspend(&none) == STC1_Success && caught == SIG1_SIGUSR1 * 101);
        CHILD_CHECK(SIG1_ProcMask(SIG1_BLOCK, nullptr, &old) == STC1_Success && old == usr1);
        CHILD_CHECK(SIG1_Suspend(nullptr) == STC1_BadArgument);
    });
    EXPECT_EQ(child.Line(), "ready\n");
    kill(child.pid, SIGUSR1);
    EXPECT_TRUE(child.Wait().Passed()) << child.text;
}

TEST(Wait, TakesASignalOfTheSetWithoutItsHandler)
{
    Child child([] {
        const SIG1_Set set = SetOf({SIG1_SIGUSR1, SIG1_SIGUSR2});
        const SIG1_Set unwaitable = SetOf({SIG1_SIGKILL, SIG1_SIGSTOP, SIG1_SIGBREAK});
        SIG1_Signal(SIG1_SIGUSR1, count_handler);
        SIG1_Signal(SIG1_SIGUSR2, count_handler);
        SIG1_ProcMask(SIG1_BLOCK, &set, nullptr);
        int signal = 0;
        std::thread([] { kill(getpid(), SIGUSR2); }).join();
        CHILD_CHECK(SIG1_Wait(&set, &signal) == STC1_Success && signal == SIG1_SIGUSR2);
        std::printf("ready\n"), std::fflush(stdout);
        CHILD_CHECK(SIG1_Wait(&set, &signal) == STC1_Success && signal == SIG1_SIGUSR1);
        CHILD_CHECK(caught == 0);
        CHILD_CHECK(SIG1_Wait(&unwaitable, &signal) == STC1_BadArgument);
        CHILD_CHECK(SIG1_Wait(nullptr, &signal) == STC1_BadArgument);
    });
    EXPECT_EQ(child.Line(), "ready\n");
    kill(child.pid, SIGUSR1);
    EXPECT_TRUE(child.Wait().Passed()) << child.text;
}

} // namespace
