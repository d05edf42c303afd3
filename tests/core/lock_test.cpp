// Locks, the clock, the memory calls, thread identity and the program's
// arguments.
#include <zul/bss1.h>
#include "platform/zulplat.h" // a fake tick source for the clock

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

// The program is linked with --wrap=calloc, through which the library's
// mutexes are allocated; `failCalloc` makes that fail.
static std::atomic<bool> failCalloc{false};
extern "C" void *__real_calloc(size_t count, size_t size);
extern "C" void *__wrap_calloc(size_t count, size_t size)
{
    return failCalloc.load() ? nullptr : __real_calloc(count, size);
}

// Threads racing on a zero lock must share one mutex, also when none can
// be allocated (more rounds than reserve mutexes); destroying gives it back.
static void ExpectExclusion(int rounds)
{
    for (int round = 0; round < rounds; ++round) {
        ZULSS_lock_t lock = {0, nullptr};
        std::atomic<int> inside{0}, worst{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                BSS1_GetLock(&lock);
                worst = std::max(worst.load(), ++inside);
                std::this_thread::sleep_for(100us);
                --inside;
                BSS1_ReleaseLock(&lock);
            });
        for (auto &t : threads)
            t.join();
        ASSERT_EQ(worst.load(), 1) << round;
        BSS1_DestroyLock(&lock);
    }
}

TEST(Lock, ThreadsRacingOnAZeroLockShareOneMutex) { ExpectExclusion(20); }

TEST(Lock, ThreadsMeetingAFreshLockWithoutMemoryStillExclude)
{
    failCalloc = true;
    ExpectExclusion(100);
    failCalloc = false;
}

// Short holds are taken mostly by spinning, and now and then a longer one
// sends the waiters to sleep.  A hole loses increments; a lost wake-up hangs.
TEST(Lock, ManyShortHoldsLoseNoIncrementAndNoWakeUp)
{
    static ZULSS_lock_t lock;
    static long counter;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([t] {
            for (int i = 0; i < 20000; ++i) {
                BSS1_GetLock(&lock);
                BSS1_GetLock(&lock); // recursive
                counter++;
                if (i % 1000 == t)
                    std::this_thread::sleep_for(300us);
                BSS1_ReleaseLock(&lock);
                BSS1_ReleaseLock(&lock);
            }
        });
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(counter, 4L * 20000);
}

TEST(Memory, ShortageAndThreadIdentity)
{
    void *p = reinterpret_cast<void *>(1);
    int reason = -1;
    EXPECT_EQ(BSS1_GetMem(SIZE_MAX / 2, &p, &reason), STC1_Shortage);
    EXPECT_TRUE(p == nullptr && reason == RSN1_Storage);
    uint32_t mine = BSS1_ThreadID(), theirs = 0;
    std::thread([&] { theirs = BSS1_ThreadID(); }).join();
    EXPECT_TRUE(mine != 0 && theirs != 0 && mine != theirs && BSS1_ThreadID() == mine);
}

// Seconds follow a fake tick counter from the first call on, the remainder
// carries into nanoseconds, and the counter's wrap is crossed without a jump.
static uint32_t fakeTicks;
TEST(Clock, SecondsFollowTheTicksAcrossTheWrap)
{
    ZULPL_SetTickSource([] { return fakeTicks; });
    fakeTicks = 0xFFFFFE00u;
    ZULSS_time_t t{};
    const uint32_t start = BSS1_GetTime(&t);
    EXPECT_NEAR(double(start), double(time(nullptr)), 2.0);
    struct { uint32_t ticks, secondsAdded, nanoseconds; } steps[] = {
        {0x00000010u, 0, 528000000}, {0x000001F0u, 1, 8000000}, {0x00000D9Fu, 3, 999000000}, {0x00000DA0u, 4, 0}};
    for (auto &s : steps) {
        fakeTicks = s.ticks;
        EXPECT_EQ(BSS1_GetTime(&t), start + s.secondsAdded) << s.ticks;
        EXPECT_EQ(t.nanoseconds, s.nanoseconds) << s.ticks;
    }
    ZULPL_SetTickSource(nullptr);
}

// The first call's arguments and name win; arguments join by one blank.
TEST(Main, FirstCallsWinAndArgumentsAreJoinedByOneBlank)
{
    char a0[] = "/opt/bin/agent", a1[] = "--port", b0[] = "x", text[256];
    char *argv[] = {a0, a1, nullptr}, *argv2[] = {b0, nullptr};
    int argc = 2, one = 1;
    BSS1_Main(nullptr, nullptr, "server");
    BSS1_Main(&argc, argv, "other");
    BSS1_Main(&one, argv2, nullptr);
    EXPECT_EQ(std::string(text, BSS1_Info(BSS1_INFO_TASK, text, sizeof text)), "server");
    EXPECT_EQ(std::string(text, BSS1_Info(BSS1_INFO_COMMANDLINE, text, sizeof text)), "/opt/bin/agent --port");
}
