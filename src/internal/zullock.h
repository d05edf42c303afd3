// internal/zullock.h - the library's own locks: whether the calling
// thread holds one, and a lock held to the end of a scope.
//
// ZUL_ASSERT_HELD(lock) is the precondition of a routine whose caller
// holds a lock; it is checked where ZUL_ASSERT is (internal/zulassert.h).
//
// ZULSS_HOLD(lock) takes a lock and lets it go where the enclosing block
// ends, by whatever way the block is left: the routine returns from the
// middle of its work without a release written before each return.  It
// is built on the compilers' cleanup attribute, not on a C++ object with
// a destructor, for the house rule that nothing with a destructor lives
// in a frame that a non-local jump may skip: a fault inside a protected
// scope jumps over library frames to the scope's entry.  Such a jump runs
// no cleanup, exactly as it runs no release written by hand, so the guard
// behaves there as the code it replaces did (see CONTRIBUTING.md).
#ifndef ZUL_SRC_INTERNAL_ZULLOCK_H
#define ZUL_SRC_INTERNAL_ZULLOCK_H

#include <zul/bss1.h>

#include "internal/zulassert.h"

// Whether the calling thread holds `lock` now, at any depth.  False for a
// lock whose mutex has not come into being (nobody can hold it) and for a
// null address.
int ZULSS_LockHeld(const ZULSS_lock_t *lock);

#define ZUL_ASSERT_HELD(lock) ZUL_ASSERT(ZULSS_LockHeld(lock))

// The two halves of ZULSS_HOLD.  A null lock is no lock, at no cost: a
// routine may hold a lock only where it needs one.
static inline ZULSS_lock_t *ZULSS_HoldBegin(ZULSS_lock_t *lock)
{
    if (lock != nullptr)
        BSS1_GetLock(lock);
    return lock;
}

static inline void ZULSS_HoldEnd(ZULSS_lock_t **held)
{
    if (*held != nullptr)
        BSS1_ReleaseLock(*held);
}

#define ZULSS_HOLD_JOIN(a, b) a##b
#define ZULSS_HOLD_NAME(n) ZULSS_HOLD_JOIN(zulHeld_, n)

// Takes `lock` until the end of the enclosing block.  A statement, not an
// expression; two in one block are released in the reverse order.
#define ZULSS_HOLD(lock)                                                      \
    ZULSS_lock_t *ZULSS_HOLD_NAME(__COUNTER__)                                \
        __attribute__((cleanup(ZULSS_HoldEnd), unused)) = ZULSS_HoldBegin(lock)

#endif
