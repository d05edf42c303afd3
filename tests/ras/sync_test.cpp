// RAS1_Sync, the two reads, the class match and the suspend count.
#include "rastest.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

RAS1_DECLARE_UNIT_EX("zultsy", RAS1_LIBRARY | RAS1_TOOLKIT, "r2", "TEST", 0);
RAS1_DECLARE_ENTRY(declared, "declared_function", RAS1_PRIVATE);

TEST(RasRecords, DeclaredRecordsCarryTheirTextsAndStartStale)
{
    const ZULRA_unit_t &u = *declared.unit;
    EXPECT_EQ(u.format, 185);
    EXPECT_EQ(u.classes, RAS1_LIBRARY | RAS1_TOOLKIT);
    EXPECT_STREQ(u.file, "zultsy");
    EXPECT_EQ(u.fileLen + u.dateLen + u.timeLen + u.levelLen + u.compLen, 6u + 11 + 8 + 2 + 4);
    EXPECT_EQ(declared.nameLen, 17u);
    EXPECT_EQ(*declared.syncWord, 1u);
    EXPECT_FALSE(IsCurrent(declared));
}

TEST(RasPeek, NeverSyncsWhateverTheSettings)
{
    Configure(0xFFFFFFFF, true);
    EXPECT_EQ(RAS1_PeekClass(&declared), 0u);
    EXPECT_EQ(RAS1_PeekClass(&declared), 0u);
    EXPECT_FALSE(IsCurrent(declared));
    EXPECT_EQ(declared.unit->registered, 0u);

    // Once something else has synced it, the quick read sees the word.
    uint32_t word = RAS1_ReadClass(&declared);
    EXPECT_NE(word, 0u);
    EXPECT_EQ(RAS1_PeekClass(&declared), word);
}

TEST(RasSync, StaleRecordSyncsOnceThenIsCurrent)
{
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t entry = MakeEntry(&unit, RAS1_PUBLIC);
    Configure(0xFFFFFE80, true); // ERROR, completed
    EXPECT_EQ(RAS1_ReadClass(&entry), 0xFFFFFF80u);
    EXPECT_TRUE(IsCurrent(entry));
    EXPECT_EQ(entry.syncWord, &ZULRA_Pcb()->anchor->syncWord);

    // A change that does not move the sync word is not seen: the read took
    // the cached word and made no call.
    ZULRA_pcb_t *block = ZULRA_Pcb();
    BSS1_GetLock(&block->lock);
    __atomic_store_n(&block->defaultClass, 0xFFFFFFC0u, __ATOMIC_RELAXED);
    BSS1_ReleaseLock(&block->lock);
    EXPECT_EQ(RAS1_ReadClass(&entry), 0xFFFFFF80u);

    // Moving the word makes it stale; the next read works it out again.
    Configure(0xFFFFFFC0, true);
    EXPECT_FALSE(IsCurrent(entry));
    EXPECT_EQ(RAS1_ReadClass(&entry), 0xFFFFFFC0u);
    EXPECT_TRUE(IsCurrent(entry));
    EXPECT_EQ(entry.active, 0xFFFFFFC0u);
}

struct MatchCase {
    const char *what;
    uint32_t unitClasses, entryClasses, defaultClass;
    bool store;
    uint32_t expected;
};

