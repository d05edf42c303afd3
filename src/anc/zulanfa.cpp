// ANC1_ForgetAnchorAddress: removes a name, and the data area made for
// it.  An address saved under the name belongs to the saver and is not
// touched.
#include "anc/zulan.h"

int ANC1_ForgetAnchorAddress(ZULAN_name_t name, int *reason)
{
    int status = ZULAN_CheckName(name, reason);
    if (status != STC1_Success)
        return status;
    ZULAN_pcb_t *pcb = ZULAN_Pcb();
    ZULAN_anchor_t *a;
    {
        ZULSS_HOLD(&pcb->lock);
        a = ZULAN_Find(pcb, name);
        if (a != nullptr)
            ZUL_RingUnlink(ZULAN_Links(pcb), a);
    }
    if (a == nullptr)
        return ZULAN_Answer(STC1_NotThere, RSN1_NotFound, reason);
    BSS1_FreeMem(a->allocated, a, nullptr);
    return ZULAN_Answer(STC1_Success, RSN1_NoReason, reason);
}
