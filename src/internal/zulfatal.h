// internal/zulfatal.h - the end of a process that a signal kills: what the
// fault handling, the signal layer and the failure report share.
//
// A fatal signal that no protected scope takes ends in ZULWN_Fatal.  It
// may be reached two ways: directly, as the host handler that the failure
// report installs at load; or from the library's own host handler, when a
// signal-born fault finds no scope open.  In the second case the caller
// passes on the siginfo and context that the host delivered, which the
// platform layer keeps for the time of its handler (ZULPL_SigCurrent).
#ifndef ZUL_SRC_INTERNAL_ZULFATAL_H
#define ZUL_SRC_INTERNAL_ZULFATAL_H

#include <signal.h>

#ifdef __cplusplus
extern "C" {
#endif

// Writes the failure report for host signal `host` (`info` and `context`
// as the host delivered them; either may be null), then ends the process
// as it would have ended without the library: the handler that was in
// place before the library's runs if there was one, otherwise the
// signal's default action, so the parent sees the same termination
// signal.  Async-signal-safe.  Never returns.
[[noreturn]] void ZULWN_Fatal(int host, siginfo_t *info, void *context);

// The host signal that the calling thread is handling now, as the host
// delivered it to the library's handler; null outside that handler.
// Nested signals stack: the innermost one is given.
typedef struct ZULPL_sigframe {
    int host;
    siginfo_t *info;
    void *context;
    const struct ZULPL_sigframe *outer;
} ZULPL_sigframe_t;

const ZULPL_sigframe_t *ZULPL_SigCurrent(void);

// Drops the innermost frame: called by code that leaves the library's
// handler by a non-local jump, which skips the handler's own clean-up.
// Async-signal-safe.
void ZULPL_SigLeave(void);

// Gives the calling thread an alternate signal stack, if it has none, so
// that a thread that has run off its own stack can still take its
// SIGSEGV.  The stack is freed when the thread ends.  0, or -1 if no
// memory could be mapped for it.  Not async-signal-safe.
int ZULPL_AltStack(void);

#ifdef __cplusplus
}
#endif

#endif
