// zulrasy - RAS1_Sync: work out the class word of an entry record again.
//
// The slow path of every traced call whose record is stale.  It registers
// a record the first time it sees it (and its unit and build record, the
// first time it sees those), tells the exit routines, applies the filters
// and the default class, checks that some store would take the lines, and
// caches the answer in the record.
#include "ras/zulra.h"

#include <stddef.h>
#include <string.h>

// Two records describe the same build when they are one record, or when
// component code, driver name and build serial number all agree.
static int same_build(const ZULRA_build_t *a, const ZULRA_build_t *b)
{
    if (a == b)
        return 1;
    static const uint32_t identity[] = {ZULRA_BUILD_COMPONENT, ZULRA_BUILD_DRIVER,
                                       ZULRA_BUILD_SERIAL};
    for (uint32_t index : identity)
        if (strcmp(ZULRA_BuildValue(a, index), ZULRA_BuildValue(b, index)) != 0)
            return 0;
    return 1;
}

// Is `build` already in list 2?  The caller holds the anchor's lock.
static int build_known(ZULRA_pcb_t *block, const ZULRA_build_t *build)
{
    ZUL_ASSERT_HELD(&block->anchor->lock);
    for (ZULRA_chunk_t *chunk = block->lists[ZULRA_LIST_BUILDS]; chunk; chunk = chunk->next)
        for (uint32_t i = 0; i < chunk->count; i++)
            if (same_build(static_cast<const ZULRA_build_t *>(chunk->top[i]), build))
                return 1;
    return 0;
}

// Registers a record met for the first time; returns the event flags for
// the exit routines and stores in *build a build record that is new.
static uint32_t register_entry(ZULRA_pcb_t *block, ZULRA_entry_t *entry, ZULRA_build_t **build)
{
    ZULRA_anchor_t *anchor = block->anchor;
    ZULSS_HOLD(&anchor->lock);
    if (__atomic_load_n(&entry->syncWord, __ATOMIC_RELAXED) == &anchor->syncWord)
        return 0;
    uint32_t events = RAS1_EXIT_ENTRY;
    ZULRA_Remember(block, ZULRA_LIST_ENTRIES, entry);
    const uint32_t *syncWord = &anchor->syncWord;
    __atomic_store_n(&entry->syncWord, syncWord, __ATOMIC_RELEASE);

    ZULRA_unit_t *unit = entry->unit;
    if (unit != nullptr && __atomic_load_n(&unit->registered, __ATOMIC_RELAXED) == 0) {
        if (unit->format >= 180 && unit->buildInfo != nullptr) {
            unit->buildInfo(build);
            if (*build != nullptr) {
                if (build_known(block, *build))
                    *build = nullptr;
                else
                    ZULRA_Remember(block, ZULRA_LIST_BUILDS, *build);
            }
        }
        // The name takes its one form before anyone can meet the unit
        // as registered: in the list of units, through a record that
        // is synced after this one, or in a line head, which reads the
        // name of an unregistered unit under this lock.
        ZULRA_NormalizeUnit(unit);
        ZULRA_Remember(block, ZULRA_LIST_UNITS, unit);
        events |= RAS1_EXIT_UNIT;
        __atomic_store_n(&unit->registered, 1u, __ATOMIC_RELEASE);
    }
    return events;
}

// Tells the exit routines of a new record, with no lock held.
static void call_exits(ZULRA_pcb_t *block, uint32_t events, ZULRA_entry_t *entry)
{
    ZULRA_notice_t notice;
    memset(&notice, 0, sizeof notice);
    notice.size = sizeof notice;
    notice.unit = entry->unit;
    notice.entry = entry;
    ZULRA_CallExits(block, events, &notice);
}

