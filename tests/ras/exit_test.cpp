// Registration of units, entries and builds, and the exit routines that
// hear of units and entries.
#include "rastest.h"

#include <mutex>

namespace {

struct Call {
    int routine;
    uint32_t events;
    ZULRA_entry_t *entry;
    bool operator==(const Call &) const = default;
};
std::mutex callsLock;
std::vector<Call> calls;

// Routine n is registered with user word n and notes each call.
template <int n> int Note(uint32_t events, void **user, ZULRA_notice_t *notice)
{
    EXPECT_TRUE(notice->size == sizeof(ZULRA_notice_t) && *user == reinterpret_cast<void *>(n));
    std::lock_guard<std::mutex> g(callsLock);
    calls.push_back({n, events, notice->entry});
    return 0;
}

} // namespace

TEST(RasExit, RoutinesHearEachUnitAndEntryOnceNewestFirst)
{
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t first = MakeEntry(&unit, RAS1_PUBLIC, "first"), second = MakeEntry(&unit, RAS1_PRIVATE, "second");
    ASSERT_EQ(RAS1_RegisterExit(reinterpret_cast<void *>(1), Note<1>), STC1_Success);
    ASSERT_EQ(RAS1_RegisterExit(reinterpret_cast<void *>(2), Note<2>), STC1_Success);
    AddStore();
    RAS1_Sync(&first);
    RAS1_SetClass(nullptr, RAS1_ERROR); // stale again: no longer new
    RAS1_Sync(&first);
    RAS1_Sync(&second);
    EXPECT_TRUE(calls == (std::vector<Call>{{2, 3, &first}, {1, 3, &first}, {2, 2, &second}, {1, 2, &second}}));
    EXPECT_EQ(unit.registered, 1u);
    EXPECT_EQ(List(RAS1_LIST_ENTRIES), (std::vector<void *>{&second, &first}));
}

// Build records as link units lay them down, known by component code
// (value 15), serial number (16) and driver name (17): a build is kept once
// whatever its record, and a unit is asked only at its first sync.
const char *kBuilds[3][18] = {{"d", "t", "", "", "", "", "", "", "", "", "", "", "", "", "7", "ZUL", "0042", "drv"},
                              {"x", "y", "", "", "", "", "", "", "", "", "", "", "", "", "8", "ZUL", "0042", "drv"},
                              {"d", "t"}}; // too few values: the identity reads as empty texts
ZULRA_build_t builds[3] = {{18, 0, kBuilds[0], nullptr}, {18, 0, kBuilds[1], nullptr}, {2, 0, kBuilds[2], nullptr}};
int infoCalls = 0;
template <size_t i> void Info(ZULRA_build_t **b) { infoCalls++, *b = &builds[i]; }

TEST(RasBuild, EachBuildIsKeptOnce)
{
    static ZULRA_unit_t units[] = {MakeUnit(RAS1_LIBRARY, Info<0>), MakeUnit(RAS1_LIBRARY, Info<1>),
                                   MakeUnit(RAS1_LIBRARY, Info<2>), MakeUnit(RAS1_LIBRARY, Info<2>, 179)}; // too old: not asked
    static ZULRA_entry_t entries[8];
    AddStore();
    for (int i = 0; i < 8; i++)
        entries[i] = MakeEntry(&units[i / 2], RAS1_PUBLIC, i % 2 ? "b" : "a"), RAS1_Sync(&entries[i]);
    EXPECT_EQ(infoCalls, 3);
    // newest first, then the library's own record, entered at the first sync
    std::vector<void *> list = List(RAS1_LIST_BUILDS);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_TRUE(list[0] == &builds[2] && list[1] == &builds[0]);
    EXPECT_STREQ(static_cast<ZULRA_build_t *>(list[2])->values[15], "zul");
}
