/*
 * zul/pfm1.h - protected scopes, first failure data capture, and signals
 * turned into faults.
 *
 * A thread opens a protected scope; any code below it, or a signal
 * handler running on the thread, can raise a status.  Control then comes
 * back to where the scope was opened, with that status.  There is no
 * unwinding: the scope's frame is popped and a non-local jump goes back.
 * A synchronous fault (SIGSEGV, SIGFPE, SIGILL, and SIGBUS where a thread
 * asks for it) inside a scope comes back as its fault code, and the
 * process goes on.
 *
 * In C:
 *
 *     PFM1_TRY(scope) {
 *         risky(p);                         protected code
 *     } PFM1_CATCH(scope) {
 *         report(scope.status);             left by a raise
 *     } PFM1_END(scope);
 *
 * In C++ the same three macros wrap the protected code in a noexcept
 * lambda, so that `break`, `continue` and `goto` cannot leave the scope
 * (they do not compile) and an exception cannot pass through it; a
 * `return` ends the protected code normally.  PFM1_Protect(body) is the
 * same for a callable of the caller's.  What a raise jumps over is not
 * unwound in either language: no destructor runs for the objects of the
 * frames it leaves.  docs/faults.md says what may live inside a scope.
 */
#ifndef ZUL_PFM1_H
#define ZUL_PFM1_H

#include <zul/stc1.h>
#include <zul/bss1.h>
#include <zul/sig1.h>

#include <setjmp.h>

/* How a scope keeps its jump state.  The compiler's own non-local jump
 * saves three words inline (frame, stack pointer, resume address) and
 * spills only the registers that are live; it saves no signal mask and
 * makes no call.  Under ThreadSanitizer the C library's _setjmp is used
 * instead, since the sanitizer follows only the jumps it intercepts; a
 * program built with it needs a libzul built with it too.  Either way the
 * state lives in the frame's `jump`, and a raise comes back with 1. */
#if defined(__SANITIZE_THREAD__)
#define PFM1__TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define PFM1__TSAN 1
#endif
#endif
#ifdef PFM1__TSAN
#define PFM1__SAVE(buffer) _setjmp(buffer)
#else
#define PFM1__SAVE(buffer) __builtin_setjmp((void **)(buffer))
#endif

ZUL_BEGIN_DECLS

/* ------------------------------------------------------------------ */
/* Statuses and fault codes                                            */
/* ------------------------------------------------------------------ */

#define PFM1_BAD_RELEASE 0x03040001u      /* a frame was released out of order */
#define PFM1_FRAME_ARMED 0x03040003u      /* `state` of an armed frame */
#define PFM1_UNHANDLED_SIGNAL 0x03040005u /* a signal with nothing to handle it */
#define PFM1_BAD_SIGNAL 0x03040006u       /* a signal number outside 1 to 47 */
#define PFM1_ZERO_RAISED 0x0304FFFFu      /* what a scope sees when 0 was raised */

/* A signal that becomes a fault is raised as a fault code of its own:
 * 0x00120001 for SIG1_SIGSEGV, 0x00120002 SIG1_SIGILL, 0x00120041
 * SIG1_SIGFPE, 0x00120010 SIG1_SIGQUIT, 0x0012001F SIG1_SIGINT,
 * SIG1_SIGTERM and SIG1_SIGHUP, 0x00120005 every other signal.  The codes
 * are numbers only; docs/faults.md lists them. */

/* ------------------------------------------------------------------ */
/* Frames, the thread anchor (TAB) and the process anchor (PAB)        */
/* ------------------------------------------------------------------ */

/* A first failure data capture routine and its argument. */
typedef void (*PFM1_FFDC)(void *argument);

/* A thread's handler of a signal: called with the portable number. */
typedef void (*PFM1_Handler)(int signal);

struct PFM1_TAB;
struct PFM1_PAB;

/* One frame of a thread's stack.  A scope uses two: the frame that was on
 * top when it was entered (its armed frame) holds its jump state, its
 * FFDC routine and the mark PFM1_FRAME_ARMED; the caller's new frame goes
 * on top of it.  So the current scope's data is in tab->top->prev. */
typedef struct PFM1_Frame {
    struct PFM1_Frame *prev; /* the next older frame; null in the base frame */
    struct PFM1_TAB *tab;    /* the TAB on whose stack it stands */
    uint32_t state;          /* PFM1_FRAME_ARMED; the release's result */
    PFM1_FFDC ffdc;          /* FFDC routine of the scope it guards, or null */
    void *ffdcArg;
    jmp_buf jump; /* where a raise out of that scope continues (PFM1__SAVE) */
} PFM1_Frame;

