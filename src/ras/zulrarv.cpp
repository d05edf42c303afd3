// zulrarv - RAS1_RegisterEnvironment: add a routine that writes into
// every line head.
#include "ras/zulralg.h"

#include <stdlib.h>

int RAS1_RegisterEnvironment(void *user, ZULRA_envroutine_t routine)
{
    if (routine == nullptr)
        return STC1_BadArgument;
    ZULRA_envr_t *node = (ZULRA_envr_t *)malloc(sizeof *node);
    if (node == nullptr)
        return STC1_Shortage;
    node->routine = routine;
    node->user = user;

    // Pushed at the head, never removed: writers walk the list with no
    // lock from the head they noted.
    ZULRA_pcb_t *block = ZULRA_Pcb();
    BSS1_GetLock(&block->lock);
    node->next = block->environments;
    __atomic_store_n(&block->environments, node, __ATOMIC_RELEASE);
    BSS1_ReleaseLock(&block->lock);
    return STC1_Success;
}
