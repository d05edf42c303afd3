// SIG1_Pending: the portable signals that have arrived while blocked.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

ZULRA_SIG1_UNIT("zulsgpe");

int SIG1_Pending(SIG1_Set *set)
{
    ZULSG_ENTRY("SIG1_Pending");
    SIG1_ThreadBlock *thread;
    const int status = ZULSG_Open(set != nullptr, &thread);
    if (status != STC1_Success)
        return status;
    uint64_t host;
    if (ZULPL_SigPending(&host) != 0)
        return STC1_SystemError;
    *set = ZULSG_FromHost(thread->process->control, host);
    return STC1_Success;
}
