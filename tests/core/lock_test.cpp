// Locks and the clock.
#include <zul/bss1.h>
#include "internal/zullock.h"   // the held test and the scoped hold
#include "platform/zulplat.h" // a fake tick source for the clock

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
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

// Whether this thread holds a lock: at any depth, never for a lock another
// thread holds, and no longer once the last release has gone.
TEST(Lock, HeldIsExactForTheCallingThread)
{
    ZULSS_lock_t lock = {0, nullptr};
    auto heldElsewhere = [&] {
        int held = -1;
        std::thread([&] { held = ZULSS_LockHeld(&lock); }).join();
        return held;
    };
    EXPECT_FALSE(ZULSS_LockHeld(nullptr));
    EXPECT_FALSE(ZULSS_LockHeld(&lock)); // no mutex yet
    BSS1_GetLock(&lock);
    BSS1_GetLock(&lock);
    EXPECT_TRUE(ZULSS_LockHeld(&lock));
    EXPECT_EQ(heldElsewhere(), 0);
    BSS1_ReleaseLock(&lock);
    EXPECT_TRUE(ZULSS_LockHeld(&lock));
    BSS1_ReleaseLock(&lock);
    EXPECT_FALSE(ZULSS_LockHeld(&lock));
    BSS1_DestroyLock(&lock);
}

// A scoped hold lets its lock go at every way out of its block, the
// innermost first, and not before.
static int LeaveEarly(ZULSS_lock_t *outer, ZULSS_lock_t *inner, int way)
{
    ZULSS_HOLD(outer);
    {
        ZULSS_HOLD(inner);
        if (way == 0)
            return 0;
    }
    if (!ZULSS_LockHeld(outer) || ZULSS_LockHeld(inner))
        return -1;
    return way;
}

TEST(Lock, ScopedHoldReleasesOnEveryWayOut)
{
    ZULSS_lock_t outer = {0, nullptr}, inner = {0, nullptr};
    for (int way : {0, 1}) {
        EXPECT_EQ(LeaveEarly(&outer, &inner, way), way);
        EXPECT_FALSE(ZULSS_LockHeld(&outer)) << way;
        EXPECT_FALSE(ZULSS_LockHeld(&inner)) << way;
    }
    BSS1_DestroyLock(&outer);
    BSS1_DestroyLock(&inner);
}

// Where preconditions are checked, a routine entered without the lock that
// it asks for stops the process and says which check failed.
TEST(Lock, MissingLockStopsTheProcessWhereChecked)
{
#if defined(ZUL_ASSERTS) && ZUL_ASSERTS
    static ZULSS_lock_t lock = {0, nullptr};
    EXPECT_EXIT(ZUL_ASSERT_HELD(&lock), testing::KilledBySignal(SIGABRT),
                "^Assertion failed: ZULSS_LockHeld\\(&lock\\), file .*lock_test\\.cpp, line [0-9]+\n$");
    BSS1_GetLock(&lock);
    ZUL_ASSERT_HELD(&lock);
    BSS1_ReleaseLock(&lock);
#else
    GTEST_SKIP() << "preconditions are checked in the debug, asan and tsan builds";
#endif
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
