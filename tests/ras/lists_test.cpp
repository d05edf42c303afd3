// The process block, the enumeration chunks and the build records that a
// sync meets.
#include "rastest.h"

#include <gtest/gtest.h>

TEST(RasBlock, IsBuiltWithItsFigures)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    EXPECT_EQ(block, ZULRA_Pcb());
    EXPECT_EQ(block->anchor, &ZULRA_anchor);
    EXPECT_EQ(block->chunkBytes, sizeof(void *) * 1024);
    EXPECT_EQ(block->chunkSlots, 1021u);
    EXPECT_EQ(block->nextFilter, 1u);
    EXPECT_EQ(block->stores.next, block->stores.end);
    EXPECT_EQ(block->filters.next, block->filters.end);
    EXPECT_EQ(block->suspended, 0u);

    // The capture ring: 256 empty slots in a circle.
    ZULRA_capture_t *slot = block->capture;
    ASSERT_NE(slot, nullptr);
    int n = 0;
    do {
        EXPECT_EQ(slot->length, 0u);
        slot = slot->next;
        n++;
    } while (slot != block->capture && n <= 256);
    EXPECT_EQ(n, 256);
}

TEST(RasLists, ChunksFillDownwardsAndChainNewestFirst)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    static int records[1024];
    BSS1_GetLock(&block->anchor->lock);
    for (int i = 0; i < 1024; i++)
        ZULRA_Remember(block, ZULRA_LIST_BUILDS, &records[i]);
    ZULRA_Remember(block, 3, &records[0]); // no such list: ignored
    BSS1_ReleaseLock(&block->anchor->lock);

    ZULRA_chunk_t *newest = block->lists[ZULRA_LIST_BUILDS];
    ASSERT_NE(newest, nullptr);
    ASSERT_NE(newest->next, nullptr);
    ZULRA_chunk_t *full = newest->next;
    EXPECT_EQ(full->next, nullptr);
    EXPECT_EQ(newest->count, 3u);
    EXPECT_EQ(full->count, 1021u);
    EXPECT_EQ(newest->top[0], &records[1023]);
    EXPECT_EQ(newest->top[2], &records[1021]);
    EXPECT_EQ(full->top[0], &records[1020]);
    EXPECT_EQ(full->top[1020], &records[0]);
    // A full chunk's pointers reach down to its header, and no further.
    EXPECT_EQ(reinterpret_cast<char *>(full->top), reinterpret_cast<char *>(full) + sizeof(ZULRA_chunk_t));
    EXPECT_EQ(ListCount(ZULRA_LIST_UNITS), 0u);
}

namespace {

const char *const valuesA[18] = {"d", "t", "", "", "tgt", "", "", "", "", "", "", "", "", "", "7", "ZUL", "0042", "drv"};
// Another record of the same build: other date, same identity.
const char *const valuesA2[18] = {"x", "y", "", "", "tgt", "", "", "", "", "", "", "", "", "", "8", "ZUL", "0042", "drv"};
// Same component and driver, other serial number.
const char *const valuesB[18] = {"d", "t", "", "", "tgt", "", "", "", "", "", "", "", "", "", "7", "ZUL", "0043", "drv"};
// Too few values: the identity reads as empty texts.
const char *const valuesShort[2] = {"d", "t"};

ZULRA_build_t buildA = {18, 0, valuesA, nullptr};
ZULRA_build_t buildA2 = {18, 0, valuesA2, nullptr};
ZULRA_build_t buildB = {18, 0, valuesB, nullptr};
ZULRA_build_t buildShort = {2, 0, valuesShort, nullptr};

int infoCalls = 0;
void InfoA(ZULRA_build_t **b) { infoCalls++; *b = &buildA; }
void InfoA2(ZULRA_build_t **b) { infoCalls++; *b = &buildA2; }
void InfoB(ZULRA_build_t **b) { infoCalls++; *b = &buildB; }
void InfoShort(ZULRA_build_t **b) { infoCalls++; *b = &buildShort; }
void InfoNone(ZULRA_build_t **) { infoCalls++; }

} // namespace

TEST(RasBuild, EachBuildIsKeptOnce)
{
    static ZULRA_unit_t units[] = {
        MakeUnit(RAS1_LIBRARY, InfoA),  MakeUnit(RAS1_LIBRARY, InfoA),
        MakeUnit(RAS1_LIBRARY, InfoA2), MakeUnit(RAS1_LIBRARY, InfoB),
        MakeUnit(RAS1_LIBRARY, InfoShort), MakeUnit(RAS1_LIBRARY, InfoNone),
        MakeUnit(RAS1_LIBRARY, InfoB, 179), // too old a format: not asked
    };
    static ZULRA_entry_t entries[2 * sizeof units / sizeof units[0]];
    for (size_t i = 0; i < sizeof units / sizeof units[0]; i++) {
        entries[2 * i] = MakeEntry(&units[i], RAS1_PUBLIC, "a");
        entries[2 * i + 1] = MakeEntry(&units[i], RAS1_PUBLIC, "b");
        RAS1_Sync(&entries[2 * i]);
        RAS1_Sync(&entries[2 * i + 1]); // the unit is known: not asked again
    }
    EXPECT_EQ(infoCalls, 6);
    // The library's own record, entered when the trace started, then A,
    // B and the short one.
    EXPECT_EQ(ListCount(ZULRA_LIST_BUILDS), 4u);
    EXPECT_EQ(ListCount(ZULRA_LIST_UNITS), 7u);
    EXPECT_EQ(ListCount(ZULRA_LIST_ENTRIES), 14u);
    ZULRA_chunk_t *builds = ZULRA_Pcb()->lists[ZULRA_LIST_BUILDS];
    EXPECT_EQ(builds->top[0], &buildShort);
    EXPECT_EQ(builds->top[1], &buildB);
    EXPECT_EQ(builds->top[2], &buildA);
    ZULRA_build_t *own = nullptr;
    ZULRA_BuildInfo(&own);
    EXPECT_EQ(builds->top[3], own);
}

ZULRA_PFM1_UNIT("zulpf1a");
RAS1_DECLARE_ENTRY(allowEntry, "PFM1_Allow", RAS1_PUBLIC);

TEST(RasUnits, LibraryUnitSyncsWithItsKindsAndBuild)
{
    EXPECT_EQ(allowEntry.unit->classes, 0x20010000u);
    EXPECT_STREQ(allowEntry.unit->comp, "PFM1");
    EXPECT_STREQ(allowEntry.unit->file, "zulpf1a");
    EXPECT_EQ(allowEntry.unit->buildInfo, ZULRA_BuildInfo);
    RAS1_Sync(&allowEntry);
    EXPECT_EQ(allowEntry.unit->registered, 1u);
    EXPECT_EQ(ListCount(ZULRA_LIST_UNITS), 1u);
    ZULRA_build_t *build = nullptr;
    ZULRA_BuildInfo(&build);
    ASSERT_EQ(ListCount(ZULRA_LIST_BUILDS), build ? 1u : 0u); // none added when none is given
    if (build)
        EXPECT_EQ(ZULRA_Pcb()->lists[ZULRA_LIST_BUILDS]->top[0], build);
}
