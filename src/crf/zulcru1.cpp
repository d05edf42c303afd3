// CRF1_Unregister: takes a command out of the registry and destroys its
// resource.
//
// The command stops being found by name at once; a line that is running
// it holds a use, and the record goes (ZULCR_ManagerDestructor) when the
// last use is dropped.
#include "crf/zulcr.h"
#include "internal/zulunits.h"

ZULRA_CRF1_UNIT("zulcru1");

int CRF1_Unregister(uint32_t command)
{
    RAS1_DECLARE_ENTRY(entry, "CRF1_Unregister", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);

    ZULCR_cvt_t *cvt = ZULCR_Cvt();
    void *record = nullptr;
    if ((cvt->flags & ZULCR_BUILT) == 0 ||
        RES1_Use(command, cvt->commandClass, &record) != STC1_Success) {
        RAS1_EXIT_VALUE(entry, flow, CRF1_NotCommand);
        return CRF1_NotCommand;
    }
    ZULCR_mcb_t *mcb = static_cast<ZULCR_mcb_t *>(record);
    BSS1_GetLock(&cvt->lock);
    mcb->state = ZULCR_GONE;
    BSS1_ReleaseLock(&cvt->lock);
    RES1_Destroy(command);
    RES1_Drop(command);
    RAS1_EXIT_VALUE(entry, flow, CRF1_OK);
    return CRF1_OK;
}
