// Thread blocks: one per thread and descriptor, zeroed, constructed on
// first use and dropped newest first when the thread ends.
#include <zul/bss1.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

std::vector<std::string> events;

void note_destroyed(void *block) { events.push_back(std::string("drop ") + *static_cast<char *>(block)); }
template <char tag> void make(void *block)
{
    *static_cast<char *>(block) = tag;
    events.push_back(std::string("make ") + tag);
}

ZULSS_descriptor_t dA = {8, make<'A'>, note_destroyed, 0, 0};
ZULSS_descriptor_t dC = {8, make<'C'>, note_destroyed, 0, 0};
// B's constructor resolves C, which makes C newer than B.
ZULSS_descriptor_t dB = {8, [](void *b) { make<'B'>(b), ZULSS_THREAD_BLOCK(&dC); }, note_destroyed, 0, 0};

TEST(ThreadBlock, DestructorsRunNewestFirstWhenARealThreadEnds)
{
    std::thread([] {
        ZULSS_THREAD_BLOCK(&dA);
        ZULSS_THREAD_BLOCK(&dB);
        ZULSS_THREAD_BLOCK(&dA); // already there: no new construction
    }).join();
    EXPECT_EQ(events, (std::vector<std::string>{"make A", "make B", "make C", "drop C", "drop B", "drop A"}));
}

TEST(ThreadBlock, EndThreadDropsOnceAndDroppingNothingIsHarmless)
{
    std::thread([] {
        BSS1__DropThread(nullptr); // no blocks yet
        ZULSS_THREAD_BLOCK(&dA);
        BSS1_EndThread();
    }).join();
    EXPECT_EQ(events, (std::vector<std::string>{"make A", "drop A"}));
}

TEST(ThreadBlock, ThreadsGetDistinctZeroedBlocksUnderOneKey)
{
    static ZULSS_descriptor_t d = {64, nullptr, nullptr, 0, 0};
    void *mine = ZULSS_THREAD_BLOCK(&d), *theirs = nullptr;
    bool zeroed = true;
    std::thread([&] {
        theirs = ZULSS_THREAD_BLOCK(&d);
        for (int i = 0; i < 64; ++i)
            zeroed = zeroed && static_cast<unsigned char *>(theirs)[i] == 0;
        memset(theirs, 0xAB, 64);
    }).join();
    EXPECT_NE(mine, theirs);
    EXPECT_TRUE(zeroed);
    EXPECT_EQ(static_cast<unsigned char *>(mine)[0], 0);
    EXPECT_EQ(ZULSS_THREAD_BLOCK(&d), mine);
}

// Many blocks in one thread (more than a small table holds) each keep
// their own block.
TEST(ThreadBlock, ManyDescriptorsKeepTheirBlocks)
{
    static int made;
    static ZULSS_descriptor_t ds[40];
    void *blocks[40];
    for (int i = 0; i < 40; i++) {
        ds[i] = {8, [](void *) { ++made; }, nullptr, 0, 0};
        blocks[i] = ZULSS_THREAD_BLOCK(&ds[i]);
        for (int j = 0; j <= i; j++)
            ASSERT_EQ(ZULSS_THREAD_BLOCK(&ds[j]), blocks[j]) << i << " " << j;
    }
    EXPECT_EQ(made, 40);
}

TEST(ThreadBlock, WordBlockReturnsWhatTheConstructorStored)
{
    static uintptr_t destroyedWith;
    static ZULSS_descriptor_t d = {0, [](void *w) { *static_cast<uintptr_t *>(w) = 0x5EED; },
                                   [](void *v) { destroyedWith = reinterpret_cast<uintptr_t>(v); }, 0, 0};
    std::thread([] { EXPECT_EQ(reinterpret_cast<uintptr_t>(ZULSS_THREAD_BLOCK(&d)), 0x5EEDu); }).join();
    EXPECT_EQ(destroyedWith, 0x5EEDu);
}

} // namespace
