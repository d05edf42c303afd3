// PFM1C_Signal: gives a thread a handler for a portable signal, and takes
// the signal over for the process.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

ZULRA_PFM1_UNIT("zulpfsi");

void PFM1C_Signal(PFM1_TAB *tab, int signal, PFM1_Handler handler)
{
    RAS1_DECLARE_ENTRY(entry, "PFM1C_Signal", RAS1_PRIVATE);
    RAS1_QUICK(entry, classes, flow);
    if (PFM1C_RegisterSignal(tab->pab, signal) != 0)
        return;
    // The handler is in place before the signal counts as handled: a
    // handler on another thread may look at both at any moment.
    __atomic_store_n(&tab->handlers[signal], handler, __ATOMIC_RELEASE);
    SIG1_Set *set = &tab->signals;
    __atomic_or_fetch(&set->word[(signal - 1) / 32], 1u << ((signal - 1) % 32), __ATOMIC_RELEASE);
}
