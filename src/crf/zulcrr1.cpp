// CRF1_Register: registers a command, with a handle or for good.
#include "crf/zulcr.h"
#include "internal/zulunits.h"

ZULRA_CRF1_UNIT("zulcrr1");

// A command that has its handle now is found by its name from now on.
static void hatch(ZULCR_cvt_t *cvt, ZULCR_mcb_t *mcb, uint32_t handle)
{
    ZULSS_HOLD(&cvt->lock);
    mcb->resource = handle;
    mcb->state = ZULCR_LIVE;
}

int CRF1_Register(uint32_t *command, ZULCR_handler_t handler, void *data, const char *name,
                  uint32_t nameLength, const char *description, uint32_t descriptionLength)
{
    ZULCR_ENTRY("CRF1_Register", RAS1_PUBLIC);

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
            hatch(cvt, mcb, handle);
            *command = handle;
            RES1_Drop(handle);
        }
    }
    ZULCR_RETURN(status);
}
