// PFM1_Inhibit: keeps asynchronous signals away from the calling thread.
//
// The thread's count nests.  On its first level the thread joins the
// process count, and the thread that moves the process count from 0
// blocks the asynchronous signals in its mask.  While a thread's count
// is above 0, no asynchronous signal is given to its handlers.  The
// process count is changed atomically, so of two threads that start
// together exactly one sees it at 0.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

ZULRA_PFM1_UNIT("zulpf1i");

void PFM1_Inhibit(void)
{
    RAS1_DECLARE_ENTRY(entry, "PFM1_Inhibit", RAS1_PUBLIC);
    RAS1_QUICK(entry, classes, flow);
    PFM1_TAB *tab = PFM1_Thread();
    if (tab == nullptr)
        return;
    const int32_t depth = tab->inhibit;
    __atomic_store_n(&tab->inhibit, depth + 1, __ATOMIC_RELAXED);
    if (depth == 0 && __atomic_fetch_add(&tab->pab->inhibit, 1, __ATOMIC_ACQ_REL) == 0)
        (void)SIG1_ProcMask(SIG1_BLOCK, &ZULPF_asyncSignals, nullptr);
}
