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
