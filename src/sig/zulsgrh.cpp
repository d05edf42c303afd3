// SIG1C_RegisterHandler: hooks the host's signals on the calling thread's
// behalf.
//
// Every available signal that ZUL_SIG1 does not disable is hooked, so
// that it reaches SIG1C_HostHandler.  Dispositions are the process's on
// this host, so the first thread hooks and later threads find the
// library's handler in place; a thread that finds a signal taken back by
// the program hooks it again, and the program's handler becomes the
// default action.  SIGKILL and SIGSTOP cannot be hooked, and a signal
// that the program ignores is left ignored.
//
// SIG1C_HookFault hooks one of the four processor faults for the fault
// handling even where the dump signals stay with the host; only
// "-syncoff" keeps it there.  Without memory for the calling thread's
// block it can do nothing, and says so.
#include "sig/zulsg.h"
#include "internal/zulhook.h"
#include "internal/zullock.h"
#include "internal/zulunits.h"

ZULRA_SIG1_UNIT("zulsgrh");

namespace {

// Serialises the hooking of threads that start together, so that a
// disposition is saved once, before the library's handler replaces it.
constinit ZULSS_lock_t hookLock = {0, nullptr};

} // namespace

void SIG1C_RegisterHandler(void)
{
    RAS1_DECLARE_ENTRY(entry, "SIG1C_RegisterHandler", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);
    const SIG1_Control *c = __atomic_load_n(&ZULSG_controlPointer, __ATOMIC_ACQUIRE);
    if (c == nullptr || c->lowest == 0)
        return;

    ZULSS_HOLD(&hookLock);
    for (int n = c->lowest; n <= c->highest; n++) {
        if (!SIG1_IsMember(&c->available, n))
            continue;
        if ((SIG1_IsMember(&c->async, n) && c->asyncOff) ||
            (SIG1_IsMember(&c->sync, n) && c->syncOff) ||
            (SIG1_IsMember(&c->dump, n) && c->dumpOff)) {
            RAS1_LOG(entry, classes, RAS1_DETAIL, "%s is disabled\n", c->names[n]);
            continue;
        }
        switch (ZULPL_SigHook(c->portableToHost[n], SIG1C_HostHandler)) {
        case ZULPL_HOOK_IGNORED:
            RAS1_LOG(entry, classes, RAS1_DETAIL, "%s is ignored by the program, left with the host\n",
                     c->names[n]);
            break;
        case ZULPL_HOOK_CANNOT:
            RAS1_LOG(entry, classes, RAS1_DETAIL, "%s cannot be hooked\n", c->names[n]);
            break;
        default:
            break;
        }
    }
}

int SIG1C_HookFault(int signal)
{
    if (signal != SIG1_SIGSEGV && signal != SIG1_SIGBUS && signal != SIG1_SIGILL &&
        signal != SIG1_SIGFPE)
        return 0;
    if (ZULSG_Thread() == nullptr)
        return -1;
    const SIG1_Control *c = __atomic_load_n(&ZULSG_controlPointer, __ATOMIC_ACQUIRE);
    if (c == nullptr || !SIG1_IsMember(&c->available, signal) || c->syncOff)
        return 0;
    ZULSS_HOLD(&hookLock);
    const int hooked = ZULPL_SigHook(c->portableToHost[signal], SIG1C_HostHandler);
    return hooked == ZULPL_HOOK_NEW || hooked == ZULPL_HOOK_ALREADY;
}
