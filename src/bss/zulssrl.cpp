// BSS1_ReleaseLock: release a lock once.
#include "bss/zulss.h"
#include "platform/zulplat.h"

void BSS1_ReleaseLock(ZULSS_lock_t *lock)
{
    ZULPL_MutexUnlock(__atomic_load_n(&lock->handle, __ATOMIC_ACQUIRE));
}
