// SIG1_Wait: wait for one of a set of signals and take it, without a
// handler.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

ZULRA_SIG1_UNIT("zulsgwa");

int SIG1_Wait(const SIG1_Set *set, int *signal)
{
    ZULSG_ENTRY("SIG1_Wait");
    SIG1_ThreadBlock *thread;
    const int status = ZULSG_Open(set != nullptr, &thread);
    if (status != STC1_Success)
        return status;
    const SIG1_Control *c = thread->process->control;
    const SIG1_Set clean = ZULSG_Clean(set);
    // Only signals the host has, and can deliver to a waiter, count.
    const uint64_t host = ZULSG_ToHost(c, &clean) & ZULSG_Maskable(c);
    if (host == 0)
        return STC1_BadArgument;
    int taken;
    if (ZULPL_SigWait(host, &taken) != 0)
        return STC1_SystemError;
    if (signal != nullptr)
        *signal = c->hostToPortable[taken];
    return STC1_Success;
}
