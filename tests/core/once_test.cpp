// Once-only construction: races, nesting, the slot pool, the two abort
// messages and epilogs.
#include "bss/zulss.h"
#include "spawn.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

namespace {

std::atomic<int> constructed{0};

void slow_counting_constructor(void *block)
{
    constructed.fetch_add(1);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    *static_cast<int *>(block) = 42;
}

TEST(Once, RacingThreadsConstructOnceAndShareTheBlock)
{
    static ZULSS_descriptor_t d = {sizeof(int), slow_counting_constructor, nullptr, 0, 0};
    // The library's own load-time constructions may have left slots in the
    // free list; a race on one word must take exactly one slot, from there
    // or by raising `highest` by one.
    auto freeLength = [] {
        int n = 0;
        for (int32_t s = ZULSS_pool.free; s != 0; s = ZULSS_pool.slots[s].next)
            ++n;
        return n;
    };
    const int32_t highestBefore = ZULSS_pool.highest;
    const int freeBefore = freeLength();
    std::vector<std::thread> threads;
    std::vector<void *> seen(8);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] { seen[i] = ZULSS_PROCESS_BLOCK(&d); });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(constructed.load(), 1);
    for (void *p : seen) {
        EXPECT_EQ(p, seen[0]);
        EXPECT_EQ(*static_cast<int *>(p), 42);
    }
    const int32_t raised = ZULSS_pool.highest - highestBefore;
    EXPECT_LE(raised, freeBefore == 0 ? 1 : 0);
    EXPECT_EQ(freeLength(), freeBefore + raised);
    EXPECT_LT(d.once, 0);
    EXPECT_EQ(ZULSS_pool.active, 0);
}

// Nesting: the outer construction holds its slot while the inner one takes
// another; both go back, and the slot that ended last is handed out next.
int32_t innerWord, outerWord, laterWord;
void inner(void *) {}
void outer(void *)
{
    EXPECT_EQ(ZULSS_pool.active, 1);
    BSS1_InitializeOnce(&innerWord, inner, nullptr, "outer", 1);
    EXPECT_EQ(ZULSS_pool.active, 1);
}

