// ANC1_Initialize: the family's block, built at the first call of any
// ANC1_ function, and the call that builds it on purpose.
//
// The block holds the list of anchors, its lock, and the resource class
// of all aliases.  It lives as long as the process.
#include "anc/zulan.h"

#include <zul/res1.h>

static void construct_anchors(void *block)
{
    ZULAN_pcb_t *pcb = static_cast<ZULAN_pcb_t *>(block);
    pcb->end = reinterpret_cast<ZULAN_anchor_t *>(pcb);
    ZUL_RingInit(ZULAN_Links(pcb), pcb->end);
    BSS1_InitializeLock(&pcb->lock);
    // Without the class every alias call is refused by RES1 itself, which
    // is answer enough: the result is not looked at.
    (void)RES1_Register(&pcb->aliasClass, nullptr, "ANC1_Alias", 0);
}

constinit ZULSS_descriptor_t ZULAN_pcbDescriptor = {
    sizeof(ZULAN_pcb_t), construct_anchors, nullptr, 0, 0};

int ANC1_Initialize(void)
{
    (void)ZULAN_Pcb();
    return STC1_Success;
}
