// ZULRE_EnableRCB: takes uses away from an RCB, and notices its end.
//
// One compare-and-swap on `life` takes the uses and, when that leaves no
// use on a resource whose destruction is scheduled, moves the handle on
// by one generation in the same step, so that no new use can start: the
// caller that saw this step happen is the only one to finish the RCB.
//
// Taking more uses than there are means a caller dropped a use it did not
// hold.  The RCB is then written off: its handle moves on to an even
// generation, which nothing matches, and it never returns to the free
// list, since somebody may still believe in it.
#include "res/zulre.h"
#include "internal/zulunits.h"

ZULRA_RES1_UNIT("zulre0e");

int ZULRE_EnableRCB(ZULRE_rvt_t *rvt, ZULRE_rcb_t *rcb, uint32_t count)
{
    RAS1_DECLARE_ENTRY(entry, "ZULRE_EnableRCB", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);

    uint32_t amount = count * ZULRE_USE;
    uint64_t life = __atomic_load_n(&rcb->life, __ATOMIC_RELAXED);
    uint64_t next;
    bool overdrawn, ending;
    do {
        uint32_t handle = ZULRE_Handle(life);
        uint32_t state = ZULRE_State(life);
        overdrawn = amount > state;
        ending = false;
        if (overdrawn) {
            next = ZULRE_Life(handle + rvt->generationUnit, state);
        } else {
            state -= amount;
            ending = (state & ZULRE_ENDING_MASK) == ZULRE_PENDING;
            next = ZULRE_Life(ending ? handle + rvt->generationUnit : handle, state);
        }
    } while (!__atomic_compare_exchange_n(&rcb->life, &life, next, true, __ATOMIC_ACQ_REL,
                                          __ATOMIC_RELAXED));

    uint32_t state = ZULRE_State(next);
    if (overdrawn) {
        // The line shows the handle that the caller overdrew, not the
        // one it was moved on to.
        if ((state & ZULRE_DEBUG) != 0 || RAS1_WANTS(classes, RAS1_ANY))
            ZULRE_DebugLine(&entry, __LINE__, RAS1_ERROR, rcb, life, ", use count error\n");
        return 0;
    }
    if (!ending)
        return 0;

    RES1_Class *cls = __atomic_load_n(&rcb->resClass, __ATOMIC_ACQUIRE);
    if (cls != nullptr) {
        BSS1_GetLock(&rvt->lock);
        cls->pendingDestroy--;
        cls->activeResources--;
        BSS1_ReleaseLock(&rvt->lock);
    }
    if ((state & ZULRE_DEBUG) != 0)
        ZULRE_DebugLine(&entry, __LINE__, RAS1_DETAIL, rcb, next, ", destruction underway\n");
    return 1;
}
