// ANC1_SaveAnchorAddress: keeps an address under a new name.
#include "anc/zulan.h"
#include "internal/zullock.h"

int ANC1_SaveAnchorAddress(ZULAN_name_t name, void *address, int *reason)
{
    int status = ZULAN_CheckName(name, reason);
    if (status != STC1_Success)
        return status;
    ZULAN_pcb_t *pcb = ZULAN_Pcb();
    ZULSS_HOLD(&pcb->lock);
    if (ZULAN_Find(pcb, name) != nullptr) // the first address stays
        return ZULAN_Answer(STC1_Duplicate, RSN1_Prior, reason);
    ZULAN_anchor_t *a = ZULAN_Create(pcb, name, 0);
    if (a == nullptr)
        return ZULAN_Answer(STC1_Shortage, RSN1_Storage, reason);
    a->address = address;
    return ZULAN_Answer(STC1_Success, RSN1_NoError, reason);
}
