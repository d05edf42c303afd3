// The protocol, as a unit written in C runs it.
#include "rastest.h"

#include <gtest/gtest.h>

extern "C" {
ZULRA_entry_t *traced_c_full_record(void);
ZULRA_entry_t *traced_c_quick_record(void);
extern int traced_c_details;
int traced_c_full(int x, uint32_t *seen);
void traced_c_quick(uint32_t *seen, int *flow);
}

TEST(RasProtocol, FullReadFollowsTheSettingsAndTestsBothBits)
{
    uint32_t seen = 1;
    EXPECT_EQ(traced_c_full(21, &seen), 42);
    EXPECT_EQ(seen, 0u); // nothing configured
    EXPECT_TRUE(IsCurrent(*traced_c_full_record()));
    EXPECT_EQ(traced_c_full_record()->unit->registered, 1u);

    Configure(RAS1_EVERYUNIT | RAS1_EVERYENTRY | RAS1_DETAIL, true);
    EXPECT_EQ(traced_c_full(1, &seen), 2);
    EXPECT_EQ(seen, RAS1_EVERYUNIT | RAS1_EVERYENTRY | RAS1_DETAIL | RAS1_ANY);
    EXPECT_EQ(traced_c_details, 0); // STATE is not set

    Configure(0xFFFFFFFF & ~RAS1_ANY, true);
    EXPECT_EQ(traced_c_full(1, &seen), 2);
    EXPECT_EQ(traced_c_details, 1);
}

TEST(RasProtocol, QuickReadNeverSyncsItsRecord)
{
    Configure(0xFFFFFFFF & ~RAS1_ANY, true);
    uint32_t seen = 1;
    int flow = 1;
    for (int i = 0; i < 3; i++) {
        traced_c_quick(&seen, &flow);
        EXPECT_EQ(seen, 0u);
        EXPECT_EQ(flow, 0);
    }
    EXPECT_FALSE(IsCurrent(*traced_c_quick_record()));
    EXPECT_EQ(traced_c_details, 0);

    // Only a sync of that record would change it.
    RAS1_Sync(traced_c_quick_record());
    traced_c_quick(&seen, &flow);
    EXPECT_EQ(seen, 0xFFFFFFFFu);
    EXPECT_EQ(flow, 0);
    EXPECT_EQ(traced_c_details, 1);
}
