// SIG1_Pending: the portable signals that have arrived while blocked.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

ZULRA_SIG1_UNIT("zulsgpe");

int SIG1_Pending(SIG1_Set *set)
{
    RAS1_DECLARE_ENTRY(entry, "SIG1_Pending", RAS1_PUBLIC);
    RAS1_QUICK(entry, classes, flow);

    SIG1_ThreadBlock *thread = ZULSG_Thread();
    if (thread == nullptr)
        return STC1_Shortage;
    if (set == nullptr)
        return STC1_BadArgument;
    uint64_t host;
    if (ZULPL_SigPending(&host) != 0)
        return STC1_SystemError;
    *set = ZULSG_FromHost(thread->process->control, host);
    return STC1_Success;
}
