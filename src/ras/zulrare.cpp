// zulrare - RAS1_RegisterExit: add a routine that hears of new units,
// entries and filters; and ZULRA_CallExits, which tells them.
//
// The routines form a list that only grows at its head
// (internal/zullinks.h): a registration pushes its node with no lock, and
// a walk reads the head once and needs none, so a routine may register
// another, or make a filter, while it is being told.
#include "ras/zulra.h"

#include <stdlib.h>

int RAS1_RegisterExit(void *user, ZULRA_exitroutine_t routine)
{
    if (routine == nullptr)
        return STC1_BadArgument;
    ZULRA_exit_t *node = static_cast<ZULRA_exit_t *>(malloc(sizeof *node));
    if (node == nullptr)
        return STC1_Shortage;
    node->routine = routine;
    node->user = user;
    ZUL_Push(&ZULRA_Pcb()->exits, node);
    return STC1_Success;
}

void ZULRA_CallExits(ZULRA_pcb_t *block, uint32_t events, ZULRA_notice_t *notice)
{
    for (ZULRA_exit_t *node = ZUL_PushedFirst(&block->exits); node != nullptr; node = node->next)
        node->routine(events, &node->user, notice);
}
