// ANC1_LocateCreateAnchor: locates a name, or creates it with a data area,
// in one step.
//
// The search, the creation and the read of the address all happen under
// the block's lock, so of any number of threads that race on one name
// exactly one creates it (STC1_Warning) and all get the same address.
#include "anc/zulan.h"
#include "internal/zullock.h"

int ANC1_LocateCreateAnchor(ZULAN_name_t name, uint32_t size, void **address, int *reason)
{
    int status = ZULAN_CheckLocate(name, address, reason);
    if (status != STC1_Success)
        return status;
    ZULAN_pcb_t *pcb = ZULAN_Pcb();
    ZULSS_HOLD(&pcb->lock);
    if (const ZULAN_anchor_t *a = ZULAN_Find(pcb, name)) {
        *address = a->address;
        return ZULAN_Answer(STC1_Success, RSN1_NoError, reason);
    }
    const ZULAN_anchor_t *a = ZULAN_Create(pcb, name, size);
    if (a == nullptr)
        return ZULAN_Answer(STC1_Shortage, RSN1_Storage, reason);
    *address = a->address;
    return ZULAN_Answer(STC1_Warning, RSN1_NotFound, reason);
}
