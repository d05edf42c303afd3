// CRF1_Delete: destroys a console.
//
// The console's record, its format object and its unfetched output go
// when the last use is dropped (ZULCR_ConsoleDestructor).
#include "crf/zulcr.h"
#include "internal/zulunits.h"

ZULRA_CRF1_UNIT("zulcrd1");

int CRF1_Delete(uint32_t console)
{
    ZULCR_ENTRY("CRF1_Delete", RAS1_PUBLIC);
    ZULCR_cvt_t *cvt;
    int status = ZULCR_Open(console, ZULCR_CONSOLE, &cvt, nullptr);
    if (status == CRF1_OK) {
        RES1_Destroy(console);
        RES1_Drop(console);
    }
    ZULCR_RETURN(status);
}
