// ZULWN_Fatal: ends the process because of a fatal signal.
//
// For now the process ends as it would have without the library: the
// signal's default action, taken with the handler out of the way and the
// signal unblocked, so the parent sees the same termination signal and a
// core is dumped where the system would dump one.
#include "internal/zulfatal.h"

#include <signal.h>
#include <unistd.h>

void ZULWN_Fatal(int host, siginfo_t *info, void *context)
{
    (void)info;
    (void)context;
    struct sigaction dfl = {};
    dfl.sa_handler = SIG_DFL;
    sigemptyset(&dfl.sa_mask);
    sigaction(host, &dfl, nullptr);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, host);
    sigprocmask(SIG_UNBLOCK, &one, nullptr);
    raise(host);
    // A signal whose default action does not end the process.
    _exit(128 + host);
}
