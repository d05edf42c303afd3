// Registration of units and entries, and the exit routines that hear of it.
#include "rastest.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
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

// Suspends are counted: a resume with nothing suspended changes nothing,
// and until the last resume a sync works out nothing, registers nothing
// and calls no exit routine.
TEST(RasSuspend, CountedSuspendKeepsSyncsFromRegisteringAnything)
{
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t entry = MakeEntry(&unit), other = MakeEntry(&unit, RAS1_PUBLIC, "other");
    ASSERT_EQ(RAS1_RegisterExit(reinterpret_cast<void *>(1), Note<1>), STC1_Success);
    AddStore();
    RAS1_SetClass(nullptr, 0xFFFFFFFF);
    RAS1_Sync(&other);
    calls.clear();
    EXPECT_EQ(RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME), STC1_Success);
    EXPECT_TRUE(IsCurrent(other));
    RAS1_Event(&entry, 1, RAS1_EVENT_SUSPEND);
    EXPECT_FALSE(IsCurrent(other));
    RAS1_Event(nullptr, 0, RAS1_EVENT_SUSPEND);
    RAS1_Event(&entry, 1, RAS1_EVENT_RESUME);
    EXPECT_EQ(RAS1_ReadClass(&entry), 0u);
    EXPECT_TRUE(calls.empty());
    EXPECT_EQ(List(RAS1_LIST_ENTRIES), std::vector<void *>{&other});
    RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME);
    EXPECT_EQ(RAS1_ReadClass(&entry), 0xFFFFFFFFu);
    EXPECT_EQ(calls.size(), 1u);
}

// Many threads sync one new record at once: one registration, one notice.
// The routine then has another thread take both locks of the trace: it
// would wait for ever if the sync that calls it held one.
static ZULRA_unit_t otherUnit = MakeUnit(RAS1_KERNEL);
static ZULRA_entry_t otherEntry = MakeEntry(&otherUnit);
static std::atomic<int> notices{0};
static int TakeLocksElsewhere(uint32_t events, void **, ZULRA_notice_t *notice)
{
    if (notice->entry == &otherEntry || notices.fetch_add(events) != 0)
        return 0;
    auto done = std::async(std::launch::async, [] {
        RAS1_Sync(&otherEntry);                     // anchor lock, block lock
        RAS1_Event(nullptr, 0, RAS1_EVENT_SUSPEND); // block lock
        RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME);
    });
    if (done.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
        std::fprintf(stderr, "exit routine was called with a lock of the trace held\n");
        std::_Exit(2);
    }
    return 0;
}

TEST(RasExit, ManyThreadsSyncingOneRecordRegisterItOnceWithNoLockHeld)
{
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t entry = MakeEntry(&unit);
    ASSERT_EQ(RAS1_RegisterExit(nullptr, TakeLocksElsewhere), STC1_Success);
    AddStore();
    RAS1_SetClass(nullptr, RAS1_ERROR | RAS1_FLOW);
    uint32_t words[8];
    RunTogether(8, [&](int t) { words[t] = RAS1_Sync(&entry); });
    for (uint32_t w : words)
        EXPECT_EQ(w, 0xFFFFFFC0u);
    EXPECT_EQ(notices.load(), int(RAS1_EXIT_UNIT | RAS1_EXIT_ENTRY));
    EXPECT_EQ(List(RAS1_LIST_ENTRIES).size(), 2u);
    EXPECT_TRUE(IsCurrent(entry) && otherUnit.registered == 1u);
}
