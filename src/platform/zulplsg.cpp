// The host's signals: numbers, hooking, masks, waiting, and the default
// action.
//
// The library's handler is installed with sigaction for the whole
// process.  The disposition that a signal had before is kept here, and
// when the library's routine answers ZULPL_SIG_DEFAULT it is carried out
// as the host would have done: the program's handler is called with the
// same siginfo and context, an ignored signal is ignored, and a default
// action is done by the host itself, after the library's handler has
// been taken out of the way.  Everything reached from the handler is
// async-signal-safe: atomics, sigaction, sigprocmask, raise, write.
#include "platform/zulplsg.h"
#include "internal/zulfatal.h"
#include "platform/zulplat.h"

#include <atomic>
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

// The Linux number of each portable signal, in portable order.
constinit const int32_t ZULPL_hostSignals[49] = {
    0,         // 0: no signal
    SIGABRT,   // 1 SIGABRT
    0,         // 2 SIGALL
    SIGALRM,   // 3 SIGALRM
    0,         // 4 SIGBREAK
    SIGBUS,    // 5 SIGBUS
    SIGCHLD,   // 6 SIGCHLD
    SIGCONT,   // 7 SIGCONT
    0,         // 8 SIGDANGER
    0,         // 9 SIGDIL
    0,         // 10 SIGEMT
    SIGFPE,    // 11 SIGFPE
    0,         // 12 SIGGRANT
    SIGHUP,    // 13 SIGHUP
    SIGILL,    // 14 SIGILL
    0,         // 15 SIGINFO
    SIGINT,    // 16 SIGINT
    SIGIO,     // 17 SIGIO
    SIGKILL,   // 18 SIGKILL
    0,         // 19 SIGLOST
    0,         // 20 SIGMIGRATE
    0,         // 21 SIGOTHER
    SIGPIPE,   // 22 SIGPIPE
    0,         // 23 SIGPRE
    SIGPROF,   // 24 SIGPROF
    SIGPWR,    // 25 SIGPWR
    SIGQUIT,   // 26 SIGQUIT
    0,         // 27 SIGRETRACT
    0,         // 28 SIGSAK
    SIGSEGV,   // 29 SIGSEGV
    0,         // 30 SIGSOUND
    SIGSTOP,   // 31 SIGSTOP
    SIGSYS,    // 32 SIGSYS
    SIGTERM,   // 33 SIGTERM
    SIGTRAP,   // 34 SIGTRAP
    SIGTSTP,   // 35 SIGTSTP
    SIGTTIN,   // 36 SIGTTIN
    SIGTTOU,   // 37 SIGTTOU
    SIGURG,    // 38 SIGURG
    SIGUSR1,   // 39 SIGUSR1
    SIGUSR2,   // 40 SIGUSR2
    0,         // 41 SIGUSR3
    0,         // 42 SIGUSR4
    0,         // 43 SIGVIRT
    SIGVTALRM, // 44 SIGVTALRM
    SIGWINCH,  // 45 SIGWINCH
    SIGXCPU,   // 46 SIGXCPU
    SIGXFSZ,   // 47 SIGXFSZ
    0,         // 48: no signal
};

static_assert(ZULPL_SIG_HIGHEST == _NSIG - 1, "host signal sets are one 64-bit word");

