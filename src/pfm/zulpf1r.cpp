// PFM1__Raise: leaves the current scope of a thread with a status.
//
// The scope's frame is popped, the status stored in the TAB, and a jump
// goes back to the scope's entry.  When the raise comes from inside the
// host's signal handler and the scope was opened before the signal, the
// jump leaves the handler: the handler frames it leaves are dropped and
// the thread's mask is set back to the one the signal interrupted, since
// the scope's jump state holds no mask.  With no scope open the process
// ends: silently with 0 for status 0; through the failure report, with
// the signal's own end, for a fault that a host signal brought; else
// with "Unhandled exception" and -1.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

#include <setjmp.h>
#if defined(__SANITIZE_ADDRESS__)
#define ZULPF_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZULPF_ASAN 1
#endif
#endif
#ifdef ZULPF_ASAN
#include <sanitizer/asan_interface.h>
#endif

ZULRA_PFM1_UNIT("zulpf1r");

RAS1_DECLARE_ENTRY(raiseEntry, "PFM1__Raise", RAS1_PUBLIC);

namespace {

[[noreturn]] void unhandled(uint32_t status)
{
    if (status == 0)
        ZULPL_ExitProcess(0);
    if (const ZULPL_sigframe_t *fault = ZULPL_SigFault())
        ZULWN_Fatal(fault->host, fault->info, fault->context);
    RAS1_LOG_KIND(raiseEntry, RAS1_ReadClass(&raiseEntry), RAS1_ANY, RAS1_ERROR,
                  "Unhandled exception: Status(%08lX)\n", static_cast<unsigned long>(status));
    ZULPL_ExitProcess(-1);
}

// Back to the scope's entry, which reads the status from the TAB.  The
// jump is the counterpart of PFM1__SAVE.  AddressSanitizer is told first
// that the frames in between are left, so their poisoned bytes go.
[[noreturn]] void jump(jmp_buf state)
{
#ifdef PFM1__TSAN
    longjmp(state, 1);
#else
#ifdef ZULPF_ASAN
    __asan_handle_no_return();
#endif
    __builtin_longjmp(reinterpret_cast<void **>(state), 1);
#endif
}

} // namespace

void PFM1__Raise(PFM1_TAB *tab, uint32_t status)
{
    RAS1_QUICK(raiseEntry, classes, flow);
    if (RAS1_WANTS(classes, RAS1_STATE) && !ZULPF_InHandler())
        RAS1_Log(&raiseEntry, __LINE__, RAS1_STATE, "Raising PFM1 signal: Status(%08lX)\n",
                 static_cast<unsigned long>(status));
    if (tab == nullptr)
        tab = ZULPF_Tab();
    if (tab == nullptr)
        unhandled(status);
    PFM1_Frame *top = tab->top;
    if (top == nullptr) {
        RAS1_LOG_KIND(raiseEntry, RAS1_ReadClass(&raiseEntry), RAS1_ANY, RAS1_ERROR,
                      "Bad release order: Status(%08lX)\n", static_cast<unsigned long>(status));
        ZULPL_ExitProcess(-1);
    }
    if (top->prev == nullptr)
        unhandled(status);

    PFM1_TAB *owner = top->tab != nullptr ? top->tab : tab;
    if (owner->top == top)
        owner->top = top->prev;
    else
        (void)PFM1__DropFrame(owner, top, __FILE__, __LINE__);
    tab->status = status;
    ZULPL_SigJumpOut(top);
    jump(tab->top->jump);
}
