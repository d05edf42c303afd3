// Once-only construction: races, nesting, the slot pool and the two abort
// messages (on standard error).
#include <zul/bss1.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>
#include <vector>

namespace {

TEST(Once, RacingThreadsConstructOnceAndShareTheBlock)
{
    static std::atomic<int> made{0};
    static ZULSS_descriptor_t d = {sizeof(int), [](void *block) {
        made++;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        *static_cast<int *>(block) = 42;
    }, nullptr, 0, 0};
    std::vector<std::thread> threads;
    void *seen[8];
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] { seen[i] = ZULSS_PROCESS_BLOCK(&d); });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(made.load(), 1);
    for (void *p : seen)
        EXPECT_TRUE(p == seen[0] && *static_cast<int *>(p) == 42);
}

// Constructions nest, each holding a slot of the pool: 63 deep succeed and
// give their slots back; the 64th aborts.
int32_t chain[64];
int depthLimit;
void nest(void *arg)
{
    intptr_t depth = reinterpret_cast<intptr_t>(arg);
    if (depth + 1 < depthLimit)
        BSS1_InitializeOnce(&chain[depth + 1], nest, reinterpret_cast<void *>(depth + 1), "nest.c", int(depth + 1));
}
int32_t selfWord;
void recurse(void *) { BSS1_InitializeOnce(&selfWord, recurse, nullptr, "second.c", 20); }

TEST(Once, NestingLimitAndRecursionAbortWithTheirMessages)
{
    depthLimit = 63;
    for (int round = 0; round < 2; round++) { // the second needs the slots back
        BSS1_InitializeOnce(&chain[0], nest, nullptr, "nest.c", 0);
        for (int i = 0; i < 63; ++i)
            ASSERT_LT(chain[i], 0) << i;
        std::fill(std::begin(chain), std::end(chain), 0);
    }
    depthLimit = 64;
    EXPECT_EXIT(BSS1_InitializeOnce(&chain[0], nest, nullptr, "nest.c", 0), testing::KilledBySignal(SIGABRT),
                "^nest\\.c\\(63\\)-[0-9A-F]{8}: lock pool exhausted\n$");
    EXPECT_EXIT(BSS1_InitializeOnce(&selfWord, recurse, nullptr, "first.c", 10), testing::KilledBySignal(SIGABRT),
                "^second\\.c\\(20\\)-[0-9A-F]{8}-first\\.c\\(10\\): constructor recursion\n$");
}

} // namespace
