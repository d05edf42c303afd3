// platform/zulpljp.h - leaving the host's signal handler by a non-local
// jump: the handler frames left behind and the thread's mask.
//
// Scopes save their jump state without the signal mask, so that opening
// one makes no system call.  The host blocks a signal while its handler
// runs; a jump out of the handler must therefore put back the mask that
// the handler interrupted.  This is done here, on the way out only.
#ifndef ZUL_SRC_PLATFORM_ZULPLJP_H
#define ZUL_SRC_PLATFORM_ZULPLJP_H

#include "internal/zulfatal.h"

#ifdef __cplusplus
extern "C" {
#endif

// The innermost host signal being handled on this thread if it is a
// synchronous fault (SIGSEGV, SIGBUS, SIGILL, SIGFPE), else null.
const ZULPL_sigframe_t *ZULPL_SigFault(void);

// Whether the handler of `frame` may not return: a fault that the
// processor raised would only happen again.
int ZULPL_SigMustLeave(const ZULPL_sigframe_t *frame);

// Gives the calling thread, inside a handler, the mask that the handler
// interrupted, so that a fault in code run from the handler is taken
// again instead of ending the process.  Nothing outside a handler.
void ZULPL_SigOpenMask(void);

// Before a jump to a scope whose frame lies at `scope` on the stack:
// drops the handler frames that the jump leaves (those entered after the
// scope was opened) and sets the thread's mask to the one the oldest of
// them interrupted.  Nothing if the jump stays inside the handler.
// Async-signal-safe.
void ZULPL_SigJumpOut(const void *scope);

#ifdef __cplusplus
}
#endif

#endif