namespace {

// The disposition a signal had when the library hooked it.  `mask` is
// written before `hooked` is set with release order, and read after it
// has been seen with acquire order.
struct Previous {
    std::atomic<int> hooked;
    std::atomic<uintptr_t> handler; // sa_handler or sa_sigaction
    std::atomic<int> flags;
    sigset_t mask;
};

constinit Previous previous[ZULPL_SIG_HIGHEST + 1] = {};
constinit std::atomic<ZULPL_sigroute_t> route{nullptr};

typedef void (*plain_handler_t)(int);
typedef void (*info_handler_t)(int, siginfo_t *, void *);

const uintptr_t kDefault = reinterpret_cast<uintptr_t>(SIG_DFL);
const uintptr_t kIgnore = reinterpret_cast<uintptr_t>(SIG_IGN);

uint64_t bits_of(const sigset_t *set)
{
    uint64_t bits = 0;
    for (int h = 1; h <= ZULPL_SIG_HIGHEST; h++)
        if (sigismember(set, h) == 1)
            bits |= ZULPL_SigBit(h);
    return bits;
}

// `base` with the signals of `affected` set as `blocked` has them.
sigset_t merged(const sigset_t *base, uint64_t affected, uint64_t blocked)
{
    sigset_t set = *base;
    for (int h = 1; h <= ZULPL_SIG_HIGHEST; h++) {
        if ((affected & ZULPL_SigBit(h)) == 0)
            continue;
        if (blocked & ZULPL_SigBit(h))
            sigaddset(&set, h);
        else
            sigdelset(&set, h);
    }
    return set;
}

// Signals whose default action is to do nothing.
bool ignored_by_default(int h)
{
    return h == SIGCHLD || h == SIGCONT || h == SIGURG || h == SIGWINCH;
}

// Signals whose default action stops the process.
bool stops_by_default(int h)
{
    return h == SIGSTOP || h == SIGTSTP || h == SIGTTIN || h == SIGTTOU;
}

// What runs before a signal ends the process: the log's writing out of
// what it holds (ZULPL_OnEnding), or null.
constinit std::atomic<void (*)(void)> ending{nullptr};

void run_ending()
{
    void (*routine)(void) = ending.load(std::memory_order_acquire);
    if (routine != nullptr)
        routine();
}

// The signals a program is asked to end by: their handler may end the
// process without coming back (with _exit, say), so the routine runs
// before it.
bool asks_to_end(int h)
{
    return h == SIGTERM || h == SIGINT || h == SIGHUP || h == SIGQUIT || h == SIGUSR1 ||
           h == SIGUSR2 || h == SIGPWR || h == SIGXCPU || h == SIGXFSZ;
}

// Faults that the processor raises: after a return from the handler the
// instruction runs again and faults again.
bool is_fault(int h, const siginfo_t *info)
{
    return (h == SIGSEGV || h == SIGBUS || h == SIGFPE || h == SIGILL) && info != nullptr &&
           info->si_code > 0;
}

// The host's default action for `h`, from inside the library's handler,
// where `h` is blocked.  A fault is left to happen again with the default
// disposition in place; any other signal is raised again with it and
// then unblocked, so the host ends, dumps or stops the process exactly as
// it would have.  If the process is stopped and continued, the library's
// handler and the mask are put back.
void host_default(int h, const siginfo_t *info)
{
    if (ignored_by_default(h))
        return;
    if (!stops_by_default(h))
        run_ending();
    struct sigaction dfl = {};
    dfl.sa_handler = SIG_DFL;
    sigemptyset(&dfl.sa_mask);
    struct sigaction ours;
    if (sigaction(h, &dfl, &ours) != 0)
        return;
    if (is_fault(h, info))
        return;
    raise(h);
    sigset_t one, saved;
    sigemptyset(&one);
    sigaddset(&one, h);
    sigprocmask(SIG_UNBLOCK, &one, &saved);
    sigprocmask(SIG_SETMASK, &saved, nullptr);
    sigaction(h, &ours, nullptr);
}

// What the host would have done without the library.
void carry_out_previous(int h, siginfo_t *info, void *context)
{
    Previous &p = previous[h];
    uintptr_t handler = kDefault;
    int flags = 0;
    if (p.hooked.load(std::memory_order_acquire)) {
        handler = p.handler.load(std::memory_order_acquire);
        flags = p.flags.load(std::memory_order_relaxed);
    }
    if (handler == kIgnore)
        return;
    if (handler == kDefault) {
        host_default(h, info);
        return;
    }
    // A one-shot handler is the default action from now on.
    if (flags & SA_RESETHAND)
        p.handler.store(kDefault, std::memory_order_release);

    // The program's handler runs with the mask it asked for.
    sigset_t add = p.mask, saved;
    if (flags & SA_NODEFER)
        sigdelset(&add, h);
    sigprocmask(SIG_BLOCK, &add, &saved);
    if (flags & SA_NODEFER) {
        sigset_t one;
        sigemptyset(&one);
        sigaddset(&one, h);
        sigprocmask(SIG_UNBLOCK, &one, nullptr);
    }
    if (flags & SA_SIGINFO)
        reinterpret_cast<info_handler_t>(handler)(h, info, context);
    else
        reinterpret_cast<plain_handler_t>(handler)(h);
    sigprocmask(SIG_SETMASK, &saved, nullptr);
}

// The signal being handled on this thread, innermost first.  Static TLS,
// so that reading it in a handler never allocates.
constinit thread_local __attribute__((tls_model("initial-exec")))
const ZULPL_sigframe_t *currentFrame = nullptr;

void host_handler(int h, siginfo_t *info, void *context)
{
    const int savedErrno = errno;
    // Code that leaves by a jump drops the frame with ZULPL_SigLeave.
    ZULPL_sigframe_t frame = {h, info, context, currentFrame};
    currentFrame = &frame;
    if (asks_to_end(h))
        run_ending();
    ZULPL_sigroute_t r = route.load(std::memory_order_acquire);
    if (r == nullptr || r(h) == ZULPL_SIG_DEFAULT)
        carry_out_previous(h, info, context);
    currentFrame = frame.outer;
    errno = savedErrno;
}

} // namespace

