// Thread blocks: keys, the per-thread table, construction order and drop.
#include "bss/zulss.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

std::vector<std::string> events;

struct Tagged {
    char tag;
    int value;
};

void note_destroyed(void *block) { events.push_back(std::string("drop ") + static_cast<Tagged *>(block)->tag); }

#define TAGGED_CTOR(ch)                                                                                   \
    [](void *b) {                                                                                         \
        static_cast<Tagged *>(b)->tag = ch;                                                               \
        events.push_back(std::string("make ") + ch);                                                      \
    }

ZULSS_descriptor_t dA = {sizeof(Tagged), TAGGED_CTOR('A'), note_destroyed, 0, 0};
ZULSS_descriptor_t dC = {sizeof(Tagged), TAGGED_CTOR('C'), note_destroyed, 0, 0};
// B's constructor resolves C, which makes C newer than B.
ZULSS_descriptor_t dB = {sizeof(Tagged),
                         [](void *b) {
                             static_cast<Tagged *>(b)->tag = 'B';
                             events.push_back("make B");
                             ZULSS_THREAD_BLOCK(&dC);
                         },
                         note_destroyed, 0, 0};

TEST(ThreadBlock, DestructorsRunNewestFirstWhenARealThreadEnds)
{
    std::thread t([] {
        ZULSS_THREAD_BLOCK(&dA);
        ZULSS_THREAD_BLOCK(&dB);
        ZULSS_THREAD_BLOCK(&dA); // already there: no new construction
    });
    t.join();
    EXPECT_EQ(events, (std::vector<std::string>{"make A", "make B", "make C", "drop C", "drop B", "drop A"}));
}

TEST(ThreadBlock, EndThreadDropsOnceAndTheLaterDetachFindsNothing)
{
    std::thread t([] {
        ZULSS_THREAD_BLOCK(&dA);
        BSS1_EndThread();
    });
    t.join();
    EXPECT_EQ(events, (std::vector<std::string>{"make A", "drop A"}));
}

TEST(ThreadBlock, ThreadsGetDistinctZeroedBlocksUnderOneKey)
{
    static ZULSS_descriptor_t d = {64, nullptr, nullptr, 0, 0};
    void *mine = ZULSS_THREAD_BLOCK(&d);
    void *theirs = nullptr;
    bool zeroed = true;
    std::thread t([&] {
        theirs = ZULSS_THREAD_BLOCK(&d);
        for (int i = 0; i < 64; ++i)
            zeroed = zeroed && static_cast<unsigned char *>(theirs)[i] == 0;
        memset(theirs, 0xAB, 64);
    });
    t.join();
    EXPECT_NE(mine, theirs);
    EXPECT_TRUE(zeroed);
    EXPECT_EQ(static_cast<unsigned char *>(mine)[0], 0);
    EXPECT_GE(d.result, 1u);
    EXPECT_EQ(ZULSS_THREAD_BLOCK(&d), mine);
}

TEST(ThreadBlock, TableGrowsFromEightToSixteenKeepingEntriesAndChain)
{
    // In a fresh process nothing else has taken a thread key.
    static int made;
    static ZULSS_descriptor_t ds[9];
    void *blocks[9];
    for (auto &d : ds)
        d = {8, [](void *) { ++made; }, nullptr, 0, 0};
    blocks[0] = ZULSS_THREAD_BLOCK(&ds[0]);
    ASSERT_EQ(ds[0].result, 1u);
    EXPECT_EQ(ZULSS_ThreadTable()->capacity, 8u);
    for (int i = 1; i < 8; ++i)
        blocks[i] = ZULSS_THREAD_BLOCK(&ds[i]);
    ZULSS_ttable_t *small = ZULSS_ThreadTable();
    EXPECT_EQ(small->capacity, 8u);
    ZULSS_tentry_t *chainBefore = small->chain;

    blocks[8] = ZULSS_THREAD_BLOCK(&ds[8]);
    EXPECT_EQ(ds[8].result, 9u);
    ZULSS_ttable_t *grown = ZULSS_ThreadTable();
    EXPECT_EQ(grown->capacity, 16u);
    EXPECT_EQ(grown->chain->next, chainBefore);
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(ZULSS_THREAD_BLOCK(&ds[i]), blocks[i]) << i;
    EXPECT_EQ(made, 9);
}

TEST(ThreadBlock, WordBlockReturnsWhatTheConstructorStored)
{
    static uintptr_t destroyedWith;
    static ZULSS_descriptor_t d = {0, [](void *w) { *static_cast<uintptr_t *>(w) = 0x5EED; },
                                   [](void *v) { destroyedWith = reinterpret_cast<uintptr_t>(v); }, 0, 0};
    std::thread t([] { EXPECT_EQ(reinterpret_cast<uintptr_t>(ZULSS_THREAD_BLOCK(&d)), 0x5EEDu); });
    t.join();
    EXPECT_EQ(destroyedWith, 0x5EEDu);
}

TEST(ThreadBlock, DropWithoutTableDoesNothingTwice)
{
    std::thread t([] {
        BSS1__DropThread(nullptr);
        BSS1__DropThread(nullptr);
        EXPECT_EQ(ZULSS_ThreadTable(), nullptr);
    });
    t.join();
}

} // namespace
