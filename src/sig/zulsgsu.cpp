// SIG1_Suspend: wait, with a mask of the caller's, until a signal has been
// caught.
//
// For the time of the wait the thread's mask is the given one, at the
// host and in the block; the host puts its mask back when a handler has
// run, and the block's bookkeeping goes back with it.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

ZULRA_SIG1_UNIT("zulsgsu");

int SIG1_Suspend(const SIG1_Set *mask)
{
    ZULSG_ENTRY("SIG1_Suspend");
    SIG1_ThreadBlock *thread;
    const int status = ZULSG_Open(mask != nullptr, &thread);
    if (status != STC1_Success)
        return status;
    const SIG1_Control *c = thread->process->control;
    SIG1_Set before;
    if (!ZULSG_CurrentMask(thread, &before))
        return STC1_SystemError;
    const SIG1_Set during = ZULSG_Clean(mask);
    const uint64_t maskable = ZULSG_Maskable(c);
    thread->mask = during;
    const int result = ZULPL_SigSuspend(maskable, ZULSG_ToHost(c, &during) & maskable);
    thread->mask = before;
    return result == 0 ? STC1_Success : STC1_SystemError;
}
