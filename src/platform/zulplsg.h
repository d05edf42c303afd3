// platform/zulplsg.h - the host's signals: numbers, hooking, masks,
// waiting, and the default action.  Linux (glibc) implementation.
//
// A host signal set is a 64-bit word: host signal h is bit h - 1.  Every
// call that takes a set leaves alone the host signals that are not in it.
#ifndef ZUL_SRC_PLATFORM_ZULPLSG_H
#define ZUL_SRC_PLATFORM_ZULPLSG_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// The highest host signal number (the last real-time signal).
#define ZULPL_SIG_HIGHEST 64

// The host number of each portable signal, index 0 to 48; 0 where the
// host lacks the signal (and at 0 and 48).
extern const int32_t ZULPL_hostSignals[49];

static inline uint64_t ZULPL_SigBit(int host)
{
    return (host >= 1 && host <= ZULPL_SIG_HIGHEST) ? (uint64_t)1 << (host - 1) : 0;
}

// The signals that no program can catch, block or wait for.
uint64_t ZULPL_SigUncatchable(void);

// The synchronous signals: those that the thread's own instructions or
// calls raise for that thread (a bad address or instruction, a division
// by zero, a trap, a refused system call, abort, a write to a broken
// pipe).  A thread that blocks one of them cannot take it: the kernel
// ends the process at once, with no handler run and no report written.
// A thread that must keep other signals away blocks the rest, never
// these.
uint64_t ZULPL_SigSynchronous(void);

// What the library's routine tells the host handler after it has run.
#define ZULPL_SIG_DONE 0    // the signal has been dealt with
#define ZULPL_SIG_DEFAULT 1 // carry out what the host would have done
                            // without the library

// The library's routine: called, inside the host's handler, with the host
// signal number.  It must be async-signal-safe.  errno is kept for it.
typedef int (*ZULPL_sigroute_t)(int host);

// Outcomes of ZULPL_SigHook.
#define ZULPL_HOOK_NEW 0     // hooked now; the disposition it had is kept
#define ZULPL_HOOK_ALREADY 1 // the library's handler was there already
#define ZULPL_HOOK_IGNORED 2 // the program ignores it: left alone
#define ZULPL_HOOK_CANNOT 3  // the host does not let it be hooked

// Hooks host signal `host`: from now on it reaches `route`.  The
// disposition it had before is kept, to be carried out when the route
// answers ZULPL_SIG_DEFAULT.  A signal already hooked is left as it is;
// one that is ignored is not hooked.  Callers serialise calls.
int ZULPL_SigHook(int host, ZULPL_sigroute_t route);

// The calling thread's mask: the signals of `affected` are set blocked
// exactly where `blocked` has them; *old (if not null) gets the whole
// mask before.  0, or -1 if the host refused.
int ZULPL_SigSetMask(uint64_t affected, uint64_t blocked, uint64_t *old);

// *pending gets the signals pending for the calling thread or the
// process.  0, or -1 if the host refused.
int ZULPL_SigPending(uint64_t *pending);

// Waits with the signals of `affected` blocked as `blocked` says (the
// others as they are) until a handler has run; then the mask is put back.
// 0, or -1 if the host refused.
int ZULPL_SigSuspend(uint64_t affected, uint64_t blocked);

// Blocks `set` on the calling thread, waits until one of its signals
// arrives and takes it without running a handler, and puts the mask back.
// *host gets its number.  0, or -1 if the host refused.
int ZULPL_SigWait(uint64_t set, int *host);

// Raises host signal `host` for the calling thread, as raise() does.
int ZULPL_SigRaise(int host);

// Writes `length` bytes to standard output with one write(2): no stdio,
// so it may run in a signal handler.
void ZULPL_SigWriteOut(const char *text, size_t length);

// Gives the routine that writes out what the log holds before a signal
// ends the process, and takes the signals that end a process by default
// (SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGPIPE, SIGALRM, SIGUSR1, SIGUSR2,
// SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF, SIGIO, SIGPWR, SIGSTKFLT) where
// they still have the default action: the routine runs, and then the
// default action, so the process ends as it would have.  A signal that
// the program handles or ignores is left alone; the seven fatal signals
// are the failure report's.  The library's own handler (ZULPL_SigHook)
// runs the routine too: before it carries out a default action that ends
// the process, and before it routes one of the signals a program is
// asked to end by (SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2,
// SIGPWR, SIGXCPU, SIGXFSZ), whose handler may end the process without
// coming back.  The routine must be async-signal-safe.
void ZULPL_OnEnding(void (*routine)(void));

#ifdef __cplusplus
}
#endif

#endif
