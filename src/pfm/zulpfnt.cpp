// PFM1C_NewTAB: a thread's anchor, built at the thread's first PFM1 call;
// and PFM1C_ReadyTAB, which makes it able to catch faults.
//
// The new thread handles the default signals with PFM1C_GenericHandler,
// gets an alternate signal stack (a thread that runs off its stack must
// still reach the handler), starts with only its base frame, and joins
// the end of the process's list of threads.  The steps that need memory
// (the thread's block of the portable signals, the alternate stack) come
// first: a TAB that memory ran out for takes no signal over, is not the
// thread's TAB for scopes and handlers, and is finished by the next
// PFM1_Thread.  The thread's signal block is built before the process
// anchor, whose construction takes the default signals over through it.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

#include <string.h>

ZULRA_PFM1_UNIT("zulpfnt");

constinit ZULSS_descriptor_t ZULPF_tabDescriptor = {sizeof(PFM1_TAB), PFM1C_NewTAB,
                                                    PFM1C_DeleteTAB, 0, 0};

constinit thread_local __attribute__((tls_model("initial-exec"))) PFM1_TAB *ZULPF_threadTAB =
    nullptr;

bool PFM1C_ReadyTAB(PFM1_TAB *tab)
{
    if (SIG1_ProcMask(SIG1_BLOCK, nullptr, nullptr) != STC1_Success) // builds the signal block
        return false;
    if (ZULPL_AltStack() != 0)
        return false;
    if (tab->pab == nullptr) {
        PFM1_PAB *pab = ZULPF_Pab();
        tab->pab = pab;
        ZULSS_HOLD(&pab->lock);
        ZUL_RingInsertBefore(ZULPF_Links(pab), pab->nil, tab);
    }
    bool all = true;
    for (int signal = SIG1_FIRST; signal <= SIG1_LAST; signal++) {
        if (!SIG1_IsMember(&ZULPF_defaultSignals, signal) || SIG1_IsMember(&tab->signals, signal))
            continue;
        PFM1C_Signal(tab, signal, PFM1C_GenericHandler);
        all = all && SIG1_IsMember(&tab->signals, signal);
    }
    if (all)
        ZULPF_threadTAB = tab;
    return all;
}

void PFM1C_NewTAB(void *block)
{
    RAS1_DECLARE_ENTRY(entry, "PFM1C_NewTAB", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);
    PFM1_TAB *tab = static_cast<PFM1_TAB *>(block);
    tab->inhibit = 0;
    tab->status = 0;
    tab->signal = 0;
    memset(static_cast<void *>(&tab->base), 0, sizeof tab->base);
    tab->base.tab = tab;
    tab->top = &tab->base;
    (void)PFM1C_ReadyTAB(tab);
    RAS1_LOG(entry, classes, RAS1_STATE, "New TAB @ %p: PAB(%p)\n", static_cast<void *>(tab),
             static_cast<void *>(tab->pab));
}
