// ZULRE_DisableRCB: checks a handle and adds uses to its RCB, in one step.
//
// A handle without the lowest generation bit, or with a page not yet
// allocated, is refused without looking at any RCB.  Otherwise its RCB is
// found by two masks and a table lookup, and one compare-and-swap on the
// RCB's `life` word checks that the handle is exactly the RCB's current
// one and adds the uses.  Pages are only ever added and never freed, so
// the page count and table are read without the lock.
//
// ZULRE_Open, the opening of the RES1_ calls on a handle, is the
// check as those calls make it.
#include "res/zulre.h"
#include "internal/zulunits.h"

ZULRA_RES1_UNIT("zulre0d");

ZULRE_rcb_t *ZULRE_DisableRCB(ZULRE_rvt_t *rvt, uint32_t handle, uint32_t count)
{
    RAS1_DECLARE_ENTRY(entry, "ZULRE_DisableRCB", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);

    if ((handle & rvt->generationUnit) == 0)
        return nullptr;
    uint32_t page = (handle >> rvt->pageShift) & rvt->pageMask;
    if (page >= __atomic_load_n(&rvt->pageCount, __ATOMIC_ACQUIRE))
        return nullptr;
    ZULRE_rcb_t *rcb = rvt->pages[page] + (handle & rvt->slotMask);

    uint64_t add = static_cast<uint64_t>(count * ZULRE_USE) << 32;
    uint64_t life = __atomic_load_n(&rcb->life, __ATOMIC_RELAXED);
    do {
        if (ZULRE_Handle(life) != handle)
            return nullptr;
    } while (!__atomic_compare_exchange_n(&rcb->life, &life, life + add, true, __ATOMIC_ACQ_REL,
                                          __ATOMIC_RELAXED));
    return rcb;
}

int ZULRE_Open(uint32_t handle, int accept, ZULRE_rvt_t **rvt, ZULRE_rcb_t **rcb)
{
    *rvt = ZULRE_Rvt();
    *rcb = *rvt != nullptr ? ZULRE_DisableRCB(*rvt, handle, 1) : nullptr;
    if (*rcb == nullptr)
        return STC1_NotThere;
    if (accept == ZULRE_RESOURCE_HANDLE && (ZULRE_LoadState(*rcb) & ZULRE_CLASS) != 0) {
        ZULRE_Drop(*rvt, *rcb, 1);
        return STC1_BadObject;
    }
    return STC1_Success;
}
