// The clock, driven by a fake tick counter across its wrap.
#include "bss/zulss.h"
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

TEST_F(FakeClock, SecondsFollowTheTicksAndKeepTheRemainder)
{
    fakeTicks = 5000;
    ZULSS_time_t t0{};
    const uint32_t start = BSS1_GetTime(&t0); // builds the clock at 5000
    EXPECT_NEAR(static_cast<double>(start), static_cast<double>(time(nullptr)), 2.0);
    EXPECT_EQ(t0.nanoseconds, 0u);

    struct {
        uint32_t ticks, secondsAdded, nanoseconds;
    } steps[] = {{5400, 0, 400000000}, {5800, 0, 800000000}, {6200, 1, 200000000}, {6200, 1, 200000000},
                 {8999, 3, 999000000}, {9000, 4, 0}};
    for (auto &s : steps) {
        fakeTicks = s.ticks;
        ZULSS_time_t t{};
        EXPECT_EQ(BSS1_GetTime(&t), start + s.secondsAdded) << s.ticks;
        EXPECT_EQ(t.seconds, start + s.secondsAdded);
        EXPECT_EQ(t.nanoseconds, s.nanoseconds) << s.ticks;
    }
}

TEST_F(FakeClock, CrossesTheWrapOfTheTickCounter)
{
    fakeTicks = 0xFFFFFFF0u;
    const uint32_t start = BSS1_GetTime(nullptr);
    fakeTicks = 0x00000010u; // 32 ms later, across the wrap
    ZULSS_time_t t{};
    EXPECT_EQ(BSS1_GetTime(&t), start);
    EXPECT_EQ(t.nanoseconds, 32000000u);
    fakeTicks = 0x00000010u + 1000u - 32u + 500u; // 1.5 s after the start
    EXPECT_EQ(BSS1_GetTime(&t), start + 1);
    EXPECT_EQ(t.nanoseconds, 500000000u);
}

TEST(Clock, RealTicksAdvanceWithSleep)
{
    ZULSS_time_t a{}, b{};
    BSS1_GetTime(&a);
    BSS1_Sleep(1);
    BSS1_GetTime(&b);
    const uint64_t ms = (uint64_t(b.seconds) * 1000 + b.nanoseconds / 1000000) -
                        (uint64_t(a.seconds) * 1000 + a.nanoseconds / 1000000);
    EXPECT_GE(ms, 990u);
}
} // namespace
