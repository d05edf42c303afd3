// The process block, the enumeration chunks and the build records that a
// sync meets.
#include "rastest.h"

TEST(RasBlock, CaptureRingIs256EmptySlotsInACircle)
{
    ZULRA_capture_t *slot = ZULRA_Pcb()->capture;
    ASSERT_NE(slot, nullptr);
    int n = 0;
    do {
        EXPECT_EQ(slot->length, 0u);
        slot = slot->next;
    } while (++n <= 256 && slot != ZULRA_Pcb()->capture);
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
    ZULRA_chunk_t *full = newest->next;
    ASSERT_NE(full, nullptr);
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

// Build records as link units lay them down.  A build is known by its
// component code (value 15), serial number (16) and driver name (17).
struct Build {
    const char *values[18];
    ZULRA_build_t record;
} builds[] = {
    {{"d", "t", "", "", "tgt", "", "", "", "", "", "", "", "", "", "7", "ZUL", "0042", "drv"}, {18, 0, nullptr, nullptr}},
    // Another record of the same build: other date, same identity.
    {{"x", "y", "", "", "tgt", "", "", "", "", "", "", "", "", "", "8", "ZUL", "0042", "drv"}, {18, 0, nullptr, nullptr}},
    // Same component and driver, other serial number.
    {{"d", "t", "", "", "tgt", "", "", "", "", "", "", "", "", "", "7", "ZUL", "0043", "drv"}, {18, 0, nullptr, nullptr}},
    // Too few values: the identity reads as empty texts.
    {{"d", "t"}, {2, 0, nullptr, nullptr}},
};

int infoCalls = 0;
// Hands out build i; a unit whose index is past the table gives none.
template <size_t i> void Info(ZULRA_build_t **b)
{
    infoCalls++;
    if (i < std::size(builds)) {
        builds[i].record.values = builds[i].values;
        *b = &builds[i].record;
    }
}

} // namespace

TEST(RasBuild, EachBuildIsKeptOnce)
{
    static ZULRA_unit_t units[] = {
        MakeUnit(RAS1_LIBRARY, Info<0>), MakeUnit(RAS1_LIBRARY, Info<0>), MakeUnit(RAS1_LIBRARY, Info<1>),
        MakeUnit(RAS1_LIBRARY, Info<2>), MakeUnit(RAS1_LIBRARY, Info<3>), MakeUnit(RAS1_LIBRARY, Info<4>),
        MakeUnit(RAS1_LIBRARY, Info<2>, 179), // too old a format: not asked
    };
    static ZULRA_entry_t entries[2 * std::size(units)];
    for (size_t i = 0; i < std::size(units); i++) {
        entries[2 * i] = MakeEntry(&units[i], RAS1_PUBLIC, "a");
        entries[2 * i + 1] = MakeEntry(&units[i], RAS1_PUBLIC, "b");
        RAS1_Sync(&entries[2 * i]);
        RAS1_Sync(&entries[2 * i + 1]); // the unit is known: not asked again
    }
    EXPECT_EQ(infoCalls, 6);
    // The library's own record, entered when the trace started, then
    // builds 0, 2 and 3, newest first.
    EXPECT_EQ(ListCount(ZULRA_LIST_BUILDS), 4u);
    EXPECT_EQ(ListCount(ZULRA_LIST_UNITS), 7u);
    EXPECT_EQ(ListCount(ZULRA_LIST_ENTRIES), 14u);
    ZULRA_build_t *own = nullptr;
    ZULRA_BuildInfo(&own);
    void *const expected[] = {&builds[3].record, &builds[2].record, &builds[0].record, own};
    for (size_t i = 0; i < std::size(expected); i++)
        EXPECT_EQ(ZULRA_Pcb()->lists[ZULRA_LIST_BUILDS]->top[i], expected[i]) << i;
}
