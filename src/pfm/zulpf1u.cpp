// PFM1__UseFrame: pushes a frame, arming the one below it.
//
// The frame that was on top becomes the armed frame of the new scope: it
// inherits the enclosing scope's FFDC routine (none for the outermost
// scope) and takes the mark PFM1_FRAME_ARMED.  The scope macros do the
// same inline.  A null TAB or frame, or a TAB whose stack has no top,
// pushes nothing.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

ZULRA_PFM1_UNIT("zulpf1u");

void PFM1__UseFrame(PFM1_TAB *tab, PFM1_Frame *frame)
{
    RAS1_DECLARE_ENTRY(entry, "PFM1__UseFrame", RAS1_PUBLIC);
    RAS1_QUICK(entry, classes, flow);
    if (tab == nullptr || frame == nullptr || tab->top == nullptr)
        return;
    PFM1__Push(tab, frame);
}
