// SIG1_Wait: wait for one of a set of signals and take it, without a
// handler.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

ZULRA_SIG1_UNIT("zulsgwa");

int SIG1_Wait(const SIG1_Set *set, int *signal)
{
    RAS1_DECLARE_ENTRY(entry, "SIG1_Wait", RAS1_PUBLIC);
    RAS1_QUICK(entry, classes, flow);

    SIG1_ThreadBlock *thread = ZULSG_Thread();
    if (thread == nullptr)
        return STC1_Shortage;
    if (set == nullptr)
        return STC1_BadArgument;
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
