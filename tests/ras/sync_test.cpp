// RAS1_Sync and the class match, reads racing with changes, bad input, and
// the two reads as a unit written in C runs them.
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

TEST(RasSync, BadInputIsRefusedAndFastPathReadersRaceWithChangesQuietly)
{
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t entry = MakeEntry(&unit);
    for (int code : {-1, 7})
        EXPECT_EQ(RAS1_Event(&entry, 1, code), STC1_BadArgument) << code;
    EXPECT_EQ(RAS1_Event(nullptr, 1, RAS1_EVENT_ENTRY), STC1_BadArgument);
    EXPECT_EQ(RAS1_RegisterExit(nullptr, nullptr), STC1_BadArgument);
    EXPECT_EQ(RAS1_Sync(nullptr), 0u);
    const uint32_t a = 0xFFFFFF80, b = 0xFFFFFFC0; // ERROR, ERROR FLOW; with ANY
    AddStore();
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    RunTogether(4, [&](int t) {
        while (t > 0 && !stop.load(std::memory_order_relaxed))
            if (uint32_t w = RAS1_ReadClass(&entry); w != a && w != b && w != 0)
                bad.fetch_add(1);
        for (int i = 0; t == 0 && i < 2000; i++) {
            RAS1_SetClass(nullptr, i % 2 ? RAS1_ERROR : RAS1_ERROR | RAS1_FLOW);
            if (i % 100 == 0)
                RAS1_Event(nullptr, 0, RAS1_EVENT_SUSPEND), RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME);
        }
        stop = true;
    });
    EXPECT_EQ(bad.load(), 0);
    EXPECT_EQ(RAS1_ReadClass(&entry), a);
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
