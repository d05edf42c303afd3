// PFM1__CallFFDC: runs the current scope's FFDC routine.
//
// The routine runs in a scope of its own with no FFDC named, so that a
// raise inside it ends the routine only (the raise is dropped) and
// cannot start it again.  The scope's routine stays named.
//
// Under ThreadSanitizer the routine runs in a fiber of the sanitizer's
// own.  The sanitizer keeps one list of saved jump states per thread, and
// each save drops the states saved at lower stack addresses, taking their
// frames for returned.  The routine's scope is opened inside the host's
// signal handler, on the alternate signal stack, which on any thread but
// the main one may lie above the thread's own stack: saved there, it
// would drop the state of the very scope that the fault is then raised
// into ("can't find longjmp buf").  A fiber has a list of its own.  The
// switches to it and back order the routine's accesses after the
// thread's, and the thread's after the routine's.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

#include <setjmp.h>
#ifdef PFM1__TSAN
#include <sanitizer/tsan_interface.h>
#endif

ZULRA_PFM1_UNIT("zulpf1c");

RAS1_DECLARE_ENTRY(callEntry, "PFM1__CallFFDC", RAS1_PUBLIC);

namespace {

#ifdef PFM1__TSAN
// The calling thread's fiber for its routines, made at the first one and
// given back with the thread's TAB.
constinit thread_local __attribute__((tls_model("initial-exec"))) void *ffdcFiber = nullptr;
#endif

// The routine's own scope, opened on `own` with its state saved in the
// frame on top.  A raise inside the routine comes back here and ends it.
__attribute__((noinline)) void run_scoped(PFM1_TAB *own, PFM1_FFDC routine, void *argument)
{
    PFM1_Frame frame;
    if (PFM1__SAVE(own->top->jump) != 0)
        return;
    PFM1__Push(own, &frame);
    if (RAS1_WANTS(RAS1_PeekClass(&callEntry), RAS1_STATE) && !ZULPF_InHandler())
        RAS1_Log(&callEntry, __LINE__, RAS1_STATE, "ffdc=%p, arg=%p\n", reinterpret_cast<void *>(routine),
                 argument);
    PFM1__EnableFFDC(own, nullptr, nullptr);
    routine(argument);
    (void)PFM1__Release(own, &frame, __FILE__, __LINE__);
}

} // namespace

void PFM1__CallFFDC(PFM1_TAB *tab)
{
    if (tab == nullptr || tab->top == nullptr || tab->top->prev == nullptr ||
        tab->top->prev->ffdc == nullptr)
        return;
    PFM1_TAB *own = ZULPF_Tab();
    if (own == nullptr)
        return;
#ifdef PFM1__TSAN
    void *thread = __tsan_get_current_fiber();
    if (ffdcFiber == nullptr)
        ffdcFiber = __tsan_create_fiber(0);
    if (thread != ffdcFiber) { // not already in a routine
        __tsan_switch_to_fiber(ffdcFiber, 0);
        run_scoped(own, tab->top->prev->ffdc, tab->top->prev->ffdcArg);
        __tsan_switch_to_fiber(thread, 0);
        return;
    }
#endif
    run_scoped(own, tab->top->prev->ffdc, tab->top->prev->ffdcArg);
}

void ZULPF_DropFiber(void)
{
#ifdef PFM1__TSAN
    if (ffdcFiber != nullptr && ffdcFiber != __tsan_get_current_fiber())
        __tsan_destroy_fiber(ffdcFiber);
    ffdcFiber = nullptr;
#endif
}
