// PFM1C_GenericHandler: the standard handler of a thread: a signal
// becomes a raise of its fault code.
//
// The current scope's FFDC routine runs first.  Inside the host's
// handler, when there is a routine to run, the thread's mask is first set
// back to the one the handler interrupted, so that a fault in the routine
// is taken like any other instead of ending the process.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

ZULRA_PFM1_UNIT("zulpfgh");

void PFM1C_GenericHandler(int signal)
{
    RAS1_DECLARE_ENTRY(entry, "PFM1C_GenericHandler", RAS1_PRIVATE);
    RAS1_QUICK(entry, classes, flow);
    PFM1_TAB *tab = ZULPF_Tab();
    if (tab == nullptr)
        return;
    __atomic_store_n(&tab->signal, static_cast<uint32_t>(signal), __ATOMIC_RELAXED);
    if (tab->top != nullptr && tab->top->prev != nullptr && tab->top->prev->ffdc != nullptr)
        ZULPL_SigOpenMask();
    PFM1__CallFFDC(tab);
    PFM1__Raise(tab, PFM1C_FaultCode(signal));
}
