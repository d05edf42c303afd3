// ANC1_LocateCreateAnchor: locates a name, or creates it with a data area,
// in one step.
//
// The search, the creation and the read of the address all happen under
// the block's lock, so of any number of threads that race on one name
// exactly one creates it (STC1_Warning) and all get the same address.
#include "anc/zulan.h"

int ANC1_LocateCreateAnchor(ZULAN_name_t name, uint32_t size, void **address, int *reason)
{
    int status = ZULAN_CheckName(name, reason);
    if (status != STC1_Success)
        return status;
    if (address == nullptr)
        return ZULAN_Answer(STC1_BadArgument, RSN1_Arguments, reason);
    ZULAN_pcb_t *pcb = ZULAN_Pcb();
    int why = RSN1_NoError;
    BSS1_GetLock(&pcb->lock);
    const ZULAN_anchor_t *a = ZULAN_Find(pcb, name);
    if (a == nullptr) {
        a = ZULAN_Create(pcb, name, size);
        status = STC1_Warning, why = RSN1_NotFound;
    }
    if (a != nullptr)
        *address = a->address;
    else
        status = STC1_Shortage, why = RSN1_Storage;
    BSS1_ReleaseLock(&pcb->lock);
    return ZULAN_Answer(status, why, reason);
}
