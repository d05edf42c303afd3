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
    ZULCR_ENTRY("ZULCR_ManagerDestructor", RAS1_PRIVATE);

    ZULCR_cvt_t *cvt = ZULCR_Cvt();
    ZULCR_mcb_t *mcb = static_cast<ZULCR_mcb_t *>(record);
    ZULCR_scb_t *scb;
    {
        ZULSS_HOLD(&cvt->lock);
        ZUL_RingUnlink(ZULCR_Commands(cvt), mcb);
        scb = mcb->subcommands;
        mcb->subcommands = nullptr;
    }
    while (scb != nullptr) {
        ZULCR_scb_t *next = scb->next;
        free(scb);
        scb = next;
    }
    free(mcb);
    RAS1_EXIT(entry, flow);
}
