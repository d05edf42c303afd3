// Locks and the clock.
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
