// PFM1_Allow: lets asynchronous signals come to the calling thread again.
//
// The thread's count goes down by one, not below 0.  The process count
// goes down at every call, not only at the thread's last level, and not
// below 0; the call that brings it to 0 takes the asynchronous signals
// out of the calling thread's mask.  With both counts at 0 nothing
// changes.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

ZULRA_PFM1_UNIT("zulpf1a");

void PFM1_Allow(void)
{
    RAS1_DECLARE_ENTRY(entry, "PFM1_Allow", RAS1_PUBLIC);
    RAS1_QUICK(entry, classes, flow);
    PFM1_TAB *tab = PFM1_Thread();
    if (tab == nullptr)
        return;
    if (tab->inhibit > 0)
        __atomic_store_n(&tab->inhibit, tab->inhibit - 1, __ATOMIC_RELAXED);
    int32_t count = __atomic_load_n(&tab->pab->inhibit, __ATOMIC_ACQUIRE);
    while (count != 0) {
        const int32_t next = count - 1 > 0 ? count - 1 : 0;
        if (__atomic_compare_exchange_n(&tab->pab->inhibit, &count, next, false, __ATOMIC_ACQ_REL,
                                        __ATOMIC_ACQUIRE)) {
            if (next == 0)
                (void)SIG1_ProcMask(SIG1_UNBLOCK, &ZULPF_asyncSignals, nullptr);
            break;
        }
    }
}
