// BSS1_InitializeLock: give an unused lock its mutex now.
#include "bss/zulss.h"
#include "platform/zulplat.h"

void BSS1_InitializeLock(ZULSS_lock_t *lock)
{
    __atomic_store_n(&lock->handle, ZULPL_MutexCreate(), __ATOMIC_RELEASE);
    __atomic_store_n(&lock->created, 1u, __ATOMIC_RELEASE);
}
