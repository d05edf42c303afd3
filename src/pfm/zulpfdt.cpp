// PFM1C_DeleteTAB: a thread's anchor leaves the process's list at the
// thread's end.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

ZULRA_PFM1_UNIT("zulpfdt");

void PFM1C_DeleteTAB(void *block)
{
    RAS1_DECLARE_ENTRY(entry, "PFM1C_DeleteTAB", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);
    PFM1_TAB *tab = static_cast<PFM1_TAB *>(block);
    PFM1_PAB *pab = tab->pab;
    if (ZULPF_threadTAB == tab) {
        ZULPF_threadTAB = nullptr;
        ZULPF_DropFiber();
    }
    if (pab == nullptr)
        return;
    {
        ZULSS_HOLD(&pab->lock);
        ZUL_RingUnlink(ZULPF_Links(pab), tab);
    }
    RAS1_LOG(entry, classes, RAS1_STATE, "Deleted TAB @ %p: PAB(%p)\n", static_cast<void *>(tab),
             static_cast<void *>(pab));
}
