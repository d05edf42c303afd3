// Helpers of the trace tests: records laid down by hand, and the settings
// that the later parts of the trace will change through their own calls.
#ifndef ZUL_TESTS_RAS_RASTEST_H
#define ZUL_TESTS_RAS_RASTEST_H

#include "ras/zulra.h"
#include "ras/zulralg.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

inline const uint32_t kStartWord = 1;

inline ZULRA_unit_t MakeUnit(uint32_t classes, ZULRA_buildinfo_t buildInfo = nullptr, int32_t format = RAS1_UNIT_FORMAT)
{
    static char t[] = "t";
    return {format, classes, t, 1, t, 1, t, 1, t, 1, t, 1, 0, buildInfo};
}

inline ZULRA_entry_t MakeEntry(ZULRA_unit_t *unit, uint32_t classes, const char *name = "f")
{
    return {unit, name, static_cast<uint32_t>(std::strlen(name)), 10, &kStartWord, classes, 0, 0};
}

// A library unit with one public entry, in static storage: once synced,
// the trace keeps pointers to both for the life of the process.
#define RAS_TEST_RECORD(unit, entry)                                                               \
    static ZULRA_unit_t unit = MakeUnit(RAS1_LIBRARY);                                             \
    static ZULRA_entry_t entry = MakeEntry(&unit, RAS1_PUBLIC)

inline bool IsCurrent(const ZULRA_entry_t &e)
{
    return __atomic_load_n(&e.syncValue, __ATOMIC_ACQUIRE) ==
           __atomic_load_n(__atomic_load_n(&e.syncWord, __ATOMIC_ACQUIRE), __ATOMIC_ACQUIRE);
}

inline uint32_t SyncWord() { return __atomic_load_n(&ZULRA_Pcb()->anchor->syncWord, __ATOMIC_ACQUIRE); }

// Stands in for a store: a zeroed store with no write routine takes the
// lines that the sync writes under DETAIL and drops them.
inline ZULRA_store_t fakeStoreBytes;

// Sets the default class and the default store as the class and store
// calls will; `stale` also moves the sync word, as those calls do.
inline void Configure(uint32_t defaultClass, bool withStore, bool stale = true)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    BSS1_GetLock(&block->lock);
    __atomic_store_n(&block->defaultClass, defaultClass, __ATOMIC_RELAXED);
    block->defaultStore = withStore ? reinterpret_cast<ZULRA_store *>(&fakeStoreBytes) : nullptr;
    if (stale)
        ZULRA_MoveSyncWord(block);
    BSS1_ReleaseLock(&block->lock);
}

inline uint32_t ListCount(int list)
{
    uint32_t n = 0;
    for (ZULRA_chunk_t *c = __atomic_load_n(&ZULRA_Pcb()->lists[list], __ATOMIC_ACQUIRE); c; c = c->next)
        n += __atomic_load_n(&c->count, __ATOMIC_ACQUIRE);
    return n;
}

// Starts n threads that each run f(i) once all of them are up, and joins them.
template <class F> void RunTogether(int n, F f)
{
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < n; i++)
        threads.emplace_back([&, i] {
            for (ready.fetch_add(1); ready.load() < n;) {
            }
            f(i);
        });
    for (auto &t : threads)
        t.join();
}

#endif
