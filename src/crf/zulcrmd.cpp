// ZULCR_ManagerDestructor: the end of a command record.
//
// Runs on whichever thread drops the last use of a destroyed command, or
// in CRF1_Register when no handle could be made.  It takes the record off
// the CVT's list under the CVT's lock, so that no walk meets it again, and
// frees its subcommands and itself.
#include "crf/zulcr.h"
#include "internal/zulunits.h"

#include <stdlib.h>

ZULRA_CRF1_UNIT("zulcrmd");

void ZULCR_ManagerDestructor(void *record)
{
    RAS1_DECLARE_ENTRY(entry, "ZULCR_ManagerDestructor", RAS1_PRIVATE);
    RAS1_ENTRY(entry, classes, flow);

    ZULCR_cvt_t *cvt = ZULCR_Cvt();
    ZULCR_mcb_t *mcb = static_cast<ZULCR_mcb_t *>(record);
    BSS1_GetLock(&cvt->lock);
    mcb->link.prev->next = mcb->link.next;
    mcb->link.next->prev = mcb->link.prev;
    ZULCR_scb_t *scb = mcb->subcommands;
    mcb->subcommands = nullptr;
    BSS1_ReleaseLock(&cvt->lock);
    while (scb != nullptr) {
        ZULCR_scb_t *next = scb->next;
        free(scb);
        scb = next;
    }
    free(mcb);
    RAS1_EXIT(entry, flow);
}
