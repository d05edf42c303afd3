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
    ZULCR_ENTRY("CRF1_Unregister", RAS1_PUBLIC);
    ZULCR_cvt_t *cvt;
    void *record = nullptr;
    int status = ZULCR_Open(command, ZULCR_COMMAND, &cvt, &record);
    if (status != CRF1_OK)
        ZULCR_RETURN(status);
    {
        ZULSS_HOLD(&cvt->lock);
        static_cast<ZULCR_mcb_t *>(record)->state = ZULCR_GONE;
    }
    RES1_Destroy(command);
    RES1_Drop(command);
    ZULCR_RETURN(CRF1_OK);
}