// The class word that follows from the filters, the default class and
// the stores.  The caller holds the block lock.
static uint32_t select_classes(ZULRA_pcb_t *block, ZULRA_entry_t *entry, uint32_t want)
{
    ZUL_ASSERT_HELD(&block->lock);
    uint32_t c;
    if (!ZULRA_MatchFilters(block, entry, &c))
        c = __atomic_load_n(&block->defaultClass, __ATOMIC_RELAXED);
    if (!ZULRA_ClassMatch(want, c))
        c = 0;

    // Some store must be able to take the lines; the store that a line
    // goes to is chosen again when it is written.
    struct ZULRA_store *store = c != 0 ? ZULRA_MatchStore(block, want) : nullptr;
    if (store == nullptr)
        store = block->defaultStore;
    if (store == nullptr)
        return 0;

    // Once any tracing is configured, every record carries ANY, also one
    // that nothing selected: lines "worth writing whenever anything is
    // traced" test that bit.
    if (ZULRA_NothingConfigured(block))
        c &= ~RAS1_ANY;
    else
        c |= RAS1_ANY;
    return c;
}

// The pair of `active` and `syncValue` is one aligned 64-bit word, the
// word in its low half (the machine is little-endian; the start of the
// trace checks it).
static_assert(offsetof(ZULRA_entry_t, active) % 8 == 0 &&
                  offsetof(ZULRA_entry_t, syncValue) == offsetof(ZULRA_entry_t, active) + 4,
              "active and syncValue must form one aligned 64-bit word");

// Publishes a record's word and the sync value it answers to with one
// store.  Two syncs of one record that cross a change of settings may end
// in either order, but each leaves a whole pair: the record is either
// current with the word worked out for that value, or stale.
static void publish(ZULRA_entry_t *entry, uint32_t c, uint32_t syncValue)
{
    __atomic_store_n(reinterpret_cast<ZULRA_pair_t *>(&entry->active),
                     (uint64_t{syncValue} << 32) | c, __ATOMIC_RELEASE);
}

// The word 0 with a sync value that is stale now and stays so: the sync
// word only grows, so the value below the present one never comes again.
static void publish_stale(ZULRA_entry_t *entry)
{
    const uint32_t *word = __atomic_load_n(&entry->syncWord, __ATOMIC_ACQUIRE);
    publish(entry, 0, __atomic_load_n(word, __ATOMIC_ACQUIRE) - 1);
}

uint32_t RAS1_Sync(ZULRA_entry_t *entry)
{
    if (entry == nullptr)
        return 0;

    ZULRA_pcb_t *block = ZULRA_Pcb();
    uint32_t c = 0;

    // While suspended the record stays stale and unregistered, so every
    // traced call comes back here until the suspension ends.  No lock.
    if (__atomic_load_n(&block->suspended, __ATOMIC_ACQUIRE) != 0) {
        publish_stale(entry);
        return 0;
    }

    ZULRA_unit_t *unit = entry->unit;
    uint32_t want = (unit ? unit->classes : 0) | entry->classes;

    if (__atomic_load_n(&block->once, __ATOMIC_ACQUIRE) >= 0)
        BSS1_InitializeOnce(&block->once, InitializeRAS1, block, __FILE__, __LINE__);

    ZULRA_build_t *build = nullptr;
    uint32_t events = register_entry(block, entry, &build);
    if (events != 0)
        call_exits(block, events, entry);

    // The sync word moves only under the block lock, so the value read
    // here is the one that the computed word answers to: a change made
    // after it leaves the record stale rather than current and wrong.  A
    // suspension that came in meanwhile leaves it stale too.
    int suspended;
    uint32_t seen;
    {
        ZULSS_HOLD(&block->lock);
        suspended = __atomic_load_n(&block->suspended, __ATOMIC_RELAXED) != 0;
        c = suspended ? 0 : select_classes(block, entry, want);
        seen = __atomic_load_n(&block->anchor->syncWord, __ATOMIC_RELAXED);
    }

    if (c != 0 && build != nullptr)
        ZULRA_ShowBuild(build);

    if (c & RAS1_DETAIL) {
        if ((events & RAS1_EXIT_UNIT) && unit != nullptr)
            RAS1_Event(entry, static_cast<int>(entry->line), RAS1_EVENT_COMPILED, unit->date,
                       unit->time, static_cast<int>(unit->levelLen), unit->level, unit->comp);
        char names[256];
        int length = static_cast<int>(ZULRA_ClassNames(c & ~RAS1_ANY, names, sizeof names));
        RAS1_Event(entry, static_cast<int>(entry->line), RAS1_EVENT_CLASSES, length, length, names);
    }

    // A suspension that came in meanwhile leaves the record stale.
    publish(entry, c, suspended ? seen - 1 : seen);
    return c;
}