TEST(RasSync, ClassMatchDecidesTheWord)
{
    const MatchCase cases[] = {
        {"all-of, every wanted bit present", RAS1_LIBRARY, RAS1_PUBLIC, 0xFFFFFE80, true, 0xFFFFFF80},
        {"all-of, one wanted bit missing", RAS1_SUBSYSTEM | RAS1_LIBRARY | RAS1_PROBE, RAS1_PUBLIC,
         0x20000280, true, RAS1_ANY},
        {"any-of by the selecting word, one bit shared", RAS1_LIBRARY, RAS1_PUBLIC,
         RAS1_ANY | RAS1_LIBRARY | RAS1_FLOW, true, RAS1_ANY | RAS1_LIBRARY | RAS1_FLOW},
        {"any-of by the selecting word, nothing shared", RAS1_LIBRARY, RAS1_PUBLIC,
         RAS1_ANY | RAS1_KERNEL, true, RAS1_ANY},
        {"any-of by the wanted word", RAS1_LIBRARY, RAS1_PUBLIC | RAS1_ANY, RAS1_LIBRARY | RAS1_FLOW,
         true, RAS1_ANY | RAS1_LIBRARY | RAS1_FLOW},
        {"want 0 never matches ANY, so ALL leaves only ANY", 0, 0, 0xFFFFFFFF, true, RAS1_ANY},
        {"want 0 matches any word without ANY", 0, 0, RAS1_FLOW, true, RAS1_ANY | RAS1_FLOW},
        {"nothing configured gives 0", RAS1_LIBRARY, RAS1_PUBLIC, 0, true, 0},
        {"no store gives 0", RAS1_LIBRARY, RAS1_PUBLIC, 0xFFFFFFFF, false, 0},
    };
    // Each case is a unit of its own, and each pass moves the sync word.
    static ZULRA_unit_t units[sizeof cases / sizeof cases[0]];
    static ZULRA_entry_t entries[sizeof cases / sizeof cases[0]];
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; i++) {
        const MatchCase &c = cases[i];
        units[i] = MakeUnit(c.unitClasses);
        entries[i] = MakeEntry(&units[i], c.entryClasses);
        Configure(c.defaultClass, c.store);
        EXPECT_EQ(RAS1_Sync(&entries[i]), c.expected) << c.what;
        EXPECT_EQ(RAS1_ReadClass(&entries[i]), c.expected) << c.what;
    }
}

TEST(RasSuspend, TwoSuspendsAndOneResumeKeepTracingOffAndMoveTheWordOnce)
{
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t entry = MakeEntry(&unit, RAS1_PUBLIC);
    Configure(0xFFFFFFFF, true);
    uint32_t before = SyncWord();
    RAS1_Event(&entry, 1, RAS1_EVENT_SUSPEND);
    RAS1_Event(&entry, 1, RAS1_EVENT_SUSPEND);
    EXPECT_EQ(SyncWord(), before + 1);
    RAS1_Event(&entry, 1, RAS1_EVENT_RESUME);
    EXPECT_EQ(SyncWord(), before + 1);
    EXPECT_EQ(RAS1_ReadClass(&entry), 0u);
    EXPECT_FALSE(IsCurrent(entry));

    RAS1_Event(&entry, 1, RAS1_EVENT_RESUME);
    EXPECT_EQ(SyncWord(), before + 2);
    EXPECT_NE(RAS1_ReadClass(&entry), 0u);
    EXPECT_TRUE(IsCurrent(entry));
}

TEST(RasSuspend, ResumeAtZeroChangesNothing)
{
    uint32_t before = SyncWord();
    EXPECT_EQ(RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME), STC1_Success);
    EXPECT_EQ(SyncWord(), before);
    EXPECT_EQ(ZULRA_Pcb()->suspended, 0u);
    RAS1_Event(nullptr, 0, RAS1_EVENT_SUSPEND); // still the first edge
    EXPECT_EQ(SyncWord(), before + 1);
}

TEST(RasEvent, BadInputIsRefusedAndChangesNothing)
{
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t entry = MakeEntry(&unit, RAS1_PUBLIC);
    uint32_t before = SyncWord();
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
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t entry = MakeEntry(&unit, RAS1_PUBLIC);
    const uint32_t a = 0xFFFFFF80, b = 0xFFFFFFC0; // as the block makes them, with ANY
    Configure(0xFFFFFE80, true);
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 3; t++)
        readers.emplace_back([&] {
            while (!stop.load(std::memory_order_relaxed)) {
                uint32_t w = RAS1_ReadClass(&entry);
                if (w != a && w != b && w != 0)
                    bad.fetch_add(1);
            }
        });
    for (int i = 0; i < 2000; i++) {
        Configure(i % 2 ? 0xFFFFFE80 : 0xFFFFFFC0, true);
        if (i % 100 == 0) {
            RAS1_Event(nullptr, 0, RAS1_EVENT_SUSPEND);
            RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME);
        }
    }
    stop = true;
    for (auto &t : readers)
        t.join();
    EXPECT_EQ(bad.load(), 0);
    EXPECT_EQ(RAS1_ReadClass(&entry), a);
}
