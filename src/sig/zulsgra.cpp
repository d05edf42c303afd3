// SIG1_Raise: carry out the disposition of a portable signal on the
// calling thread.
//
// A handler is called with the portable number, whatever the thread's
// mask; SIG1_IGN does nothing.  The default action is the host's: a
// signal that the host has is raised at the host for this thread, as
// raise() does, and what follows is what the host does with it (through
// the library's handler, which hands it on to the program's earlier
// handler or to the host's own default action); one that the host lacks
// has no default action and is dropped.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

ZULRA_SIG1_UNIT("zulsgra");

int SIG1_Raise(int signal)
{
    ZULSG_ENTRY("SIG1_Raise");
    SIG1_ThreadBlock *thread;
    const int status = ZULSG_Open(ZULSG_InRange(signal), &thread);
    if (status != STC1_Success)
        return status;
    SIG1_ProcessBlock *process = thread->process;
    SIG1_Handler handler = ZULSG_LoadHandler(process, signal);
    RAS1_LOG(entry, classes, RAS1_STATE, "Raising signal %s(%d): Handler(%p)\n", SIG1_SignalName(signal),
             signal, reinterpret_cast<void *>(handler));
    if (handler == SIG1_DFL) {
        const int host = process->control->portableToHost[signal];
        if (host != 0 && ZULPL_SigRaise(host) != 0)
            return STC1_SystemError;
    } else if (handler != SIG1_IGN) {
        handler(signal);
    }
    return STC1_Success;
}
