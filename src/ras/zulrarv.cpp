// zulrarv - RAS1_RegisterEnvironment: add a routine that writes into
// every line head.
//
// The routines form a list that only grows at its head
// (internal/zullinks.h): a registration pushes its node with no lock, and
// the threads that write lines note the head when a line begins and walk
// from there with none.
#include "ras/zulralg.h"

#include <stdlib.h>

int RAS1_RegisterEnvironment(void *user, ZULRA_envroutine_t routine)
{
    if (routine == nullptr)
        return STC1_BadArgument;
    ZULRA_envr_t *node = static_cast<ZULRA_envr_t *>(malloc(sizeof *node));
    if (node == nullptr)
        return STC1_Shortage;
    node->routine = routine;
    node->user = user;
    ZUL_Push(&ZULRA_Pcb()->environments, node);
    return STC1_Success;
}
