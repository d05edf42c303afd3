// Helpers of the trace tests: records laid down by hand, and the settings
// that the later parts of the trace will change through their own calls.
#ifndef ZUL_TESTS_RAS_RASTEST_H
#define ZUL_TESTS_RAS_RASTEST_H

#include "ras/zulra.h"
#include "ras/zulralg.h"

#include <cstring>

inline const uint32_t kStartWord = 1;

inline ZULRA_unit_t MakeUnit(uint32_t classes, ZULRA_buildinfo_t buildInfo = nullptr,
                             int32_t format = RAS1_UNIT_FORMAT)
{
    static char text[] = "t";
    ZULRA_unit_t u{};
    u.format = format;
    u.classes = classes;
    u.file = u.date = u.time = u.level = u.comp = text;
    u.fileLen = u.dateLen = u.timeLen = u.levelLen = u.compLen = 1;
    u.buildInfo = buildInfo;
    return u;
}

inline ZULRA_entry_t MakeEntry(ZULRA_unit_t *unit, uint32_t classes, const char *name = "f")
{
    ZULRA_entry_t e{};
    e.unit = unit;
    e.name = name;
    e.nameLen = static_cast<uint32_t>(std::strlen(name));
    e.line = 10;
    e.syncWord = &kStartWord;
    e.classes = classes;
    return e;
}

inline bool IsCurrent(const ZULRA_entry_t &e)
{
    return __atomic_load_n(&e.syncValue, __ATOMIC_ACQUIRE) ==
           __atomic_load_n(__atomic_load_n(&e.syncWord, __ATOMIC_ACQUIRE), __ATOMIC_ACQUIRE);
}

inline uint32_t SyncWord()
{
    return __atomic_load_n(&ZULRA_Pcb()->anchor->syncWord, __ATOMIC_ACQUIRE);
}

// Stands in for a store: a zeroed store with no write routine takes the
// lines that the sync writes under DETAIL and drops them.
inline ZULRA_store_t fakeStoreBytes;

// Sets the default class and the default store as the class and store
// calls will, and makes every record stale.
inline void Configure(uint32_t defaultClass, bool withStore)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    BSS1_GetLock(&block->lock);
    __atomic_store_n(&block->defaultClass, defaultClass, __ATOMIC_RELAXED);
    block->defaultStore = withStore ? reinterpret_cast<ZULRA_store *>(&fakeStoreBytes) : nullptr;
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

#endif
