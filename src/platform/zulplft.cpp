// ZULPL_SigTakeFatal, ZULPL_SigGiveBackFatal: a fatal signal taken over
// for a handler of the library's own, and given back.
//
// The failure report takes the fatal signals at load and gives them back
// at unload; what each signal had before is kept, for the report's
// handler to run after the report and for the unload to put back.
#include "internal/zulfatal.h"

#include <signal.h>

namespace {

bool has_handler(const struct sigaction &action, ZULPL_fatal_t handler)
{
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == handler;
}

} // namespace

int ZULPL_SigTakeFatal(int host, ZULPL_fatal_t handler, ZULPL_sigkept_t *kept)
{
    struct sigaction current;
    if (sigaction(host, nullptr, &current) != 0 || current.sa_handler == SIG_IGN ||
        has_handler(current, handler))
        return 0;
    kept->action = current;
    kept->saved = 1;
    struct sigaction ours = {};
    ours.sa_sigaction = handler;
    sigemptyset(&ours.sa_mask);
    // SA_ONSTACK: a thread that ran off its stack still gets its handler.
    // SA_NODEFER: a fault inside the handler comes back to it, which can
    // cut its work short, instead of the kernel killing the process with
    // the second signal.
    ours.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    if (sigaction(host, &ours, nullptr) != 0) {
        kept->saved = 0;
        return 0;
    }
    return 1;
}

void ZULPL_SigGiveBackFatal(int host, ZULPL_fatal_t handler, const ZULPL_sigkept_t *kept)
{
    struct sigaction current;
    if (!kept->saved || sigaction(host, nullptr, &current) != 0)
        return;
    if (has_handler(current, handler))
        sigaction(host, &kept->action, nullptr);
}
