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
    ZULRA_unit_t *unit;
    ZULRA_entry_t *entry;
    bool operator==(const Call &) const = default;
};
std::mutex callsLock;
std::vector<Call> calls;

void *UserWord(int v) { return reinterpret_cast<void *>(static_cast<uintptr_t>(v)); }

// Routine n is registered with user word n and notes each call.
template <int n> int Note(uint32_t events, void **user, ZULRA_notice_t *notice)
{
    EXPECT_EQ(notice->size, sizeof(ZULRA_notice_t));
    EXPECT_EQ(notice->elements, nullptr);
    EXPECT_EQ(notice->elementCount, 0u);
    EXPECT_EQ(*user, UserWord(n));
    std::lock_guard<std::mutex> g(callsLock);
    calls.push_back({n, events, notice->unit, notice->entry});
    return 0;
}

std::atomic<int> unitEvents{0}, entryEvents{0};
int CountEvents(uint32_t events, void **, ZULRA_notice_t *)
{
    unitEvents.fetch_add((events & RAS1_EXIT_UNIT) ? 1 : 0);
    entryEvents.fetch_add((events & RAS1_EXIT_ENTRY) ? 1 : 0);
    return 0;
}

} // namespace

TEST(RasExit, RoutinesHearEachUnitAndEntryOnceNewestFirst)
{
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t first = MakeEntry(&unit, RAS1_PUBLIC, "first");
    static ZULRA_entry_t second = MakeEntry(&unit, RAS1_PRIVATE, "second");
    ASSERT_EQ(RAS1_RegisterExit(UserWord(1), Note<1>), STC1_Success);
    ASSERT_EQ(RAS1_RegisterExit(UserWord(2), Note<2>), STC1_Success);
    AddStore();
    RAS1_Sync(&first);
    RAS1_SetClass(nullptr, RAS1_ERROR); // stale again: no longer new
    RAS1_Sync(&first);
    RAS1_Sync(&second);
    const std::vector<Call> expected = {
        {2, 3, &unit, &first}, {1, 3, &unit, &first}, {2, 2, &unit, &second}, {1, 2, &unit, &second}};
    EXPECT_TRUE(calls == expected) << calls.size() << " calls";
    EXPECT_EQ(unit.registered, 1u);
    EXPECT_EQ(List(RAS1_LIST_UNITS), std::vector<void *>{&unit});
    EXPECT_EQ(List(RAS1_LIST_ENTRIES), (std::vector<void *>{&second, &first}));
}

// Suspends are counted: a resume with nothing suspended changes nothing,
// the first suspend makes records stale, and until the last resume a sync
// works out nothing, registers nothing and calls no exit routine.
TEST(RasSuspend, CountedSuspendKeepsSyncsFromRegisteringAnything)
{
    RAS_TEST_RECORD(unit, entry);
    ASSERT_EQ(RAS1_RegisterExit(UserWord(1), Note<1>), STC1_Success);
    static ZULRA_entry_t other = MakeEntry(&unit, RAS1_PUBLIC, "other");
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
    EXPECT_EQ(RAS1_Sync(&entry), 0u);
    EXPECT_EQ(RAS1_ReadClass(&entry), 0u);
    EXPECT_FALSE(IsCurrent(entry));
    EXPECT_TRUE(calls.empty());
    EXPECT_EQ(List(RAS1_LIST_ENTRIES), std::vector<void *>{&other});

    RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME);
    EXPECT_EQ(RAS1_ReadClass(&entry), 0xFFFFFFFFu);
    EXPECT_TRUE(IsCurrent(entry));
    EXPECT_EQ(calls.size(), 1u);
    EXPECT_EQ(List(RAS1_LIST_ENTRIES).size(), 2u);
}

// A routine that holds up until another thread has taken both locks of
// the trace: it would wait for ever if the sync that calls it held one.
static std::atomic<bool> probed{false};
static ZULRA_unit_t otherUnit = MakeUnit(RAS1_KERNEL);
static ZULRA_entry_t otherEntry = MakeEntry(&otherUnit, RAS1_PUBLIC);

static int TakeLocksElsewhere(uint32_t, void **, ZULRA_notice_t *)
{
    if (probed.exchange(true))
        return 0;
    auto done = std::async(std::launch::async, [] {
        RAS1_Sync(&otherEntry);                     // anchor lock, block lock
        RAS1_RegisterExit(nullptr, CountEvents);    // block lock
        RAS1_Event(nullptr, 0, RAS1_EVENT_SUSPEND); // block lock
        RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME);
    });
    if (done.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
        std::fprintf(stderr, "exit routine was called with a lock of the trace held\n");
        std::_Exit(2);
    }
    return 0;
}

TEST(RasExit, RoutinesRunWithNoLockHeld)
{
    RAS_TEST_RECORD(unit, entry);
    ASSERT_EQ(RAS1_RegisterExit(nullptr, TakeLocksElsewhere), STC1_Success);
    RAS1_Sync(&entry);
    EXPECT_TRUE(probed.load());
    EXPECT_EQ(otherUnit.registered, 1u);
}

TEST(RasSync, ManyThreadsSyncingOneRecordRegisterItOnce)
{
    RAS_TEST_RECORD(unit, entry);
    ASSERT_EQ(RAS1_RegisterExit(nullptr, CountEvents), STC1_Success);
    AddStore();
    RAS1_SetClass(nullptr, RAS1_ERROR | RAS1_FLOW);
    uint32_t words[8];
    RunTogether(8, [&](int t) { words[t] = RAS1_Sync(&entry); });
    for (uint32_t w : words)
        EXPECT_EQ(w, 0xFFFFFFC0u);
    EXPECT_EQ(unitEvents.load(), 1);
    EXPECT_EQ(entryEvents.load(), 1);
    EXPECT_EQ(List(RAS1_LIST_UNITS).size(), 1u);
    EXPECT_EQ(List(RAS1_LIST_ENTRIES).size(), 1u);
    EXPECT_TRUE(IsCurrent(entry));
}
