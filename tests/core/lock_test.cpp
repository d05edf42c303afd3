// Locks, the memory calls and thread identity.
#include <zul/bss1.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

// Threads racing to create the mutex of a zero lock must end up sharing
// one (a loser's mutex would leak, or let two threads in at once), and a
// destroyed lock is a zero lock again.
TEST(Lock, ThreadsRacingOnAZeroLockShareOneMutex)
{
    ZULSS_lock_t lock = {0, nullptr};
    for (int round = 0; round < 20; ++round) {
        std::atomic<int> inside{0}, worst{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                BSS1_GetLock(&lock);
                int now = ++inside;
                worst = std::max(worst.load(), now);
                std::this_thread::sleep_for(200us);
                --inside;
                BSS1_ReleaseLock(&lock);
            });
        for (auto &t : threads)
            t.join();
        EXPECT_EQ(worst.load(), 1);
        BSS1_DestroyLock(&lock);
    }
}

// Short holds are taken mostly by spinning, and every so often a longer one
// sends the waiters to sleep, so both ways in meet the release.  A hole in
// the exclusion loses increments; a lost wake-up hangs the test.
TEST(Lock, ManyShortHoldsLoseNoIncrementAndNoWakeUp)
{
    static ZULSS_lock_t lock;
    static long counter;
    constexpr int kThreads = 4, kRounds = 20000;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < kRounds; ++i) {
                BSS1_GetLock(&lock);
                BSS1_GetLock(&lock);
                counter++;
                if (i % 1000 == t)
                    std::this_thread::sleep_for(300us);
                BSS1_ReleaseLock(&lock);
                counter++;
                BSS1_ReleaseLock(&lock);
            }
        });
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(counter, 2L * kThreads * kRounds);
}

TEST(Memory, GetFreeAndQueryReportTheirReasons)
{
    void *p = reinterpret_cast<void *>(1);
    int reason = -1;
    EXPECT_EQ(BSS1_GetMem(SIZE_MAX / 2, &p, &reason), STC1_Shortage);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(reason, RSN1_Storage);
    EXPECT_EQ(BSS1_GetMem(100, &p, &reason), STC1_Success);
    EXPECT_EQ(reason, RSN1_NoReason);
    reason = -1;
    EXPECT_EQ(BSS1_FreeMem(100, p, &reason), STC1_Success);
    EXPECT_EQ(reason, RSN1_NoReason);
    long available = 0;
    EXPECT_EQ(BSS1_QueryMem(&available, &reason), STC1_Success);
    EXPECT_EQ(available, -1); // not known on this platform
}

TEST(ThreadId, IsNonZeroAndDiffersBetweenThreads)
{
    uint32_t mine = BSS1_ThreadID(), theirs = 0;
    std::thread([&] { theirs = BSS1_ThreadID(); }).join();
    EXPECT_NE(mine, 0u);
    EXPECT_NE(theirs, 0u);
    EXPECT_NE(mine, theirs);
    EXPECT_EQ(BSS1_ThreadID(), mine);
}
