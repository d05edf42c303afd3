/*
 * zul/sig1.h - portable signals.
 *
 * Every signal has a fixed portable number from 1 to 47 and a name; a
 * table says which of them the host has and under which host number
 * (docs/signals.md gives the Linux table).  Dispositions live in the
 * library and are shared by the process; each thread has a blocked set
 * that the host's mask of the thread follows.
 *
 * Nothing is hooked while the library is merely loaded.  The first SIG1
 * call on a thread (other than SIG1_SignalName) builds the family's
 * state, reads ZUL_SIG1 once for the process, and hooks the host signals
 * that ZUL_SIG1 does not disable, so that a host signal arrives as a
 * portable one at its portable handler.  A hooked signal whose portable
 * disposition is the default action gets what the host would have done
 * without the library: the handler the program had installed before, or
 * the host's own default action (end, dump, stop, ignore).
 */
#ifndef ZUL_SIG1_H
#define ZUL_SIG1_H

#include <zul/stc1.h>

ZUL_BEGIN_DECLS

/* ------------------------------------------------------------------ */
/* Portable signal numbers: the place of the name in alphabetical order */
/* ------------------------------------------------------------------ */

enum {
    SIG1_SIGABRT = 1,
    SIG1_SIGALL = 2,
    SIG1_SIGALRM = 3,
    SIG1_SIGBREAK = 4,
    SIG1_SIGBUS = 5,
    SIG1_SIGCHLD = 6,
    SIG1_SIGCONT = 7,
    SIG1_SIGDANGER = 8,
    SIG1_SIGDIL = 9,
    SIG1_SIGEMT = 10,
    SIG1_SIGFPE = 11,
    SIG1_SIGGRANT = 12,
    SIG1_SIGHUP = 13,
    SIG1_SIGILL = 14,
    SIG1_SIGINFO = 15,
    SIG1_SIGINT = 16,
    SIG1_SIGIO = 17,
    SIG1_SIGKILL = 18,
    SIG1_SIGLOST = 19,
    SIG1_SIGMIGRATE = 20,
    SIG1_SIGOTHER = 21,
    SIG1_SIGPIPE = 22,
    SIG1_SIGPRE = 23,
    SIG1_SIGPROF = 24,
    SIG1_SIGPWR = 25,
    SIG1_SIGQUIT = 26,
    SIG1_SIGRETRACT = 27,
    SIG1_SIGSAK = 28,
    SIG1_SIGSEGV = 29,
    SIG1_SIGSOUND = 30,
    SIG1_SIGSTOP = 31,
    SIG1_SIGSYS = 32,
    SIG1_SIGTERM = 33,
    SIG1_SIGTRAP = 34,
    SIG1_SIGTSTP = 35,
    SIG1_SIGTTIN = 36,
    SIG1_SIGTTOU = 37,
    SIG1_SIGURG = 38,
    SIG1_SIGUSR1 = 39,
    SIG1_SIGUSR2 = 40,
    SIG1_SIGUSR3 = 41,
    SIG1_SIGUSR4 = 42,
    SIG1_SIGVIRT = 43,
    SIG1_SIGVTALRM = 44,
    SIG1_SIGWINCH = 45,
    SIG1_SIGXCPU = 46,
    SIG1_SIGXFSZ = 47
};

#define SIG1_FIRST 1
#define SIG1_LAST 47

/* ------------------------------------------------------------------ */
/* Signal sets                                                         */
/* ------------------------------------------------------------------ */

/* 64 bits as two 32-bit words: signal n is bit (n-1) mod 32 of word
 * (n-1) / 32.  A number outside 1 to 47 is in no set, and adding one
 * changes nothing. */
typedef struct SIG1_Set {
    uint32_t word[2];
} SIG1_Set;

static inline void SIG1_EmptySet(SIG1_Set *set)
{
    set->word[0] = 0;
    set->word[1] = 0;
}

static inline void SIG1_AddSet(SIG1_Set *set, int signal)
{
    if (signal >= SIG1_FIRST && signal <= SIG1_LAST)
        set->word[(signal - 1) / 32] |= (uint32_t)1 << ((signal - 1) % 32);
}

static inline void SIG1_DelSet(SIG1_Set *set, int signal)
{
    if (signal >= SIG1_FIRST && signal <= SIG1_LAST)
        set->word[(signal - 1) / 32] &= ~((uint32_t)1 << ((signal - 1) % 32));
}

static inline int SIG1_IsMember(const SIG1_Set *set, int signal)
{
    if (signal < SIG1_FIRST || signal > SIG1_LAST)
        return 0;
    return (set->word[(signal - 1) / 32] >> ((signal - 1) % 32)) & 1u;
}

/* ------------------------------------------------------------------ */
/* Dispositions                                                        */
/* ------------------------------------------------------------------ */

/* A portable handler: called with the portable number, on the thread on
 * which the host delivered the signal (or that called SIG1_Raise).  When
 * the signal came from the host it runs inside the host's signal handler,
 * so it must itself be async-signal-safe.  It may leave by a non-local
 * jump. */
typedef void (*SIG1_Handler)(int signal);

/* The two dispositions that are not routines, and the error answer of
 * SIG1_Signal. */
#define SIG1_DFL ((SIG1_Handler)(uintptr_t)0)
#define SIG1_IGN ((SIG1_Handler)(uintptr_t)1)
#define SIG1_ERR ((SIG1_Handler)(uintptr_t)-1)

/* The disposition of a signal.  `mask` and `flags` are kept for the
 * caller; nothing acts on them. */
