// ZULRE_Drop: ends uses of an RCB, and its life if that was the last use
// of a resource whose destruction is scheduled.
//
// The end of a resource: its destructor runs with no lock held (it may
// call RES1_ itself), the RCB goes back on the free list, and then the
// hold that the resource had on its owner ends in turn, which may end the
// owner too.  The walk up the owners is a loop, so a deep family ends
// without deep recursion.
#include "res/zulre.h"
#include "internal/zulunits.h"

ZULRA_RES1_UNIT("zulre1d");

void ZULRE_Drop(ZULRE_rvt_t *rvt, ZULRE_rcb_t *rcb, uint32_t count)
{
    RAS1_DECLARE_ENTRY(entry, "ZULRE_Drop", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);

    while (rcb != nullptr) {
        if (!ZULRE_EnableRCB(rvt, rcb, count))
            return;
        // The RCB is this thread's alone now: its handle is refused.
        ZULRE_rcb_t *owner = __atomic_load_n(&rcb->owner, __ATOMIC_ACQUIRE);
        RES1_Class *cls = __atomic_load_n(&rcb->resClass, __ATOMIC_ACQUIRE);
        if (cls != nullptr && cls->destructor != nullptr)
            cls->destructor(__atomic_load_n(&rcb->data, __ATOMIC_ACQUIRE));

        uint64_t life = ZULRE_LoadLife(rcb);
        if ((ZULRE_State(life) & ZULRE_DEBUG) != 0)
            ZULRE_DebugLine(&entry, __LINE__, RAS1_DETAIL, rcb, life, ", destroyed\n");

        BSS1_GetLock(&rvt->lock);
        rcb->next = rvt->free;
        rvt->free = rcb;
        BSS1_ReleaseLock(&rvt->lock);

        rcb = owner;
        count = 1;
    }
}
