// Registration of units and entries, the exit routines that hear of it,
// and the enumeration lists.
#include "rastest.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace {

struct Call {
    int routine;
    uint32_t events;
    ZULRA_unit_t *unit;
    ZULRA_entry_t *entry;
};

std::mutex callsLock;
std::vector<Call> calls;

int Record(int routine, uint32_t events, void **user, ZULRA_notice_t *n)
{
    EXPECT_EQ(n->size, sizeof(ZULRA_notice_t));
    EXPECT_EQ(n->elements, nullptr);
    EXPECT_EQ(n->elementCount, 0u);
    EXPECT_EQ(*user, reinterpret_cast<void *>(static_cast<uintptr_t>(routine)));
    std::lock_guard<std::mutex> g(callsLock);
    calls.push_back({routine, events, n->unit, n->entry});
    return 0;
}
int RoutineOne(uint32_t e, void **u, ZULRA_notice_t *n) { return Record(1, e, u, n); }
int RoutineTwo(uint32_t e, void **u, ZULRA_notice_t *n) { return Record(2, e, u, n); }

void *UserWord(int v) { return reinterpret_cast<void *>(static_cast<uintptr_t>(v)); }

} // namespace

TEST(RasExit, RoutinesHearEachUnitAndEntryOnceNewestFirst)
{
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t first = MakeEntry(&unit, RAS1_PUBLIC, "first");
    static ZULRA_entry_t second = MakeEntry(&unit, RAS1_PRIVATE, "second");
    ASSERT_EQ(RAS1_RegisterExit(UserWord(1), RoutineOne), STC1_Success);
    ASSERT_EQ(RAS1_RegisterExit(UserWord(2), RoutineTwo), STC1_Success);

    RAS1_Sync(&first);
    Configure(0, false); // stale again: no longer new
    RAS1_Sync(&first);
    RAS1_Sync(&second);

    ASSERT_EQ(calls.size(), 4u);
    const Call expected[] = {{2, 3, &unit, &first},
                             {1, 3, &unit, &first},
                             {2, 2, &unit, &second},
                             {1, 2, &unit, &second}};
    for (size_t i = 0; i < 4; i++) {
        EXPECT_EQ(calls[i].routine, expected[i].routine) << i;
        EXPECT_EQ(calls[i].events, expected[i].events) << i;
        EXPECT_EQ(calls[i].unit, expected[i].unit) << i;
        EXPECT_EQ(calls[i].entry, expected[i].entry) << i;
    }
    EXPECT_EQ(unit.registered, 1u);
    EXPECT_EQ(ListCount(ZULRA_LIST_UNITS), 1u);
    EXPECT_EQ(ListCount(ZULRA_LIST_ENTRIES), 2u);
    EXPECT_EQ(ZULRA_Pcb()->lists[ZULRA_LIST_ENTRIES]->top[0], &second);
}

TEST(RasExit, SuspendedSyncRegistersNothingAndCallsNoRoutine)
{
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t entry = MakeEntry(&unit, RAS1_PUBLIC);
    ASSERT_EQ(RAS1_RegisterExit(UserWord(1), RoutineOne), STC1_Success);
    Configure(0xFFFFFFFF, true);
    RAS1_Event(nullptr, 0, RAS1_EVENT_SUSPEND);

    EXPECT_EQ(RAS1_Sync(&entry), 0u);
    EXPECT_EQ(RAS1_ReadClass(&entry), 0u);
    EXPECT_FALSE(IsCurrent(entry));
    EXPECT_EQ(entry.syncWord, &kStartWord);
    EXPECT_EQ(unit.registered, 0u);
    EXPECT_TRUE(calls.empty());
    EXPECT_EQ(ListCount(ZULRA_LIST_ENTRIES), 0u);

    RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME);
    EXPECT_EQ(RAS1_ReadClass(&entry), 0xFFFFFFFFu);
    EXPECT_EQ(calls.size(), 1u);
    EXPECT_EQ(unit.registered, 1u);
}

static std::atomic<int> unitEvents{0}, entryEvents{0};
static int CountEvents(uint32_t events, void **, ZULRA_notice_t *)
{
    if (events & RAS1_EXIT_UNIT)
        unitEvents.fetch_add(1);
    if (events & RAS1_EXIT_ENTRY)
        entryEvents.fetch_add(1);
    return 0;
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
        RAS1_Sync(&otherEntry);                    // anchor lock, block lock
        RAS1_RegisterExit(nullptr, CountEvents);   // block lock
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
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t entry = MakeEntry(&unit, RAS1_PUBLIC);
    ASSERT_EQ(RAS1_RegisterExit(nullptr, TakeLocksElsewhere), STC1_Success);
    RAS1_Sync(&entry);
    EXPECT_TRUE(probed.load());
    EXPECT_EQ(otherUnit.registered, 1u);
}

TEST(RasSync, ManyThreadsSyncingOneRecordRegisterItOnce)
{
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);
    static ZULRA_entry_t entry = MakeEntry(&unit, RAS1_PUBLIC);
    ASSERT_EQ(RAS1_RegisterExit(nullptr, CountEvents), STC1_Success);
    Configure(0xFFFFFFC0, true);

    const int n = 8;
    std::atomic<int> ready{0};
    std::vector<uint32_t> words(n);
    std::vector<std::thread> threads;
    for (int t = 0; t < n; t++)
        threads.emplace_back([&, t] {
            ready.fetch_add(1);
            while (ready.load() < n) {
            }
            words[t] = RAS1_Sync(&entry);
        });
    for (auto &t : threads)
        t.join();

    for (int t = 0; t < n; t++)
        EXPECT_EQ(words[t], 0xFFFFFFC0u) << t;
    EXPECT_EQ(unitEvents.load(), 1);
    EXPECT_EQ(entryEvents.load(), 1);
    EXPECT_EQ(ListCount(ZULRA_LIST_ENTRIES), 1u);
    EXPECT_EQ(ListCount(ZULRA_LIST_UNITS), 1u);
    EXPECT_TRUE(IsCurrent(entry));
}
