// RAS1_Sync, the two reads, the class match, the suspend count, and the
// macros as a unit written in C runs them.
#include "rastest.h"

RAS1_DECLARE_UNIT_EX("zultsy", RAS1_LIBRARY | RAS1_TOOLKIT, "r2", "TEST", 0);
RAS1_DECLARE_ENTRY(declared, "declared_function", RAS1_PRIVATE);

TEST(RasPeek, DeclaredRecordStartsStaleAndPeekNeverSyncsIt)
{
    const ZULRA_unit_t &u = *declared.unit;
    EXPECT_EQ(u.format, 185);
    EXPECT_EQ(u.classes, RAS1_LIBRARY | RAS1_TOOLKIT);
    EXPECT_STREQ(u.file, "zultsy");
    EXPECT_EQ(u.fileLen + u.dateLen + u.timeLen + u.levelLen + u.compLen, 6u + 11 + 8 + 2 + 4);
    EXPECT_EQ(declared.nameLen, 17u);
    EXPECT_EQ(*declared.syncWord, 1u);

    Configure(0xFFFFFFFF, true);
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(RAS1_PeekClass(&declared), 0u);
    EXPECT_FALSE(IsCurrent(declared));
    EXPECT_EQ(u.registered, 0u);
    // Once something else has synced it, the quick read sees the word.
    uint32_t word = RAS1_ReadClass(&declared);
    EXPECT_NE(word, 0u);
    EXPECT_EQ(RAS1_PeekClass(&declared), word);
}

TEST(RasSync, StaleRecordSyncsOnceThenIsCurrent)
{
    RAS_TEST_RECORD(unit, entry);
    Configure(0xFFFFFE80, true); // ERROR, completed
    EXPECT_EQ(RAS1_ReadClass(&entry), 0xFFFFFF80u);
    EXPECT_TRUE(IsCurrent(entry));
    EXPECT_EQ(entry.syncWord, &ZULRA_Pcb()->anchor->syncWord);
    // A change that does not move the sync word is not seen: the read took
    // the cached word and made no call.
    Configure(0xFFFFFFC0, true, false);
    EXPECT_EQ(RAS1_ReadClass(&entry), 0xFFFFFF80u);
    // Moving the word makes it stale; the next read works it out again.
    Configure(0xFFFFFFC0, true);
    EXPECT_FALSE(IsCurrent(entry));
    EXPECT_EQ(RAS1_ReadClass(&entry), 0xFFFFFFC0u);
    EXPECT_TRUE(IsCurrent(entry));
    EXPECT_EQ(entry.active, 0xFFFFFFC0u);
}

TEST(RasSync, ClassMatchDecidesTheWord)
{
    const uint32_t lib = RAS1_LIBRARY, pub = RAS1_PUBLIC, any = RAS1_ANY, flow = RAS1_FLOW;
    const struct { const char *what; uint32_t unitClasses, entryClasses, defaultClass; bool store; uint32_t expected; } cases[] = {
        {"all-of, every wanted bit present", lib, pub, 0xFFFFFE80, true, 0xFFFFFF80},
        {"all-of, one wanted bit missing", RAS1_SUBSYSTEM | lib | RAS1_PROBE, pub, 0x20000280, true, any},
        {"any-of by the selecting word, one bit shared", lib, pub, any | lib | flow, true, any | lib | flow},
        {"any-of by the selecting word, nothing shared", lib, pub, any | RAS1_KERNEL, true, any},
        {"any-of by the wanted word", lib, pub | any, lib | flow, true, any | lib | flow},
        {"want 0 never matches ANY, so ALL leaves only ANY", 0, 0, 0xFFFFFFFF, true, any},
        {"want 0 matches any word without ANY", 0, 0, flow, true, any | flow},
        {"nothing configured gives 0", lib, pub, 0, true, 0},
        {"no store gives 0", lib, pub, 0xFFFFFFFF, false, 0},
    };
    // Each case is a unit of its own, and each pass moves the sync word.
    static ZULRA_unit_t units[std::size(cases)];
    static ZULRA_entry_t entries[std::size(cases)];
    for (size_t i = 0; i < std::size(cases); i++) {
        units[i] = MakeUnit(cases[i].unitClasses);
        entries[i] = MakeEntry(&units[i], cases[i].entryClasses);
        Configure(cases[i].defaultClass, cases[i].store);
        EXPECT_EQ(RAS1_Sync(&entries[i]), cases[i].expected) << cases[i].what;
        EXPECT_EQ(RAS1_ReadClass(&entries[i]), cases[i].expected) << cases[i].what;
    }
}