/* A thread's anchor, built at the thread's first PFM1 call and dropped at
 * its end.  Written by its own thread; `signal` may be stored by a
 * handler on another thread, and `inhibit`, `next` and `prev` are read by
 * handlers on any thread. */
typedef struct PFM1_TAB {
    PFM1_Frame *top;                   /* top of the frame stack */
    uint32_t status;                   /* the status of the last raise */
    uint32_t signal;                   /* the last signal seen on its behalf */
    struct PFM1_PAB *pab;
    int32_t inhibit;                   /* the thread's inhibit depth */
    PFM1_Frame base;                   /* the bottom of the stack */
    SIG1_Set signals;                  /* the signals this thread handles */
    PFM1_Handler handlers[SIG1_LAST + 1]; /* by portable number; 0 unused */
    struct PFM1_TAB *next, *prev;      /* links in the PAB's list */
} PFM1_TAB;

/* The process anchor.  The list of TABs is circular through `nil`, a
 * sentinel that is no real TAB; an empty list has `first`, `last` and
 * `nil` equal. */
typedef struct PFM1_PAB {
    int32_t inhibit;           /* how many threads hold the process inhibit */
    SIG1_Set hooked;           /* signals taken over by the library */
    struct PFM1_TAB *first, *last;
    struct PFM1_TAB *nil;
    ZULSS_lock_t lock;         /* guards `hooked` and the links */
} PFM1_PAB;

/* ------------------------------------------------------------------ */
/* Calls                                                               */
/* ------------------------------------------------------------------ */

/* The calling thread's TAB, built at its first use (and the PAB at the
 * process's first).  Null when memory has run out before the TAB could
 * catch faults; a later call tries again. */
ZUL_API PFM1_TAB *PFM1_Thread(void);

/* Makes `handler` the calling thread's handler of portable `signal` and
 * takes the signal over for the process.  A number outside 1 to 47
 * changes nothing.  There is no call to take a handler away. */
ZUL_API void PFM1_Signal(int signal, PFM1_Handler handler);

/* Names the FFDC routine of the current scope (null removes it); nested
 * scopes opened later inherit it.  With no scope open, nothing changes. */
ZUL_API void PFM1__EnableFFDC(PFM1_TAB *tab, PFM1_FFDC routine, void *argument);

/* Runs the current scope's FFDC routine once, if it has one, inside a
 * scope of its own and with no FFDC named there: a raise inside the
 * routine ends the routine only. */
ZUL_API void PFM1__CallFFDC(PFM1_TAB *tab);

/* Pushes `frame`, arming the frame below it: the exported form of what
 * PFM1_TRY does inline.  A null `tab` or `frame` pushes nothing. */
ZUL_API void PFM1__UseFrame(PFM1_TAB *tab, PFM1_Frame *frame);

/* Pops `frame` if it is on top and returns 0.  Otherwise writes "Bad
 * release order: File(%s) Line(%d)" to the log and raises
 * PFM1_BAD_RELEASE into the scope whose frame really is on top. */
ZUL_API uint32_t PFM1__DropFrame(PFM1_TAB *tab, PFM1_Frame *frame, const char *file, int line);

/* Leaves the current scope of `tab` (null: the calling thread's) with
 * `status`: the scope sees `status`, or PFM1_ZERO_RAISED for 0, and
 * tab->status holds `status`.  With no scope open the process ends:
 * exit(0) for status 0; for a fault that a host signal brought, the
 * failure report and the signal's own end; otherwise "Unhandled
 * exception: Status(%08lX)" in the log and exit(-1).  Only the thread
 * that owns `tab` may raise on it. */
ZUL_API void PFM1__Raise(PFM1_TAB *tab, uint32_t status) __attribute__((noreturn));

/* Keep asynchronous signals away from the calling thread, and let them
 * come again.  Counts nest per thread; see docs/faults.md. */
ZUL_API void PFM1_Inhibit(void);
ZUL_API void PFM1_Allow(void);

/* ------------------------------------------------------------------ */
/* The scope protocol, inline                                          */
/* ------------------------------------------------------------------ */

/* A scope's own storage, in the automatic storage of its opener. */
typedef struct PFM1_Scope {
    PFM1_TAB *tab;
    uint32_t status; /* 0 after a normal end, else what the raise gave */
    PFM1_Frame frame;
} PFM1_Scope;

/* The thread's TAB for a scope; without one (no memory) the thread
 * cannot open a scope, and the process ends as for an unhandled raise
 * of STC1_Shortage. */
static inline PFM1_TAB *PFM1__ScopeTAB(void)
{
    PFM1_TAB *tab = PFM1_Thread();
    if (__builtin_expect(tab == NULL, 0))
        PFM1__Raise(NULL, STC1_Shortage);
    return tab;
}

