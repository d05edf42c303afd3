// RES1_Use: checks a handle and takes one use of its resource.
#include "res/zulre.h"
#include "internal/zulunits.h"

ZULRA_RES1_UNIT("zulreus");

int RES1_Use(uint32_t handle, uint32_t classHandle, void **dataOut)
{
    ZULRE_ENTRY("RES1_Use");
    if (dataOut != nullptr)
        *dataOut = nullptr;
    ZULRE_rvt_t *rvt;
    ZULRE_rcb_t *rcb;
    const int status = ZULRE_Open(handle, ZULRE_ANY_HANDLE, &rvt, &rcb);
    if (status != STC1_Success)
        return status;

    const RES1_Class *cls = __atomic_load_n(&rcb->resClass, __ATOMIC_ACQUIRE);
    if (cls == nullptr || cls->handle != classHandle) {
        ZULRE_Drop(rvt, rcb, 1);
        return STC1_Authority;
    }
    uint64_t life = ZULRE_LoadLife(rcb);
    if ((ZULRE_State(life) & ZULRE_DEBUG) != 0)
        ZULRE_DebugLine(&entry, __LINE__, RAS1_DETAIL, rcb, life, ", use\n");
    if (dataOut != nullptr)
        *dataOut = __atomic_load_n(&rcb->data, __ATOMIC_ACQUIRE);
    return STC1_Success;
}