TEST(RasEvent, BadInputIsRefusedAndChangesNothing)
{
    RAS_TEST_RECORD(unit, entry);
    const uint32_t before = SyncWord();
    for (int code : {-1, 7, 100})
        EXPECT_EQ(RAS1_Event(&entry, 1, code), STC1_BadArgument) << code;
    EXPECT_EQ(RAS1_Event(nullptr, 1, RAS1_EVENT_ENTRY), STC1_BadArgument);
    EXPECT_EQ(RAS1_RegisterExit(nullptr, nullptr), STC1_BadArgument);
    EXPECT_EQ(RAS1_Sync(nullptr), 0u);
    EXPECT_EQ(SyncWord(), before);
    EXPECT_EQ(ZULRA_Pcb()->exits, nullptr);
}

TEST(RasSync, FastPathReadersRaceWithChangesQuietly)
{
    RAS_TEST_RECORD(unit, entry);
    const uint32_t a = 0xFFFFFF80, b = 0xFFFFFFC0; // as the block makes them, with ANY
    Configure(0xFFFFFE80, true);
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    RunTogether(4, [&](int t) {
        while (t > 0 && !stop.load(std::memory_order_relaxed))
            if (uint32_t w = RAS1_ReadClass(&entry); w != a && w != b && w != 0)
                bad.fetch_add(1);
        for (int i = 0; t == 0 && i < 2000; i++) {
            Configure(i % 2 ? 0xFFFFFE80 : 0xFFFFFFC0, true);
            if (i % 100 == 0) {
                RAS1_Event(nullptr, 0, RAS1_EVENT_SUSPEND);
                RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME);
            }
        }
        stop = true;
    });
    EXPECT_EQ(bad.load(), 0);
    EXPECT_EQ(RAS1_ReadClass(&entry), a);
}

extern "C" {
ZULRA_entry_t *traced_c_full_record(void);
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
    EXPECT_TRUE(IsCurrent(*traced_c_full_record()));
    EXPECT_EQ(traced_c_full_record()->unit->registered, 1u);
    // The full read syncs as the settings change and tests both bits.
    Configure(RAS1_EVERYUNIT | RAS1_EVERYENTRY | RAS1_DETAIL, true);
    EXPECT_EQ(traced_c_full(1, &seen), 2);
    EXPECT_EQ(seen, RAS1_EVERYUNIT | RAS1_EVERYENTRY | RAS1_DETAIL | RAS1_ANY);
    EXPECT_EQ(traced_c_details, 0); // STATE is not set
    Configure(~RAS1_ANY, true);
    traced_c_full(1, &seen);
    EXPECT_EQ(seen, 0xFFFFFFFFu);
    EXPECT_EQ(traced_c_details, 1);
    // The quick read never syncs its record; only a sync changes it.
    for (uint32_t expected : {0u, 0u, 0xFFFFFFFFu}) {
        if (expected)
            RAS1_Sync(traced_c_quick_record());
        traced_c_quick(&seen, &flow);
        EXPECT_EQ(seen, expected);
        EXPECT_EQ(flow, 0);
        EXPECT_EQ(IsCurrent(*traced_c_quick_record()), expected != 0);
    }
    EXPECT_EQ(traced_c_details, 2);
}
