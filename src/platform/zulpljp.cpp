// Leaving the host's signal handler by a non-local jump: the handler
// frames left behind and the thread's mask.
//
// Which handlers a jump leaves is told by the stack.  The kernel puts a
// handler's context on the stack the handler runs on: the thread's own
// stack, or its alternate stack when the thread has run there.  A handler
// is left by a jump to a scope when the handler started after the scope
// was opened: both on one stack, the handler's context lies below the
// scope's frame; on different stacks, the handler runs on the alternate
// stack and the scope was opened on the thread's own.
#include "platform/zulpljp.h"

#include <signal.h>
#include <stdint.h>
#include <ucontext.h>

namespace {

bool on_alternate(const stack_t &alt, uintptr_t address)
{
    if (alt.ss_flags & SS_DISABLE)
        return false;
    const uintptr_t low = reinterpret_cast<uintptr_t>(alt.ss_sp);
    return address >= low && address - low < alt.ss_size;
}

bool started_after(const stack_t &alt, const ZULPL_sigframe_t *frame, uintptr_t scope)
{
    const uintptr_t handler = reinterpret_cast<uintptr_t>(frame->context);
    const bool handlerAlt = on_alternate(alt, handler);
    if (handlerAlt != on_alternate(alt, scope))
        return handlerAlt;
    return handler < scope;
}

bool is_fault_signal(int host)
{
    return host == SIGSEGV || host == SIGBUS || host == SIGILL || host == SIGFPE;
}

} // namespace

const ZULPL_sigframe_t *ZULPL_SigFault(void)
{
    const ZULPL_sigframe_t *frame = ZULPL_SigCurrent();
    return frame != nullptr && is_fault_signal(frame->host) ? frame : nullptr;
}

int ZULPL_SigMustLeave(const ZULPL_sigframe_t *frame)
{
    return frame != nullptr && is_fault_signal(frame->host) && frame->info != nullptr &&
           frame->info->si_code > 0;
}

void ZULPL_SigOpenMask(void)
{
    const ZULPL_sigframe_t *frame = ZULPL_SigCurrent();
    if (frame != nullptr && frame->context != nullptr)
        pthread_sigmask(SIG_SETMASK, &static_cast<const ucontext_t *>(frame->context)->uc_sigmask,
                        nullptr);
}

void ZULPL_SigJumpOut(const void *scope)
{
    const ZULPL_sigframe_t *frame = ZULPL_SigCurrent();
    if (frame == nullptr)
        return;
    stack_t alt;
    if (sigaltstack(nullptr, &alt) != 0)
        alt.ss_flags = SS_DISABLE;
    const uintptr_t at = reinterpret_cast<uintptr_t>(scope);
    const ucontext_t *oldest = nullptr;
    while (frame != nullptr && frame->context != nullptr && started_after(alt, frame, at)) {
        oldest = static_cast<const ucontext_t *>(frame->context);
        ZULPL_SigLeave();
        frame = ZULPL_SigCurrent();
    }
    if (oldest != nullptr)
        pthread_sigmask(SIG_SETMASK, &oldest->uc_sigmask, nullptr);
}
