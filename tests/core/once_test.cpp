// Once-only construction: races, nesting, the slot pool, the two abort
// messages (on standard error), and epilogs.
#include <zul/bss1.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <future>
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

// Epilogs run at once outside a construction; queued ones run newest first
// on the thread that ends the last construction, with no slot held, so
// another thread and the epilog itself can construct.
std::vector<int> ran;
std::atomic<uint32_t> epilogThread{0};
void record(void *arg)
{
    ran.push_back(int(reinterpret_cast<intptr_t>(arg)));
    epilogThread = BSS1_ThreadID();
}
std::promise<void> releaseLong, longStarted;
int32_t longWord, shortWord, probeWord, fromEpilogWord;
bool probeDone;
void inner(void *) {}
void probe_locks(void *)
{
    auto done = std::async(std::launch::async, [] { BSS1_InitializeOnce(&probeWord, inner, nullptr, "p.c", 1); });
    probeDone = done.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
    BSS1_InitializeOnce(&fromEpilogWord, inner, nullptr, "p.c", 2);
}

TEST(Epilog, RunNewestFirstOnTheLastConstructionsThreadWithNoLockHeld)
{
    BSS1_InitializeEpilog(record, reinterpret_cast<void *>(7));
    EXPECT_EQ(ran, std::vector<int>{7});
    ran.clear();
    std::atomic<uint32_t> longThread{0};
    std::thread t([&] {
        longThread = BSS1_ThreadID();
        BSS1_InitializeOnce(&longWord, [](void *) {
            longStarted.set_value();
            releaseLong.get_future().wait();
        }, nullptr, "l.c", 1);
    });
    longStarted.get_future().wait();
    BSS1_InitializeOnce(&shortWord, [](void *) {
        BSS1_InitializeEpilog(record, reinterpret_cast<void *>(1));
        BSS1_InitializeEpilog(record, reinterpret_cast<void *>(2));
        BSS1_InitializeEpilog(probe_locks, nullptr);
    }, nullptr, "s.c", 1);
    EXPECT_TRUE(ran.empty()); // the other construction still runs
    releaseLong.set_value();
    t.join();
    EXPECT_EQ(ran, (std::vector<int>{2, 1}));
    EXPECT_EQ(epilogThread.load(), longThread.load());
    EXPECT_TRUE(probeDone);
    EXPECT_LT(fromEpilogWord, 0);
}

} // namespace
