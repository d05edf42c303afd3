// RES1_Drop: ends one use of a resource.
//
// The handle is checked as by RES1_Use, which takes a use of its own; the
// caller's use and that one then go together.
#include "res/zulre.h"
#include "internal/zulunits.h"

ZULRA_RES1_UNIT("zulredr");

int RES1_Drop(uint32_t handle)
{
    RAS1_DECLARE_ENTRY(entry, "RES1_Drop", RAS1_PUBLIC);
    RAS1_QUICK(entry, classes, flow);

    ZULRE_rvt_t *rvt = ZULRE_Rvt();
    if (rvt == nullptr)
        return STC1_NotThere;
    ZULRE_rcb_t *rcb = ZULRE_DisableRCB(rvt, handle, 1);
    if (rcb == nullptr)
        return STC1_NotThere;

    uint64_t life = ZULRE_LoadLife(rcb);
    uint32_t state = ZULRE_State(life);
    if ((state & ZULRE_CLASS) != 0) {
        ZULRE_Drop(rvt, rcb, 1);
        return STC1_BadObject;
    }
    if ((state & ZULRE_DEBUG) != 0)
        ZULRE_DebugLine(&entry, __LINE__, rcb, life, ", drop\n");
    ZULRE_Drop(rvt, rcb, 2);
    return STC1_Success;
}