typedef struct SIG1_ActionRecord {
    SIG1_Handler handler; /* a routine, SIG1_DFL (default action) or SIG1_IGN */
    SIG1_Set mask;
    uint32_t flags;
} SIG1_ActionRecord;

/* Copies the disposition of `signal` into *oldAction (if not null), then
 * sets it from *action (if not null).  The host is not called: it was
 * hooked when the family was first used.  Dispositions are shared by all
 * threads and changed without a lock; callers that change one signal from
 * several threads serialise themselves.  SIGKILL and SIGSTOP take a
 * disposition too, but the host never delivers them to it: only
 * SIG1_Raise does.
 *   STC1_Success; STC1_BadArgument for `signal` outside 1 to 47 (nothing
 *   is copied); STC1_Shortage when the thread's state cannot be built. */
ZUL_API int SIG1_Action(int signal, const SIG1_ActionRecord *action, SIG1_ActionRecord *oldAction);

/* Sets `handler` with an empty mask and flags 4, and returns the handler
 * before; SIG1_ERR for `signal` outside 1 to 47. */
ZUL_API SIG1_Handler SIG1_Signal(int signal, SIG1_Handler handler);

/* The name of `signal` ("SIG1_SIGTERM"), a static text; "<bad signal>"
 * outside 1 to 47.  Never null.  Builds nothing and hooks nothing. */
ZUL_API const char *SIG1_SignalName(int signal);

/* Carries out the disposition of `signal` on the calling thread: calls
 * its handler, or does nothing for SIG1_IGN.  For SIG1_DFL, a signal that
 * the host has is raised at the host for this thread, as raise() does, so
 * the host's default action (or the handler that the program installed
 * before the library hooked) follows, subject to the thread's mask; one
 * that the host lacks is dropped.  The thread's mask is not consulted
 * for a handler.
 *   STC1_Success; STC1_BadArgument outside 1 to 47; STC1_Shortage. */
ZUL_API int SIG1_Raise(int signal);

/* ------------------------------------------------------------------ */
/* Masks, pending signals, waiting                                     */
/* ------------------------------------------------------------------ */

/* `how` of SIG1_ProcMask. */
#define SIG1_BLOCK 0   /* add `set` to the mask */
#define SIG1_UNBLOCK 1 /* take `set` out of it */
#define SIG1_SETMASK 2 /* replace the mask by `set` */

/* The calling thread's blocked set.  *oldSet (if not null) gets the mask
 * before any change; then `set` (if not null) is applied by `how`.  The
 * host's mask of the thread follows: a signal the host has is blocked
 * there exactly when it is in the portable mask, and a change made to
 * the host mask directly shows in *oldSet.  SIGKILL and SIGSTOP, and the
 * signals the host lacks, are kept in the mask as bookkeeping only.
 *   STC1_Success; STC1_BadArgument for a bad `how` with a `set` (the
 *   mask is unchanged; *oldSet is still filled); STC1_SystemError if the
 *   host refused; STC1_Shortage. */
ZUL_API int SIG1_ProcMask(int how, const SIG1_Set *set, SIG1_Set *oldSet);

/* *set gets the signals pending for the calling thread or the process
 * (blocked ones that have arrived).
 *   STC1_Success; STC1_BadArgument for a null `set`; STC1_SystemError;
 *   STC1_Shortage. */
ZUL_API int SIG1_Pending(SIG1_Set *set);

/* Replaces the calling thread's mask by *mask and waits until a signal
 * has been caught (the library's handler ran, whatever the portable
 * disposition, or another handler of the program), then puts the mask
 * back.
 *   STC1_Success after a handler ran; STC1_BadArgument for a null
 *   `mask`; STC1_SystemError; STC1_Shortage. */
ZUL_API int SIG1_Suspend(const SIG1_Set *mask);

/* Waits for one of the signals of *set to arrive and takes it, without
 * running any handler; *signal (if not null) gets its portable number.
 * The set is blocked on the calling thread while it waits; other threads
 * must block it too (SIG1_ProcMask) for a signal sent to the process to
 * be sure of reaching the waiter.
 *   STC1_Success; STC1_BadArgument for a null `set` or one that holds no
 *   signal the host can deliver (SIGKILL and SIGSTOP cannot be waited
 *   for); STC1_SystemError; STC1_Shortage. */
ZUL_API int SIG1_Wait(const SIG1_Set *set, int *signal);

/* ------------------------------------------------------------------ */
/* What the host offers                                                */
/* ------------------------------------------------------------------ */

/* Filled by SIG1_Query as far as the given size reaches: a field is
 * filled only if the size covers its end. */
typedef struct SIG1_QueryRecord {
    uint32_t lowest;     /* lowest available portable number; size >= 4 */
    uint32_t highest;    /* highest available portable number; size >= 8 */
    SIG1_Set available;  /* the signals the host has; size >= 16 */
    uint32_t asyncCount; /* how many of them are asynchronous; size >= 20 */
    SIG1_Set async;      /* the asynchronous ones; size >= 28 */
} SIG1_QueryRecord;

/* Zeroes `size` bytes of *record, at most sizeof(SIG1_QueryRecord), and
 * fills the fields they cover; memory behind the record is not touched.
 *   STC1_Success; STC1_BadArgument for a null record or a size of 0;
 *   STC1_Shortage. */
ZUL_API int SIG1_Query(SIG1_QueryRecord *record, uint32_t size);

ZUL_END_DECLS

#endif /* ZUL_SIG1_H */
