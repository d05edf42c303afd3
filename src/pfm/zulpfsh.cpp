// PFM1C_SignalHandler: the portable handler of every signal that the
// fault handling has taken over; picks the thread that deals with it.
//
// An asynchronous signal goes to the oldest thread that handles it and
// is not inhibited; its handler runs here, on the thread the host chose.
// A synchronous one belongs to the calling thread.  What nobody handles
// is raised as PFM1_UNHANDLED_SIGNAL, unless it is one of the signals that
// are no failure.  A processor fault may not come back to the faulting
// instruction: if the thread's handler returns, or the thread has no
// anchor, the process ends with the failure report.  No trace, no lock:
// this runs inside the host's signal handler.
#include "pfm/zulpf.h"
#include "platform/zulplsg.h"

#include <stdlib.h>

namespace {

// The host fault being handled, if it is this portable signal's.
const ZULPL_sigframe_t *host_fault(int signal)
{
    const ZULPL_sigframe_t *frame = ZULPL_SigFault();
    return frame != nullptr && frame->host == ZULPL_hostSignals[signal] ? frame : nullptr;
}

[[noreturn]] void fatal(const ZULPL_sigframe_t *frame)
{
    ZULWN_Fatal(frame->host, frame->info, frame->context);
}

} // namespace

void PFM1C_SignalHandler(int signal)
{
    auto *pab =
        reinterpret_cast<PFM1_PAB *>(__atomic_load_n(&ZULPF_pabDescriptor.result, __ATOMIC_ACQUIRE));
    if (pab == nullptr || signal < SIG1_FIRST || signal > SIG1_LAST)
        return;

    if (SIG1_IsMember(&ZULPF_asyncSignals, signal)) {
        PFM1_TAB *chosen = PFM1C_FindThread(pab, signal);
        if (chosen != nullptr) {
            __atomic_store_n(&chosen->signal, static_cast<uint32_t>(signal), __ATOMIC_RELAXED);
            PFM1_Handler handler = __atomic_load_n(&chosen->handlers[signal], __ATOMIC_ACQUIRE);
            if (handler != nullptr)
                handler(signal);
            return;
        }
        if (SIG1_IsMember(&ZULPF_ignoredSignals, signal))
            return;
        PFM1_TAB *own = ZULPF_Tab();
        if (own == nullptr)
            abort();
        __atomic_store_n(&own->signal, static_cast<uint32_t>(signal), __ATOMIC_RELAXED);
        PFM1__Raise(own, PFM1_UNHANDLED_SIGNAL);
    }

    PFM1_TAB *own = ZULPF_Tab();
    if (own != nullptr) {
        __atomic_store_n(&own->signal, static_cast<uint32_t>(signal), __ATOMIC_RELAXED);
        PFM1_Handler handler = __atomic_load_n(&own->handlers[signal], __ATOMIC_ACQUIRE);
        if (SIG1_IsMember(&own->signals, signal) && handler != nullptr) {
            handler(signal);
            const ZULPL_sigframe_t *fault = host_fault(signal);
            if (ZULPL_SigMustLeave(fault))
                fatal(fault);
            return;
        }
    }
    if (SIG1_IsMember(&ZULPF_ignoredSignals, signal))
        return;
    if (own == nullptr) {
        if (const ZULPL_sigframe_t *fault = host_fault(signal))
            fatal(fault);
    }
    PFM1__Raise(own, PFM1_UNHANDLED_SIGNAL);
}
