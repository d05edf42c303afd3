// internal/zulhook.h - the signal layer takes a synchronous fault over at
// the host on behalf of the fault handling.
//
// By default the signals that dump (SIGSEGV among them) stay with the
// host.  When the fault handling takes one of the four processor faults
// over, it asks for the host signal to be hooked all the same, so that a
// fault inside a protected scope comes back to the scope.
#ifndef ZUL_SRC_INTERNAL_ZULHOOK_H
#define ZUL_SRC_INTERNAL_ZULHOOK_H

#ifdef __cplusplus
extern "C" {
#endif

// Hooks the host signal of portable `signal` if it is SIG1_SIGSEGV,
// SIG1_SIGBUS, SIG1_SIGILL or SIG1_SIGFPE, the host has it, and ZUL_SIG1
// does not say "-syncoff".  1 if the signal now reaches the library's
// handler, 0 if it stays with the host, -1 if the calling thread's signal
// block could not be built (no memory): nothing was done.
int SIG1C_HookFault(int signal);

#ifdef __cplusplus
}
#endif

#endif
