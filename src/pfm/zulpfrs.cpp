// PFM1C_RegisterSignal: takes a portable signal over for the process, so
// that it reaches PFM1C_SignalHandler.
//
// Under the PAB's lock: the first registration of a signal sets the
// portable handler and records the signal in `hooked`; later ones change
// nothing.  A processor fault is also hooked at the host, which by
// default leaves the signals that dump alone.  A signal counts as taken
// over only when both have been done: without memory for the thread's
// signal block neither can be, the result is STC1_Shortage, and the next
// registration tries again.
#include "pfm/zulpf.h"
#include "internal/zulhook.h"
#include "internal/zulunits.h"

ZULRA_PFM1_UNIT("zulpfrs");

uint32_t PFM1C_RegisterSignal(PFM1_PAB *pab, int signal)
{
    RAS1_DECLARE_ENTRY(entry, "PFM1C_RegisterSignal", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);
    if (signal < SIG1_FIRST || signal > SIG1_LAST)
        return PFM1_BAD_SIGNAL;
    ZULSS_HOLD(&pab->lock);
    if (SIG1_IsMember(&pab->hooked, signal))
        return 0;
    SIG1_ActionRecord record = {PFM1C_SignalHandler, {{0, 0}}, 0};
    if (SIG1_Action(signal, &record, nullptr) != STC1_Success || SIG1C_HookFault(signal) < 0)
        return STC1_Shortage;
    SIG1_AddSet(&pab->hooked, signal);
    return 0;
}
