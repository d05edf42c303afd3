// zulrare - RAS1_RegisterExit: add a routine that hears of new units,
// entries and filters.
#include "ras/zulra.h"

#include <stdlib.h>

int RAS1_RegisterExit(void *user, ZULRA_exitroutine_t routine)
{
    if (routine == nullptr)
        return STC1_BadArgument;
    ZULRA_exit_t *node = (ZULRA_exit_t *)malloc(sizeof *node);
    if (node == nullptr)
        return STC1_Shortage;
    node->routine = routine;
    node->user = user;

    // Pushed at the head, never removed: the walk in RAS1_Sync reads the
    // head without a lock and sees either the old list or the new one.
    ZULRA_pcb_t *block = ZULRA_Pcb();
    BSS1_GetLock(&block->lock);
    node->next = block->exits;
    __atomic_store_n(&block->exits, node, __ATOMIC_RELEASE);
    BSS1_ReleaseLock(&block->lock);
    return STC1_Success;
}