const ZULPL_sigframe_t *ZULPL_SigCurrent(void)
{
    return currentFrame;
}

void ZULPL_SigLeave(void)
{
    if (currentFrame != nullptr)
        currentFrame = currentFrame->outer;
}

uint64_t ZULPL_SigUncatchable(void)
{
    return ZULPL_SigBit(SIGKILL) | ZULPL_SigBit(SIGSTOP);
}

uint64_t ZULPL_SigSynchronous(void)
{
    return ZULPL_SigBit(SIGSEGV) | ZULPL_SigBit(SIGBUS) | ZULPL_SigBit(SIGILL) | ZULPL_SigBit(SIGFPE) |
           ZULPL_SigBit(SIGTRAP) | ZULPL_SigBit(SIGSYS) | ZULPL_SigBit(SIGABRT) | ZULPL_SigBit(SIGPIPE);
}

int ZULPL_SigHook(int h, ZULPL_sigroute_t r)
{
    if (h < 1 || h > ZULPL_SIG_HIGHEST || (ZULPL_SigUncatchable() & ZULPL_SigBit(h)))
        return ZULPL_HOOK_CANNOT;
    route.store(r, std::memory_order_release);

    struct sigaction cur;
    if (sigaction(h, nullptr, &cur) != 0)
        return ZULPL_HOOK_CANNOT;
    const bool info = (cur.sa_flags & SA_SIGINFO) != 0;
    if (info && cur.sa_sigaction == host_handler)
        return ZULPL_HOOK_ALREADY;
    const uintptr_t handler = info ? reinterpret_cast<uintptr_t>(cur.sa_sigaction)
                                   : reinterpret_cast<uintptr_t>(cur.sa_handler);
    // Replacing "ignore" by a handler would change what the kernel does
    // (children reaped by themselves, background terminal output allowed),
    // so an ignored signal stays with the host.
    if (handler == kIgnore)
        return ZULPL_HOOK_IGNORED;

    Previous &p = previous[h];
    p.mask = cur.sa_mask;
    p.flags.store(cur.sa_flags, std::memory_order_relaxed);
    p.handler.store(handler, std::memory_order_relaxed);
    p.hooked.store(1, std::memory_order_release);

    // System calls are restarted after the signal as signal() does, unless
    // the program's own handler asked for them to be interrupted; the
    // child-signal flags of the program's action are kept.
    struct sigaction ours = {};
    ours.sa_sigaction = host_handler;
    sigemptyset(&ours.sa_mask);
    ours.sa_flags = SA_SIGINFO | SA_ONSTACK;
    if (handler == kDefault || (cur.sa_flags & SA_RESTART))
        ours.sa_flags |= SA_RESTART;
    if (h == SIGCHLD)
        ours.sa_flags |= cur.sa_flags & (SA_NOCLDSTOP | SA_NOCLDWAIT);
    if (sigaction(h, &ours, nullptr) != 0)
        return ZULPL_HOOK_CANNOT;
    return ZULPL_HOOK_NEW;
}

