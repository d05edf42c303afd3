// A lock whose mutex is made while the heap has no memory still excludes.
// The program is linked with --wrap=calloc, through which the library's
// mutexes are allocated; `failCalloc` makes that fail.
#include <zul/bss1.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {
std::atomic<bool> failCalloc{false};
}

extern "C" void *__real_calloc(size_t count, size_t size);
extern "C" void *__wrap_calloc(size_t count, size_t size)
{
    return failCalloc.load() ? nullptr : __real_calloc(count, size);
}

namespace {

TEST(LockNoMemory, ThreadsMeetingAFreshLockStillExcludeEachOther)
{
    failCalloc = true;
    for (int round = 0; round < 100; ++round) { // more rounds than reserve mutexes
        ZULSS_lock_t lock = {0, nullptr};
        std::atomic<int> inside{0}, worst{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                BSS1_GetLock(&lock);
                int now = ++inside;
                if (now > worst)
                    worst = now;
                std::this_thread::sleep_for(std::chrono::microseconds(100));
                --inside;
                BSS1_ReleaseLock(&lock);
            });
        for (auto &t : threads)
            t.join();
        EXPECT_EQ(worst.load(), 1);
        EXPECT_NE(lock.handle, nullptr);
        BSS1_DestroyLock(&lock); // gives a reserve mutex back
    }
    failCalloc = false;
}

} // namespace
