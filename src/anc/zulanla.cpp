// ANC1_LocateAnchorAddress: the address kept under a name.
#include "anc/zulan.h"

int ANC1_LocateAnchorAddress(ZULAN_name_t name, void **address, int *reason)
{
    int status = ZULAN_CheckName(name, reason);
    if (status != STC1_Success)
        return status;
    if (address == nullptr)
        return ZULAN_Answer(STC1_BadArgument, RSN1_Arguments, reason);
    ZULAN_pcb_t *pcb = ZULAN_Pcb();
    int why = RSN1_NoError;
    BSS1_GetLock(&pcb->lock);
    if (const ZULAN_anchor_t *a = ZULAN_Find(pcb, name))
        *address = a->address;
    else
        status = STC1_NotThere, why = RSN1_NotFound;
    BSS1_ReleaseLock(&pcb->lock);
    return ZULAN_Answer(status, why, reason);
}
