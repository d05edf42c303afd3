// ZULRE_KillRCB: schedules the destruction of a resource.
//
// The caller holds a use, so the resource cannot reach its end while the
// pending bit goes on; the class's count of scheduled resources moves
// under the lock together with the bit.
#include "res/zulre.h"
#include "internal/zulunits.h"

ZULRA_RES1_UNIT("zulre0k");

int ZULRE_KillRCB(ZULRE_rvt_t *rvt, ZULRE_rcb_t *rcb)
{
    RAS1_DECLARE_ENTRY(entry, "ZULRE_KillRCB", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);

    bool scheduled = false;
    BSS1_GetLock(&rvt->lock);
    uint64_t life = __atomic_load_n(&rcb->life, __ATOMIC_RELAXED);
    for (;;) {
        // Only a live RCB (odd generation) whose bit is clear is scheduled.
        if ((ZULRE_Handle(life) & rvt->generationUnit) == 0 ||
            (ZULRE_State(life) & ZULRE_PENDING) != 0)
            break;
        uint64_t next = life | (static_cast<uint64_t>(ZULRE_PENDING) << 32);
        if (__atomic_compare_exchange_n(&rcb->life, &life, next, true, __ATOMIC_ACQ_REL,
                                        __ATOMIC_RELAXED)) {
            scheduled = true;
            life = next;
            break;
        }
    }
    if (scheduled) {
        RES1_Class *cls = __atomic_load_n(&rcb->resClass, __ATOMIC_ACQUIRE);
        if (cls != nullptr)
            cls->pendingDestroy++;
    }
    BSS1_ReleaseLock(&rvt->lock);

    if (scheduled && (ZULRE_State(life) & ZULRE_DEBUG) != 0)
        ZULRE_DebugLine(&entry, __LINE__, RAS1_DETAIL, rcb, life, ", destruction scheduled\n");
    return scheduled ? 1 : 0;
}