TEST(Once, NestedConstructionsUseTwoSlotsAndReturnBoth)
{
    BSS1_InitializeOnce(&outerWord, outer, nullptr, __FILE__, __LINE__);
    const int32_t outerSlot = -outerWord - 1, innerSlot = -innerWord - 1;
    EXPECT_NE(outerSlot, innerSlot);
    EXPECT_EQ(ZULSS_pool.active, 0);
    EXPECT_EQ(ZULSS_pool.free, outerSlot);
    EXPECT_EQ(ZULSS_pool.slots[outerSlot].next, innerSlot);
    EXPECT_EQ(ZULSS_pool.slots[outerSlot].owner, 0u);
    BSS1_InitializeOnce(&laterWord, inner, nullptr, __FILE__, __LINE__);
    EXPECT_EQ(-laterWord - 1, outerSlot);
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

int32_t chain[64];
int depthLimit;
void nest(void *arg)
{
    intptr_t depth = reinterpret_cast<intptr_t>(arg);
    if (depth + 1 < depthLimit)
        BSS1_InitializeOnce(&chain[depth + 1], nest, reinterpret_cast<void *>(depth + 1), "nest.c", static_cast<int>(depth + 1));
}

TEST(Once, SixtyThreeNestedConstructionsSucceed)
{
    depthLimit = 63;
    BSS1_InitializeOnce(&chain[0], nest, nullptr, "nest.c", 0);
    for (int i = 0; i < 63; ++i)
        EXPECT_LT(chain[i], 0) << i;
    EXPECT_EQ(ZULSS_pool.highest, 63);
    EXPECT_EQ(ZULSS_pool.active, 0);
    EXPECT_EQ(ZULSS_pool.free, -chain[0] - 1); // the outermost ended last
}

TEST(Once, SixtyFourthNestedConstructionAbortsWithExhaustionMessage)
{
    ChildResult r = RunInChild([] {
        depthLimit = 64;
        BSS1_InitializeOnce(&chain[0], nest, nullptr, "nest.c", 0);
    });
    EXPECT_TRUE(r.aborted());
    EXPECT_EQ(r.out, ""); // abort messages go to standard error
    // "nest.c(63)-" then the child's thread ID in 8 hex digits.
    ASSERT_EQ(r.err.size(), 11u + 8u + 22u) << r.err;
    EXPECT_EQ(r.err.substr(0, 11), "nest.c(63)-");
    EXPECT_EQ(r.err.substr(11, 8).find_first_not_of("0123456789ABCDEF"), std::string::npos);
    EXPECT_EQ(r.err.substr(19), ": lock pool exhausted\n");
}

int32_t selfWord;
void recurse(void *) { BSS1_InitializeOnce(&selfWord, recurse, nullptr, "second.c", 20); }

TEST(Once, ConstructorReachingItsOwnWordAbortsWithRecursionMessage)
{
    ChildResult r = RunInChild([] { BSS1_InitializeOnce(&selfWord, recurse, nullptr, "first.c", 10); });
    EXPECT_TRUE(r.aborted());
    EXPECT_EQ(r.out, ""); // abort messages go to standard error
    ASSERT_EQ(r.err.size(), 13u + 8u + 36u) << r.err;
    EXPECT_EQ(r.err.substr(0, 13), "second.c(20)-");
    EXPECT_EQ(r.err.substr(21), "-first.c(10): constructor recursion\n");
}

// Epilogs.
std::vector<int> ran;
std::atomic<uint32_t> epilogThread{0};
void record(void *arg)
{
    ran.push_back(static_cast<int>(reinterpret_cast<intptr_t>(arg)));
    epilogThread = BSS1_ThreadID();
}

TEST(Epilog, OutsideAnyConstructionRunsAtOnce)
{
    BSS1_InitializeEpilog(record, reinterpret_cast<void *>(7));
    ASSERT_EQ(ran.size(), 1u);
    EXPECT_EQ(ran[0], 7);
}

std::promise<void> releaseLong;
std::promise<void> longStarted;
int32_t longWord, shortWord;
void long_constructor(void *)
{
    longStarted.set_value();
    releaseLong.get_future().wait();
}
void queue_two(void *)
{
    BSS1_InitializeEpilog(record, reinterpret_cast<void *>(1));
    BSS1_InitializeEpilog(record, reinterpret_cast<void *>(2));
}

TEST(Epilog, QueuedWorkRunsNewestFirstOnTheThreadEndingTheLastConstruction)
{
    std::atomic<uint32_t> longThread{0};
    std::thread t([&] {
        longThread = BSS1_ThreadID();
        BSS1_InitializeOnce(&longWord, long_constructor, nullptr, __FILE__, __LINE__);
    });
    longStarted.get_future().wait();
    // This construction ends while the other is still running: its
    // epilogs wait for that one.
    BSS1_InitializeOnce(&shortWord, queue_two, nullptr, __FILE__, __LINE__);
    EXPECT_TRUE(ran.empty());
    releaseLong.set_value();
    t.join();
    EXPECT_EQ(ran, (std::vector<int>{2, 1}));
    EXPECT_EQ(epilogThread.load(), longThread.load());
}

int32_t holderWord, fromEpilogWord, probeWord;
bool probeDone;
void probe_locks(void *)
{
    // If the ending thread still held a pool lock, another thread could not
    // construct anything now.
    auto done = std::async(std::launch::async, [] {
        BSS1_InitializeOnce(&probeWord, inner, nullptr, __FILE__, __LINE__);
    });
    probeDone = done.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
    BSS1_InitializeOnce(&fromEpilogWord, inner, nullptr, __FILE__, __LINE__);
}
void queue_probe(void *) { BSS1_InitializeEpilog(probe_locks, nullptr); }

TEST(Epilog, RunsWithNoLockHeldAndMayConstruct)
{
    BSS1_InitializeOnce(&holderWord, queue_probe, nullptr, __FILE__, __LINE__);
    EXPECT_TRUE(probeDone);
    EXPECT_LT(fromEpilogWord, 0); // complete before the construction call returned
    EXPECT_EQ(ZULSS_pool.active, 0);
}

} // namespace