/* Pushes the scope's frame, as PFM1__UseFrame does: the frame below it
 * becomes the armed frame and inherits the enclosing scope's FFDC. */
static inline void PFM1__Push(PFM1_TAB *tab, PFM1_Frame *frame)
{
    PFM1_Frame *armed = tab->top;
    frame->tab = tab;
    if (armed->prev != NULL) {
        armed->ffdc = armed->prev->ffdc;
        armed->ffdcArg = armed->prev->ffdcArg;
    } else {
        armed->ffdc = NULL;
        armed->ffdcArg = NULL;
    }
    armed->state = PFM1_FRAME_ARMED;
    frame->prev = armed;
    tab->top = frame;
    /* A fault in the protected code is taken by a signal handler that
     * reads the stack: the push must be in memory before that code runs,
     * not merged with the release. */
    __atomic_signal_fence(__ATOMIC_SEQ_CST);
}

/* The normal end of a scope: one compare and one store when the frame is
 * on top, PFM1__DropFrame (which raises) when it is not. */
static inline uint32_t PFM1__Release(PFM1_TAB *tab, PFM1_Frame *frame, const char *file, int line)
{
    uint32_t result = 0;
    __atomic_signal_fence(__ATOMIC_SEQ_CST); /* the protected code ends here */
    if (__builtin_expect(tab->top == frame, 1))
        tab->top = frame->prev;
    else
        result = PFM1__DropFrame(tab, frame, file, line);
    frame->state = result;
    return result;
}

/* What a scope left by a raise sees. */
static inline uint32_t PFM1__Caught(const PFM1_TAB *tab)
{
    return tab->status != 0 ? tab->status : PFM1_ZERO_RAISED;
}

ZUL_END_DECLS

#ifndef __cplusplus

/* Opens protected scope `s` (a name for the scope's local record).  The
 * code between PFM1_TRY and PFM1_CATCH is protected; the code between
 * PFM1_CATCH and PFM1_END runs when a raise left it, with s.status
 * holding the raised status (PFM1_ZERO_RAISED for 0).  The protected
 * code must not leave by return, break, continue or goto: its frame would
 * stay on the thread's stack.  Locals that it changes and that are read
 * after a raise must be volatile. */
#define PFM1_TRY(s)                                                           \
    do {                                                                      \
        PFM1_Scope s;                                                         \
        s.tab = PFM1__ScopeTAB();                                             \
        if (PFM1__SAVE(s.tab->top->jump) == 0) {                              \
            PFM1__Push(s.tab, &s.frame);                                      \
            {

#define PFM1_CATCH(s)                                                         \
            }                                                                 \
            s.status = PFM1__Release(s.tab, &s.frame, __FILE__, __LINE__);    \
        } else {                                                              \
            s.status = PFM1__Caught(s.tab);                                   \
        }                                                                     \
        if (s.status != 0) {

#define PFM1_END(s)                                                           \
        }                                                                     \
    } while (0)

#else /* __cplusplus */

/* The scope as a function: runs body() protected, and returns 0 after a
 * normal end or the status a raise left it with.  `body` must be
 * noexcept.  The jump comes back into this function, which stays active
 * while the body runs; it is never inlined, since it saves a jump state. */
template <class Body>
inline uint32_t PFM1__Protect(PFM1_Scope *s, Body &body, const char *file, int line) noexcept
{
    static_assert(noexcept(body()),
                  "a protected body must be noexcept: an exception leaving it would "
                  "leave its frame on the thread's stack");
    s->tab = PFM1__ScopeTAB();
    if (PFM1__SAVE(s->tab->top->jump) == 0) {
        PFM1__Push(s->tab, &s->frame);
        body();
        return PFM1__Release(s->tab, &s->frame, file, line);
    }
    return PFM1__Caught(s->tab);
}

/* Runs `body` (a noexcept callable) in a protected scope; 0 after a
 * normal end, else the raised status (PFM1_ZERO_RAISED for 0). */
template <class Body>
inline uint32_t PFM1_Protect(Body &&body) noexcept
{
    PFM1_Scope s;
    return PFM1__Protect(&s, body, __FILE__, __LINE__);
}

#define PFM1_TRY(s)                                                           \
    do {                                                                      \
        PFM1_Scope s;                                                         \
        auto s##_body_ = [&]() noexcept -> void {

#define PFM1_CATCH(s)                                                         \
        };                                                                    \
        s.status = PFM1__Protect(&s, s##_body_, __FILE__, __LINE__);          \
        if (s.status != 0) {

#define PFM1_END(s)                                                           \
        }                                                                     \
    } while (0)

#endif /* __cplusplus */

#endif /* ZUL_PFM1_H */
