// Thread blocks: one per thread and descriptor, zeroed, constructed on
// first use and dropped newest first when the thread ends.
#include <zul/bss1.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

std::string events;
void dropped(void *block) { events += std::string("-") + *static_cast<char *>(block); }
template <char tag> void make(void *block) { events += *static_cast<char *>(block) = tag; }
ZULSS_descriptor_t dA = {8, make<'A'>, dropped, 0, 0}, dC = {8, make<'C'>, dropped, 0, 0};
// B's constructor resolves C, which makes C newer than B.
ZULSS_descriptor_t dB = {8, [](void *b) { make<'B'>(b), ZULSS_THREAD_BLOCK(&dC); }, dropped, 0, 0};

TEST(ThreadBlock, DestructorsRunNewestFirstWhenTheThreadEnds)
{
    std::thread([] {
        BSS1__DropThread(nullptr); // no blocks yet: harmless
        ZULSS_THREAD_BLOCK(&dA);
        ZULSS_THREAD_BLOCK(&dB);
        ZULSS_THREAD_BLOCK(&dA); // already there
    }).join();
    std::thread([] {
        ZULSS_THREAD_BLOCK(&dA);
        BSS1_EndThread(); // drops once, not again at the thread's end
    }).join();
    EXPECT_EQ(events, "ABC-C-B-AA-A");
}

// Threads get distinct zeroed blocks; many descriptors in one thread (more
// than a small table holds) each keep their own.
TEST(ThreadBlock, ThreadsAndDescriptorsGetBlocksOfTheirOwn)
{
    static ZULSS_descriptor_t ds[40];
    void *blocks[40];
    for (int i = 0; i < 40; i++) {
        ds[i] = {64, nullptr, nullptr, 0, 0};
        blocks[i] = ZULSS_THREAD_BLOCK(&ds[i]);
        for (int j = 0; j <= i; j++)
            ASSERT_EQ(ZULSS_THREAD_BLOCK(&ds[j]), blocks[j]) << i << " " << j;
    }
    std::thread([&] {
        auto *theirs = static_cast<unsigned char *>(ZULSS_THREAD_BLOCK(&ds[0]));
        EXPECT_NE(theirs, blocks[0]);
        EXPECT_EQ(std::string(reinterpret_cast<char *>(theirs), 64), std::string(64, '\0'));
        theirs[0] = 0xAB;
    }).join();
    EXPECT_EQ(static_cast<unsigned char *>(blocks[0])[0], 0);
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
