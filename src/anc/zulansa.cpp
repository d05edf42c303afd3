// ANC1_SaveAnchorAddress: keeps an address under a new name.
#include "anc/zulan.h"

int ANC1_SaveAnchorAddress(ZULAN_name_t name, void *address, int *reason)
{
    int status = ZULAN_CheckName(name, reason);
    if (status != STC1_Success)
        return status;
    ZULAN_pcb_t *pcb = ZULAN_Pcb();
    int why = RSN1_NoError;
    BSS1_GetLock(&pcb->lock);
    if (ZULAN_Find(pcb, name) != nullptr) {
        status = STC1_Duplicate, why = RSN1_Prior; // the first address stays
    } else {
        ZULAN_anchor_t *a = ZULAN_Create(pcb, name, 0);
        if (a == nullptr)
            status = STC1_Shortage, why = RSN1_Storage;
        else
            a->address = address;
    }
    BSS1_ReleaseLock(&pcb->lock);
    return ZULAN_Answer(status, why, reason);
}
