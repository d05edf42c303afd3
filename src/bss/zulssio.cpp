// BSS1_InitializeOnce: run a constructor exactly once per once word.
//
// A once word is 0 at first, holds a pool slot number (1..63) while its
// construction is under way, and -(slot + 1) for ever after.  Instead of a
// mutex per once word there is a pool of 64 slots: slot 0 is the master
// slot, which guards the pool's fields, and each construction in progress
// holds one other slot's lock for the whole of its constructor.  Waiters
// simply block on that lock; when they get it, the word is negative and
// they leave.  Slots go back to the pool when their construction ends, so
// the pool bounds constructions in progress, not once words.
//
// Once words are published with release stores and read with acquire
// loads: a thread that sees a negative word sees everything the
// constructor wrote.
#include "bss/zulss.h"
#include "internal/zullock.h"
#include "platform/zulplat.h"

#include <stdio.h>
#include <stdlib.h>

constinit ZULSS_pool_t ZULSS_pool = {};

static int32_t load_word(const int32_t *once)
{
    return __atomic_load_n(once, __ATOMIC_ACQUIRE);
}

[[noreturn]] static void abort_recursion(const char *file, int line, uint32_t tid, const ZULSS_slot_t *slot)
{
    ZULPL_Abort("%s(%d)-%08lX-%s(%d): constructor recursion\n", file ? file : "", line,
                static_cast<unsigned long>(tid), slot->file ? slot->file : "",
                static_cast<int>(slot->line));
}

[[noreturn]] static void abort_exhausted(const char *file, int line, uint32_t tid)
{
    ZULPL_Abort("%s(%d)-%08lX: lock pool exhausted\n", file ? file : "", line,
                static_cast<unsigned long>(tid));
}

// A once word above the pool's slots was never written by this machinery:
// it is refused with a message and nothing runs.
static void *refuse_word(const char *file, int line, int32_t word, void *argument)
{
    fprintf(stderr, "%s(%d)-%08lX: bad once word %ld\n", file ? file : "", line,
            static_cast<unsigned long>(BSS1_ThreadID()), static_cast<long>(word));
    fflush(stderr);
    return argument;
}

// For a once word still 0, under the master slot's lock: counts the
// construction as begun, hands it a slot and writes the slot into the
// word.  With every slot in use the process ends.
static int32_t hand_out_slot(ZULSS_pool_t *pool, int32_t *once, const char *file, int line,
                             uint32_t tid)
{
    ZUL_ASSERT_HELD(&pool->slots[0].lock);
    if (pool->free == 0 && pool->highest >= ZULSS_POOL_LIMIT) {
        BSS1_ReleaseLock(&pool->slots[0].lock);
        abort_exhausted(file, line, tid);
    }
    __atomic_store_n(&pool->active, pool->active + 1, __ATOMIC_RELAXED);
    int32_t word;
    if (pool->free != 0) {
        word = pool->free;
        pool->free = pool->slots[word].next;
    } else {
        word = ++pool->highest;
    }
    __atomic_store_n(once, word, __ATOMIC_RELEASE);
    return word;
}

// Runs the constructor under slot `word`, whose lock this thread holds so
// that every other thread that wants the word waits on it; publishes the
// word as ended, lets the slot go and gives it back to the pool.  Returns
// the epilogs to run, if this was the last construction under way.
static ZULSS_epilog_t *construct(ZULSS_pool_t *pool, int32_t *once, int32_t word,
                                 ZULSS_constructor_t constructor, void *argument,
                                 const char *file, int line, uint32_t tid)
{
    ZULSS_slot_t *slot = &pool->slots[word];
    ZUL_ASSERT_HELD(&slot->lock);
    __atomic_store_n(&slot->owner, tid, __ATOMIC_RELAXED);
    slot->file = file;
    slot->line = line;
    if (constructor != nullptr)
        constructor(argument);
    __atomic_store_n(once, -(word + 1), __ATOMIC_RELEASE);
    // owner is cleared before the slot goes back to the pool, so that a
    // later construction under the same slot is never taken for this one.
    __atomic_store_n(&slot->owner, 0u, __ATOMIC_RELAXED);
    BSS1_ReleaseLock(&slot->lock);

    ZULSS_HOLD(&pool->slots[0].lock);
    ZULSS_epilog_t *epilogs = nullptr;
    int32_t active = pool->active - 1;
    __atomic_store_n(&pool->active, active, __ATOMIC_RELAXED);
    if (active == 0) {
        epilogs = pool->epilogs;
        pool->epilogs = nullptr;
    }
    pool->slots[word].next = pool->free;
    pool->free = word;
    return epilogs;
}

void *BSS1_InitializeOnce(int32_t *once, ZULSS_constructor_t constructor, void *argument, const char *file, int line)
{
    ZULSS_pool_t *pool = &ZULSS_pool;
    if (once == nullptr)
        return argument;
    int32_t index = load_word(once);
    if (index < 0)
        return argument;
    if (index > ZULSS_POOL_LIMIT)
        return refuse_word(file, line, index, argument);

    // The recursion test comes before any lock: the locks are recursive and
    // would let this thread straight back into its own constructor.
    ZULSS_slot_t *slot = &pool->slots[index];
    const uint32_t tid = BSS1_ThreadID();
    if (__atomic_load_n(&slot->owner, __ATOMIC_RELAXED) == tid)
        abort_recursion(file, line, tid, slot);

    // Only the master slot is ever taken for a word that is still 0, so a
    // thread that finds 0 under it hands out a slot.
    BSS1_GetLock(&slot->lock);
    int32_t word = load_word(once);
    if (word == 0)
        word = hand_out_slot(pool, once, file, line, tid);
    if (word > ZULSS_POOL_LIMIT) {
        BSS1_ReleaseLock(&slot->lock);
        return refuse_word(file, line, word, argument);
    }
    if (word > 0 && word != index) {
        BSS1_ReleaseLock(&slot->lock);
        slot = &pool->slots[word];
        BSS1_GetLock(&slot->lock);
        word = load_word(once);
    }
    if (word <= 0) {
        // Another thread's construction has ended while this one waited.
        BSS1_ReleaseLock(&slot->lock);
        return argument;
    }

    // The last construction in the process has ended: run the postponed
    // work here, with no lock held, newest registration first.
    ZULSS_epilog_t *epilogs = construct(pool, once, word, constructor, argument, file, line, tid);
    while (epilogs != nullptr) {
        ZULSS_epilog_t *e = epilogs;
        epilogs = e->next;
        e->function(e->argument);
        free(e);
    }
    return argument;
}
