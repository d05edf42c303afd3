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

} // namespace
