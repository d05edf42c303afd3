// BSS1_InitializeEpilog: run work now, or when the last construction ends.
#include "bss/zulss.h"

#include <stdlib.h>

void BSS1_InitializeEpilog(ZULSS_constructor_t function, void *argument)
{
    ZULSS_pool_t *pool = &ZULSS_pool;
    if (function == nullptr)
        return;
    if (__atomic_load_n(&pool->active, __ATOMIC_RELAXED) == 0) {
        function(argument);
        return;
    }
    BSS1_GetLock(&pool->slots[0].lock);
    // A construction may have ended between the test and the lock; the
    // epilog then waits for the next construction to end.  That is the
    // same as registering it a moment later.
    ZULSS_epilog_t *e = static_cast<ZULSS_epilog_t *>(malloc(sizeof *e));
    if (e != nullptr) { // without memory the work is dropped unreported
        e->next = pool->epilogs;
        e->function = function;
        e->argument = argument;
        pool->epilogs = e;
    }
    BSS1_ReleaseLock(&pool->slots[0].lock);
}
