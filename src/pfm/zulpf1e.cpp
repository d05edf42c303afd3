// PFM1__EnableFFDC: names the FFDC routine of the current scope.
//
// The routine lives in the scope's armed frame, tab->top->prev; with no
// scope open there is none, and nothing changes.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

ZULRA_PFM1_UNIT("zulpf1e");

void PFM1__EnableFFDC(PFM1_TAB *tab, PFM1_FFDC routine, void *argument)
{
    RAS1_DECLARE_ENTRY(entry, "PFM1__EnableFFDC", RAS1_PUBLIC);
    RAS1_QUICK(entry, classes, flow);
    if (tab == nullptr || tab->top == nullptr || tab->top->prev == nullptr)
        return;
    tab->top->prev->ffdc = routine;
    tab->top->prev->ffdcArg = argument;
}
