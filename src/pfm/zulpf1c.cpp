// PFM1__CallFFDC: runs the current scope's FFDC routine.
//
// The routine runs in a scope of its own with no FFDC named, so that a
// raise inside it ends the routine only (the raise is dropped) and
// cannot start it again.  The scope's routine stays named.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

#include <setjmp.h>

ZULRA_PFM1_UNIT("zulpf1c");

RAS1_DECLARE_ENTRY(callEntry, "PFM1__CallFFDC", RAS1_PUBLIC);

namespace {

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
    if (own != nullptr)
        run_scoped(own, tab->top->prev->ffdc, tab->top->prev->ffdcArg);
}
