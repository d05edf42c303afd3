// SIG1_ProcMask: the calling thread's blocked set; and the thread's mask
// as the host keeps it.
//
// For every signal the host can block, the host's mask of the thread is
// the truth: it is read back at each use, so a change made to it directly
// shows, and every change goes to it.  SIGKILL, SIGSTOP and the signals
// the host lacks are kept in the thread block as bookkeeping only.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

ZULRA_SIG1_UNIT("zulsgpm");

bool ZULSG_CurrentMask(SIG1_ThreadBlock *thread, SIG1_Set *mask)
{
    const SIG1_Control *c = thread->process->control;
    uint64_t host;
    if (ZULPL_SigSetMask(0, 0, &host) != 0)
        return false;
    const uint64_t maskable = ZULSG_Maskable(c);
    const SIG1_Set kept = ZULSG_FromHost(c, maskable);
    const SIG1_Set blocked = ZULSG_FromHost(c, host & maskable);
    for (int w = 0; w < 2; w++)
        mask->word[w] = blocked.word[w] | (thread->mask.word[w] & ~kept.word[w]);
    thread->mask = *mask;
    return true;
}

bool ZULSG_SetMask(SIG1_ThreadBlock *thread, const SIG1_Set *mask)
{
    const SIG1_Control *c = thread->process->control;
    const SIG1_Set clean = ZULSG_Clean(mask);
    const uint64_t maskable = ZULSG_Maskable(c);
    if (ZULPL_SigSetMask(maskable, ZULSG_ToHost(c, &clean) & maskable, nullptr) != 0)
        return false;
    thread->mask = clean;
    return true;
}

int SIG1_ProcMask(int how, const SIG1_Set *set, SIG1_Set *oldSet)
{
    ZULSG_ENTRY("SIG1_ProcMask");
    SIG1_ThreadBlock *thread;
    const int status = ZULSG_Open(true, &thread);
    if (status != STC1_Success)
        return status;
    // `set` and `oldSet` may be one record: read the change first.
    SIG1_Set change;
    if (set != nullptr)
        change = ZULSG_Clean(set);
    SIG1_Set mask;
    if (!ZULSG_CurrentMask(thread, &mask))
        return STC1_SystemError;
    if (oldSet != nullptr)
        *oldSet = mask;
    if (set == nullptr)
        return STC1_Success;

    for (int w = 0; w < 2; w++) {
        switch (how) {
        case SIG1_BLOCK:
            mask.word[w] |= change.word[w];
            break;
        case SIG1_UNBLOCK:
            mask.word[w] &= ~change.word[w];
            break;
        case SIG1_SETMASK:
            mask.word[w] = change.word[w];
            break;
        default:
            return STC1_BadArgument;
        }
    }
    return ZULSG_SetMask(thread, &mask) ? STC1_Success : STC1_SystemError;
}
