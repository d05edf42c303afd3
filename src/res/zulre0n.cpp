// ZULRE_NewRCB: a fresh RCB from the free list, or from a new page.
#include "res/zulre.h"
#include "internal/zulunits.h"

#include <stdlib.h>
#include <string.h>

ZULRA_RES1_UNIT("zulre0n");

// Allocates page number `pageCount`, gives each RCB its handle with
// generation 0, pushes slots 0 to 254 on the free list (so 254 comes out
// first) and returns the last slot, which is not pushed.  Null without
// memory.  The caller holds the lock.
//
// Pages are never freed, so the page is aligned to a cache line by hand:
// each RCB then has a line of its own, and threads that use different
// resources do not contend for one.
static ZULRE_rcb_t *new_page(ZULRE_rvt_t *rvt)
{
    ZUL_ASSERT_HELD(&rvt->lock);
    const uintptr_t line = 64;
    void *memory = malloc(rvt->pageBytes + line - 1);
    if (memory == nullptr)
        return nullptr;
    uintptr_t at = (reinterpret_cast<uintptr_t>(memory) + line - 1) & ~(line - 1);
    ZULRE_rcb_t *page = reinterpret_cast<ZULRE_rcb_t *>(at);
    memset(page, 0, rvt->pageBytes);

    uint32_t number = rvt->pageCount;
    uint32_t last = rvt->rcbsPerPage - 1;
    for (uint32_t slot = 0; slot <= last; slot++)
        page[slot].life = ZULRE_Life((number << rvt->pageShift) + slot, 0);
    for (uint32_t slot = 0; slot < last; slot++) {
        page[slot].next = rvt->free;
        rvt->free = &page[slot];
    }
    // The page is complete before a reader that finds the new count may
    // look at it without the lock.
    rvt->pages[number] = page;
    __atomic_store_n(&rvt->pageCount, number + 1, __ATOMIC_RELEASE);
    return &page[last];
}

ZULRE_rcb_t *ZULRE_NewRCB(ZULRE_rvt_t *rvt)
{
    RAS1_DECLARE_ENTRY(entry, "ZULRE_NewRCB", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);

    ZULSS_HOLD(&rvt->lock);
    ZULRE_rcb_t *rcb = rvt->free;
    if (rcb != nullptr)
        rvt->free = rcb->next;
    else if (rvt->pageCount < rvt->maxPages)
        rcb = new_page(rvt);
    if (rcb == nullptr)
        return nullptr;
    rcb->owner = nullptr;
    rcb->children = nullptr;
    ZUL_RingInit(ZULRE_siblings, rcb);
    rcb->walk = nullptr;
    __atomic_store_n(&rcb->data, nullptr, __ATOMIC_RELAXED);
    __atomic_store_n(&rcb->resClass, nullptr, __ATOMIC_RELAXED);
    // A free RCB keeps its last handle, whose generation is even, so no
    // handle matches it until this store makes it live again.
    uint32_t handle = ZULRE_Handle(ZULRE_LoadLife(rcb)) + rvt->generationUnit;
    __atomic_store_n(&rcb->life, ZULRE_Life(handle, ZULRE_USE), __ATOMIC_RELEASE);
    return rcb;
}
