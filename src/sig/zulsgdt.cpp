// SIG1C_DeleteThread: the end of a thread's block of the portable signals.
//
// Nothing is given back: the host's mask ends with the thread, and
// dispositions belong to the process.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

ZULRA_SIG1_UNIT("zulsgdt");

void SIG1C_DeleteThread(void *)
{
    RAS1_DECLARE_ENTRY(entry, "SIG1C_DeleteThread", RAS1_PUBLIC);
    RAS1_QUICK(entry, classes, flow);
}
