// CRF1_Delete: destroys a console.
//
// The console's record, its format object and its unfetched output go
// when the last use is dropped (ZULCR_ConsoleDestructor).
#include "crf/zulcr.h"
#include "internal/zulunits.h"

ZULRA_CRF1_UNIT("zulcrd1");

int CRF1_Delete(uint32_t console)
{
    RAS1_DECLARE_ENTRY(entry, "CRF1_Delete", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);

    ZULCR_cvt_t *cvt = ZULCR_Cvt();
    if ((cvt->flags & ZULCR_BUILT) == 0 ||
        RES1_Use(console, cvt->consoleClass, nullptr) != STC1_Success) {
        RAS1_EXIT_VALUE(entry, flow, CRF1_NotConsole);
        return CRF1_NotConsole;
    }
    RES1_Destroy(console);
    RES1_Drop(console);
    RAS1_EXIT_VALUE(entry, flow, CRF1_OK);
    return CRF1_OK;
}
