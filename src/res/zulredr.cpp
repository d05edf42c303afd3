// RES1_Drop: ends one use of a resource.
//
// The handle is checked as by RES1_Use, which takes a use of its own; the
// caller's use and that one then go together.
#include "res/zulre.h"
#include "internal/zulunits.h"

ZULRA_RES1_UNIT("zulredr");

int RES1_Drop(uint32_t handle)
{
    ZULRE_ENTRY("RES1_Drop");
    ZULRE_rvt_t *rvt;
    ZULRE_rcb_t *rcb;
    const int status = ZULRE_Open(handle, ZULRE_RESOURCE_HANDLE, &rvt, &rcb);
    if (status != STC1_Success)
        return status;

    uint64_t life = ZULRE_LoadLife(rcb);
    if ((ZULRE_State(life) & ZULRE_DEBUG) != 0)
        ZULRE_DebugLine(&entry, __LINE__, RAS1_DETAIL, rcb, life, ", drop\n");
    ZULRE_Drop(rvt, rcb, 2);
    return STC1_Success;
}
