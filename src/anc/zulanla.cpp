// ANC1_LocateAnchorAddress: the address kept under a name.
#include "anc/zulan.h"
#include "internal/zullock.h"

int ANC1_LocateAnchorAddress(ZULAN_name_t name, void **address, int *reason)
{
    int status = ZULAN_CheckLocate(name, address, reason);
    if (status != STC1_Success)
        return status;
    ZULAN_pcb_t *pcb = ZULAN_Pcb();
    ZULSS_HOLD(&pcb->lock);
    const ZULAN_anchor_t *a = ZULAN_Find(pcb, name);
    if (a == nullptr)
        return ZULAN_Answer(STC1_NotThere, RSN1_NotFound, reason);
    *address = a->address;
    return ZULAN_Answer(STC1_Success, RSN1_NoError, reason);
}
