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

// A fatal signal's handler of the library's own (the failure report's),
// and the disposition it replaced: `saved` is 1 while `action` holds it.
typedef void (*ZULPL_fatal_t)(int host, siginfo_t *info, void *context);
typedef struct ZULPL_sigkept {
    int saved;
    struct sigaction action;
} ZULPL_sigkept_t;

// Puts `handler` on host signal `host` for the whole process, to run on
// the alternate stack with the signal left unblocked, and keeps in *kept
// what the signal had.  A signal that the program ignores, or that has
// `handler` already, is left alone.  *kept is filled before the handler
// goes in, so that a signal arriving at once finds it.  1 when the
// handler went in, else 0.
int ZULPL_SigTakeFatal(int host, ZULPL_fatal_t handler, ZULPL_sigkept_t *kept);

// Gives host signal `host` back the disposition kept in *kept, if it was
// kept and the signal still has `handler`; a program that has put a
// handler of its own there since keeps it.
void ZULPL_SigGiveBackFatal(int host, ZULPL_fatal_t handler, const ZULPL_sigkept_t *kept);

#ifdef __cplusplus
}
#endif

#endif
