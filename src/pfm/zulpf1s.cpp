// PFM1_Signal: the calling thread's handler of a portable signal.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

ZULRA_PFM1_UNIT("zulpf1s");

void PFM1_Signal(int signal, PFM1_Handler handler)
{
    RAS1_DECLARE_ENTRY(entry, "PFM1_Signal", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);
    PFM1_TAB *tab = PFM1_Thread();
    if (tab != nullptr)
        PFM1C_Signal(tab, signal, handler);
}
