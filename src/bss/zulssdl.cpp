// BSS1_DestroyLock: close the mutex; the lock is again as if never used.
#include "bss/zulss.h"
#include "platform/zulplat.h"

void BSS1_DestroyLock(ZULSS_lock_t *lock)
{
    void *handle = __atomic_exchange_n(&lock->handle, nullptr, __ATOMIC_ACQ_REL);
    __atomic_store_n(&lock->created, 0u, __ATOMIC_RELEASE);
    ZULPL_MutexDestroy(handle);
}
