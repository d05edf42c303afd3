// The lock calls: a recursive lock of two words whose zero bytes are a
// valid, unused lock; its mutex comes into being at first use.  The
// platform's mutex creation does not fail, so a lock always excludes.  A
// null lock address is ignored by every call.
#include "bss/zulss.h"
#include "internal/zullock.h"
#include "platform/zulplat.h"

// BSS1_InitializeLock: give an unused lock its mutex now.
void BSS1_InitializeLock(ZULSS_lock_t *lock)
{
    if (lock == nullptr)
        return;
    __atomic_store_n(&lock->handle, ZULPL_MutexCreate(), __ATOMIC_RELEASE);
    __atomic_store_n(&lock->created, 1u, __ATOMIC_RELEASE);
}

// BSS1_GetLock: acquire a recursive lock, creating its mutex at first use.
void BSS1_GetLock(ZULSS_lock_t *lock)
{
    if (lock == nullptr)
        return;
    if (__atomic_load_n(&lock->created, __ATOMIC_ACQUIRE) == 0) {
        // Two threads may meet a zero lock at once.  Each makes a mutex and
        // tries to publish it; the loser closes its own and uses the
        // winner's, so exactly one mutex ends up in the lock.
        void *mine = ZULPL_MutexCreate();
        void *expected = nullptr;
        if (!__atomic_compare_exchange_n(&lock->handle, &expected, mine, false,
                                         __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE))
            ZULPL_MutexDestroy(mine);
        __atomic_store_n(&lock->created, 1u, __ATOMIC_RELEASE);
    }
    ZULPL_MutexLock(__atomic_load_n(&lock->handle, __ATOMIC_ACQUIRE));
}

// BSS1_ReleaseLock: release a lock once.
void BSS1_ReleaseLock(ZULSS_lock_t *lock)
{
    if (lock == nullptr)
        return;
    ZULPL_MutexUnlock(__atomic_load_n(&lock->handle, __ATOMIC_ACQUIRE));
}

// BSS1_DestroyLock: close the mutex; the lock is again as if never used.
void BSS1_DestroyLock(ZULSS_lock_t *lock)
{
    if (lock == nullptr)
        return;
    void *handle = __atomic_exchange_n(&lock->handle, nullptr, __ATOMIC_ACQ_REL);
    __atomic_store_n(&lock->created, 0u, __ATOMIC_RELEASE);
    ZULPL_MutexDestroy(handle);
}

// ZULSS_LockHeld: whether the calling thread holds the lock.  `created`
// is set before the creator's first acquisition, so a lock that this
// thread holds is always found created.
int ZULSS_LockHeld(const ZULSS_lock_t *lock)
{
    if (lock == nullptr || __atomic_load_n(&lock->created, __ATOMIC_ACQUIRE) == 0)
        return 0;
    return ZULPL_MutexHeld(__atomic_load_n(&lock->handle, __ATOMIC_ACQUIRE));
}