int ZULPL_SigSetMask(uint64_t affected, uint64_t blocked, uint64_t *old)
{
    sigset_t cur;
    if (pthread_sigmask(SIG_BLOCK, nullptr, &cur) != 0)
        return -1;
    if (old != nullptr)
        *old = bits_of(&cur);
    if (affected == 0)
        return 0;
    sigset_t next = merged(&cur, affected, blocked);
    return pthread_sigmask(SIG_SETMASK, &next, nullptr) == 0 ? 0 : -1;
}

int ZULPL_SigPending(uint64_t *pending)
{
    sigset_t set;
    if (sigpending(&set) != 0)
        return -1;
    *pending = bits_of(&set);
    return 0;
}

int ZULPL_SigSuspend(uint64_t affected, uint64_t blocked)
{
    sigset_t cur;
    if (pthread_sigmask(SIG_BLOCK, nullptr, &cur) != 0)
        return -1;
    sigset_t during = merged(&cur, affected, blocked);
    // sigsuspend only ever comes back with EINTR, after a handler ran.
    sigsuspend(&during);
    return errno == EINTR ? 0 : -1;
}

int ZULPL_SigWait(uint64_t bits, int *host)
{
    sigset_t set, saved;
    sigemptyset(&set);
    for (int h = 1; h <= ZULPL_SIG_HIGHEST; h++)
        if (bits & ZULPL_SigBit(h))
            sigaddset(&set, h);
    if (pthread_sigmask(SIG_BLOCK, &set, &saved) != 0)
        return -1;
    int h;
    do
        h = sigwaitinfo(&set, nullptr);
    while (h < 0 && errno == EINTR);
    pthread_sigmask(SIG_SETMASK, &saved, nullptr);
    if (h < 0)
        return -1;
    *host = h;
    return 0;
}

int ZULPL_SigRaise(int h)
{
    return raise(h);
}

void ZULPL_SigWriteOut(const char *text, size_t length)
{
    ZULPL_WriteAll(STDOUT_FILENO, text, length);
}

namespace {

// The handler of a signal taken by ZULPL_OnEnding: the routine, then the
// default action, which ends the process.
void ending_handler(int h, siginfo_t *info, void *)
{
    const int savedErrno = errno;
    host_default(h, info);
    errno = savedErrno;
}

} // namespace

void ZULPL_OnEnding(void (*routine)(void))
{
    static constexpr int kEnding[] = {SIGTERM, SIGINT,  SIGHUP,    SIGQUIT, SIGPIPE,
                                      SIGALRM, SIGUSR1, SIGUSR2,   SIGXCPU, SIGXFSZ,
                                      SIGVTALRM, SIGPROF, SIGIO, SIGPWR,  SIGSTKFLT};
    ending.store(routine, std::memory_order_release);
    if (routine == nullptr)
        return;
    for (int h : kEnding) {
        struct sigaction cur;
        if (sigaction(h, nullptr, &cur) != 0 || (cur.sa_flags & SA_SIGINFO) != 0 ||
            cur.sa_handler != SIG_DFL)
            continue;
        struct sigaction ours = {};
        ours.sa_sigaction = ending_handler;
        ours.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
        sigemptyset(&ours.sa_mask);
        sigaction(h, &ours, nullptr);
    }
}
