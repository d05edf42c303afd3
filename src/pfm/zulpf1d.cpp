// PFM1__DropFrame: the release of a frame that is not on top.
//
// A frame on top is simply popped.  One released out of order means that
// a scope was left without its release; the message names the place of
// the release, and a raise of PFM1_BAD_RELEASE leaves the scope whose
// frame really is on top.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

ZULRA_PFM1_UNIT("zulpf1d");

uint32_t PFM1__DropFrame(PFM1_TAB *tab, PFM1_Frame *frame, const char *file, int line)
{
    RAS1_DECLARE_ENTRY(entry, "PFM1__DropFrame", RAS1_PUBLIC);
    RAS1_QUICK(entry, classes, flow);
    if (tab == nullptr)
        tab = ZULPF_Tab();
    if (tab != nullptr && tab->top == frame) {
        tab->top = frame->prev;
        return 0;
    }
    if (!ZULPF_InHandler() && RAS1_WANTS(RAS1_ReadClass(&entry), RAS1_ANY))
        RAS1_Log(&entry, __LINE__, RAS1_ERROR, "Bad release order: File(%s) Line(%d)\n",
                 file != nullptr ? file : "", line);
    PFM1__Raise(tab, PFM1_BAD_RELEASE);
}
