// Once-only construction: races, nesting, the depth of the slot pool, the
// two abort messages, and epilogs.
#include <zul/bss1.h>
#include "spawn.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <regex>
#include <thread>
#include <vector>

namespace {

std::atomic<int> constructed{0};

TEST(Once, RacingThreadsConstructOnceAndShareTheBlock)
{
    static ZULSS_descriptor_t d = {sizeof(int),
                                   [](void *block) {
                                       constructed++;
                                       std::this_thread::sleep_for(std::chrono::milliseconds(20));
                                       *static_cast<int *>(block) = 42;
                                   },
                                   nullptr, 0, 0};
    std::vector<std::thread> threads;
    std::vector<void *> seen(8);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] { seen[i] = ZULSS_PROCESS_BLOCK(&d); });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(constructed.load(), 1);
    for (void *p : seen)
        EXPECT_TRUE(p == seen[0] && *static_cast<int *>(p) == 42);
    EXPECT_LT(d.once, 0);
    EXPECT_EQ(ZULSS_PROCESS_BLOCK(&d), seen[0]);
}

TEST(Once, FinishedWordReturnsArgumentWithoutCallingAgain)
{
    static int32_t word;
    int calls = 0;
    auto count = [](void *p) { ++*static_cast<int *>(p); };
    EXPECT_EQ(BSS1_InitializeOnce(&word, count, &calls, __FILE__, __LINE__), &calls);
    EXPECT_EQ(BSS1_InitializeOnce(&word, count, &calls, __FILE__, __LINE__), &calls);
    EXPECT_EQ(calls, 1);
}

// Constructions nest, each holding a slot of the pool: 63 deep succeed,
// and the slots all come back; the 64th aborts with its message.
int32_t chain[64];
int depthLimit;
void nest(void *arg)
{
    intptr_t depth = reinterpret_cast<intptr_t>(arg);
    if (depth + 1 < depthLimit)
        BSS1_InitializeOnce(&chain[depth + 1], nest, reinterpret_cast<void *>(depth + 1), "nest.c", int(depth + 1));
}

TEST(Once, SixtyThreeNestedConstructionsSucceedAndTheSixtyFourthAborts)
{
    depthLimit = 63;
    for (int round = 0; round < 2; round++) { // the second needs the slots back
        BSS1_InitializeOnce(&chain[0], nest, nullptr, "nest.c", 0);
        for (int i = 0; i < 63; ++i)
            ASSERT_LT(chain[i], 0) << i;
        std::fill(std::begin(chain), std::end(chain), 0);
    }
    ChildResult r = RunInChild([] {
        depthLimit = 64;
        BSS1_InitializeOnce(&chain[0], nest, nullptr, "nest.c", 0);
    });
    EXPECT_TRUE(r.aborted());
    EXPECT_EQ(r.out, ""); // abort messages go to standard error
    EXPECT_TRUE(std::regex_match(r.err, std::regex("nest\\.c\\(63\\)-[0-9A-F]{8}: lock pool exhausted\n"))) << r.err;
}

int32_t selfWord;
void recurse(void *) { BSS1_InitializeOnce(&selfWord, recurse, nullptr, "second.c", 20); }

TEST(Once, ConstructorReachingItsOwnWordAbortsWithRecursionMessage)
{
    ChildResult r = RunInChild([] { BSS1_InitializeOnce(&selfWord, recurse, nullptr, "first.c", 10); });
    EXPECT_TRUE(r.aborted());
    EXPECT_EQ(r.out, ""); // abort messages go to standard error
    EXPECT_TRUE(std::regex_match(r.err, std::regex("second\\.c\\(20\\)-[0-9A-F]{8}-first\\.c\\(10\\): constructor recursion\n"))) << r.err;
}

// Epilogs.
std::vector<int> ran;
std::atomic<uint32_t> epilogThread{0};
void record(void *arg)
{
    ran.push_back(int(reinterpret_cast<intptr_t>(arg)));
    epilogThread = BSS1_ThreadID();
}

TEST(Epilog, OutsideAnyConstructionRunsAtOnce)
{
    BSS1_InitializeEpilog(record, reinterpret_cast<void *>(7));
    EXPECT_EQ(ran, std::vector<int>{7});
}

std::promise<void> releaseLong, longStarted;
int32_t longWord, shortWord;

TEST(Epilog, QueuedWorkRunsNewestFirstOnTheThreadEndingTheLastConstruction)
{
    std::atomic<uint32_t> longThread{0};
    std::thread t([&] {
        longThread = BSS1_ThreadID();
        BSS1_InitializeOnce(&longWord, [](void *) {
            longStarted.set_value();
            releaseLong.get_future().wait();
        }, nullptr, __FILE__, __LINE__);
    });
    longStarted.get_future().wait();
    // This construction ends while the other still runs: its epilogs wait.
    BSS1_InitializeOnce(&shortWord, [](void *) {
        BSS1_InitializeEpilog(record, reinterpret_cast<void *>(1));
        BSS1_InitializeEpilog(record, reinterpret_cast<void *>(2));
    }, nullptr, __FILE__, __LINE__);
    EXPECT_TRUE(ran.empty());
    releaseLong.set_value();
    t.join();
    EXPECT_EQ(ran, (std::vector<int>{2, 1}));
    EXPECT_EQ(epilogThread.load(), longThread.load());
}

// An epilog runs with no slot of the pool held: another thread can
// construct meanwhile, and the epilog itself can.
int32_t holderWord, fromEpilogWord, probeWord;
bool probeDone;
void inner(void *) {}
void probe_locks(void *)
{
    auto done = std::async(std::launch::async, [] { BSS1_InitializeOnce(&probeWord, inner, nullptr, __FILE__, __LINE__); });
    probeDone = done.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
    BSS1_InitializeOnce(&fromEpilogWord, inner, nullptr, __FILE__, __LINE__);
}

TEST(Epilog, RunsWithNoLockHeldAndMayConstruct)
{
    BSS1_InitializeOnce(&holderWord, [](void *) { BSS1_InitializeEpilog(probe_locks, nullptr); }, nullptr, __FILE__, __LINE__);
    EXPECT_TRUE(probeDone);
    EXPECT_LT(fromEpilogWord, 0); // complete before the construction call returned
}

} // namespace
