// CRF1_Register: registers a command, with a handle or for good.
#include "crf/zulcr.h"
#include "internal/zulunits.h"

ZULRA_CRF1_UNIT("zulcrr1");

int CRF1_Register(uint32_t *command, ZULCR_handler_t handler, void *data, const char *name,
                  uint32_t nameLength, const char *description, uint32_t descriptionLength)
{
    RAS1_DECLARE_ENTRY(entry, "CRF1_Register", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);

    ZULCR_cvt_t *cvt = ZULCR_Cvt();
    ZULCR_mcb_t *mcb = nullptr;
    int status = ZULCR_Register(cvt, command != nullptr ? &mcb : nullptr, handler, data, name,
                                nameLength, description, descriptionLength);
    if (status == CRF1_OK && command != nullptr) {
        uint32_t handle = 0;
        if (RES1_Create(&handle, cvt->commandClass, 0, mcb) != STC1_Success) {
            // Undone as a destroyed command is: off the list, freed.
            ZULCR_ManagerDestructor(mcb);
            status = CRF1_NoResource;
        } else {
            BSS1_GetLock(&cvt->lock);
            mcb->resource = handle;
            mcb->state = ZULCR_LIVE;
            BSS1_ReleaseLock(&cvt->lock);
            *command = handle;
            RES1_Drop(handle);
        }
    }
    RAS1_EXIT_VALUE(entry, flow, status);
    return status;
}
