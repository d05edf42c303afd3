// The clock, driven by a fake tick counter across its wrap.
#include <zul/bss1.h>
#include "platform/zulplat.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {
uint32_t fakeTicks;
uint32_t fake_source(void) { return fakeTicks; }

struct FakeClock : ::testing::Test {
    void SetUp() override { ZULPL_SetTickSource(fake_source); }
    void TearDown() override { ZULPL_SetTickSource(nullptr); }
};

// Seconds follow the ticks from the first call on, the remainder carries
// into nanoseconds, and the counter's wrap is crossed without a jump.
TEST_F(FakeClock, SecondsFollowTheTicksAcrossTheWrap)
{
    fakeTicks = 0xFFFFFE00u;
    ZULSS_time_t t{};
    const uint32_t start = BSS1_GetTime(&t);
    EXPECT_NEAR(double(start), double(time(nullptr)), 2.0);
    EXPECT_EQ(t.nanoseconds, 0u);
    struct { uint32_t ticks, secondsAdded, nanoseconds; } steps[] = {
        {0xFFFFFF90u, 0, 400000000}, {0x00000010u, 0, 528000000}, {0x00000010u, 0, 528000000},
        {0x000001F0u, 1, 8000000}, {0x00000D9Fu, 3, 999000000}, {0x00000DA0u, 4, 0}};
    for (auto &s : steps) {
        fakeTicks = s.ticks;
        EXPECT_EQ(BSS1_GetTime(&t), start + s.secondsAdded) << s.ticks;
        EXPECT_EQ(t.seconds, start + s.secondsAdded);
        EXPECT_EQ(t.nanoseconds, s.nanoseconds) << s.ticks;
    }
}

TEST(Clock, RealTicksAdvanceWithSleep)
{
    ZULSS_time_t a{}, b{};
    BSS1_GetTime(&a);
    BSS1_Sleep(1);
    BSS1_GetTime(&b);
    EXPECT_GE((b.seconds - a.seconds) * 1000.0 + (double(b.nanoseconds) - a.nanoseconds) / 1e6, 990.0);
}
} // namespace
