// SIG1_Action: read and change the disposition of a portable signal.
//
// Dispositions are the process's and are changed without a lock.  The
// handler is stored last, with release order, so that the host handler,
// which may read it on any thread at any moment, sees a whole routine.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

ZULRA_SIG1_UNIT("zulsgac");

int SIG1_Action(int signal, const SIG1_ActionRecord *action, SIG1_ActionRecord *oldAction)
{
    ZULSG_ENTRY("SIG1_Action");
    SIG1_ThreadBlock *thread;
    const int status = ZULSG_Open(ZULSG_InRange(signal), &thread);
    if (status != STC1_Success)
        return status;
    SIG1_ActionRecord *record = &thread->process->actions[signal - 1];
    // Copy the new record first: `action` and `oldAction` may be one record.
    SIG1_ActionRecord next;
    if (action != nullptr)
        next = *action;
    if (oldAction != nullptr) {
        SIG1_ActionRecord old;
        old.handler = ZULSG_LoadHandler(thread->process, signal);
        old.mask.word[0] = __atomic_load_n(&record->mask.word[0], __ATOMIC_RELAXED);
        old.mask.word[1] = __atomic_load_n(&record->mask.word[1], __ATOMIC_RELAXED);
        old.flags = __atomic_load_n(&record->flags, __ATOMIC_RELAXED);
        *oldAction = old;
    }
    if (action != nullptr) {
        __atomic_store_n(&record->mask.word[0], next.mask.word[0], __ATOMIC_RELAXED);
        __atomic_store_n(&record->mask.word[1], next.mask.word[1], __ATOMIC_RELAXED);
        __atomic_store_n(&record->flags, next.flags, __ATOMIC_RELAXED);
        __atomic_store_n(&record->handler, next.handler, __ATOMIC_RELEASE);
    }
    return STC1_Success;
}
