// CRF1_New: makes a console, a resource with a format object of its own.
#include "crf/zulcr.h"
#include "internal/zulunits.h"

#include <stdlib.h>

ZULRA_CRF1_UNIT("zulcrnw");

int CRF1_New(uint32_t *console)
{
    RAS1_DECLARE_ENTRY(entry, "CRF1_New", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);

    int status = CRF1_OK;
    ZULCR_cvt_t *cvt = ZULCR_Cvt();
    ZULCR_ccb_t *ccb = nullptr;
    uint32_t handle = 0;
    if (console == nullptr)
        status = CRF1_BadArgument;
    else if ((cvt->flags & ZULCR_BUILT) == 0)
        status = CRF1_Unusable;
    else if ((ccb = static_cast<ZULCR_ccb_t *>(calloc(1, sizeof(ZULCR_ccb_t)))) == nullptr)
        status = CRF1_NoMemory;
    else if (RES1_Create(&handle, cvt->consoleClass, 0, ccb) != STC1_Success) {
        free(ccb);
        status = CRF1_NoResource;
    } else {
        ccb->resource = handle;
        if (BSS1_NewFormat(&ccb->format, ccb, ZULCR_WriteFormat, 0, 0) != STC1_Success) {
            // The destructor frees the record once the creator's use goes.
            ccb->format = nullptr;
            RES1_Destroy(handle);
            status = CRF1_NoFormat;
        } else {
            *console = handle;
        }
        RES1_Drop(handle);
    }
    RAS1_EXIT_VALUE(entry, flow, status);
    return status;
}
