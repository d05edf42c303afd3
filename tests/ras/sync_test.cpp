// RAS1_Sync and the class match, and the two reads as a unit written in C
// runs them.
#include "rastest.h"

TEST(RasSync, ClassMatchDecidesTheWord)
{
    const uint32_t lib = RAS1_LIBRARY, pub = RAS1_PUBLIC, any = RAS1_ANY, flow = RAS1_FLOW;
    // The default class is given complete, so that it stands as written.
    const struct { const char *what; uint32_t unitClasses, entryClasses, defaultClass, expected; } cases[] = {
        {"all-of, every wanted bit present", lib, pub, 0xFFFFFE80, 0xFFFFFF80},
        {"all-of, one wanted bit missing", RAS1_SUBSYSTEM | lib | RAS1_PROBE, pub, lib | pub | RAS1_ERROR, any},
        {"any-of by the selecting word, one bit shared", lib, pub, any | lib | pub | flow, any | lib | pub | flow},
        {"any-of by the selecting word, nothing shared", lib, pub, any | RAS1_KERNEL | RAS1_PRIVATE | flow, any},
        {"any-of by the wanted word", lib, pub | any, RAS1_KERNEL | pub | flow, any | RAS1_KERNEL | pub | flow},
        {"want 0 never matches ANY, so ALL leaves only ANY", 0, 0, 0xFFFFFFFF, any},
        {"want 0 matches any word without ANY", 0, 0, 0xFFFFFE40, 0xFFFFFF40},
    };
    static ZULRA_unit_t units[std::size(cases)]; // each case is a unit of its own
    static ZULRA_entry_t entries[std::size(cases)];
    AddStore();
    for (size_t i = 0; i < std::size(cases); i++) {
        units[i] = MakeUnit(cases[i].unitClasses);
        entries[i] = MakeEntry(&units[i], cases[i].entryClasses);
        RAS1_SetClass(nullptr, cases[i].defaultClass);
        EXPECT_EQ(RAS1_Sync(&entries[i]), cases[i].expected) << cases[i].what;
    }
}

extern "C" {
ZULRA_entry_t *traced_c_quick_record(void);
extern int traced_c_details;
int traced_c_full(int x, uint32_t *seen);
void traced_c_quick(uint32_t *seen, int *flow);
}

TEST(RasProtocol, CUnitReadsFollowTheSettings)
{
    uint32_t seen = 1;
    int flow = 1;
    EXPECT_EQ(traced_c_full(21, &seen), 42);
    EXPECT_EQ(seen, 0u); // nothing configured
    AddStore();
    RAS1_SetClass(nullptr, RAS1_EVERYUNIT | RAS1_EVERYENTRY | RAS1_DETAIL);
    traced_c_full(1, &seen); // the full read syncs and tests both bits
    EXPECT_EQ(seen, RAS1_EVERYUNIT | RAS1_EVERYENTRY | RAS1_DETAIL | RAS1_ANY);
    EXPECT_EQ(traced_c_details, 0); // STATE is not set
    RAS1_SetClass(nullptr, ~RAS1_ANY);
    traced_c_full(1, &seen);
    EXPECT_EQ(traced_c_details, 1);
    // The quick read never syncs its record; only a sync changes it.
    for (uint32_t expected : {0u, 0xFFFFFFFFu}) {
        if (expected)
            RAS1_Sync(traced_c_quick_record());
        traced_c_quick(&seen, &flow);
        EXPECT_TRUE(seen == expected && flow == 0);
    }
    EXPECT_EQ(traced_c_details, 2);
}
