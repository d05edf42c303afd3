// platform/zulplrp.h - what the failure report asks of the host while a
// process dies.  Linux (glibc) implementation.
//
// Every call here is async-signal-safe, unless its comment says it is for
// the time of the library's load: the report is written inside the
// handler of a fatal signal, on a thread that may hold any lock of the C
// library.  None takes a lock, allocates or touches a stream.
#ifndef ZUL_SRC_PLATFORM_ZULPLRP_H
#define ZUL_SRC_PLATFORM_ZULPLRP_H

#include <stddef.h>
#include <stdint.h>
#include <ucontext.h>

#include "internal/zulfatal.h"

#ifdef __cplusplus
extern "C" {
#endif

// The kernel's ID of the calling thread, asked afresh: ZULPL_ThreadId's
// per-thread copy may not be reachable from a handler.
int ZULPL_RawThreadId(void);

// The machine's network name and the kernel's release, each cut to fit
// and terminated; 0, or -1 when the host does not say (both are then
// empty).
int ZULPL_HostNames(char *node, size_t nodeSize, char *release, size_t releaseSize);

// Opens `path` to append a report: made with mode 0644 if it is not
// there, close-on-exec, never the process's terminal, and without waiting
// for a reader of a FIFO.  The descriptor, or -1 with the reason in errno.
int ZULPL_OpenReport(const char *path);

// Opens `path` for reading, close-on-exec: the descriptor, or -1.
int ZULPL_OpenRead(const char *path);

// Up to `size` bytes from `fd`, going on after a signal: how many, 0 at
// the end, -1 on an error.
long ZULPL_Read(int fd, void *buffer, size_t size);

void ZULPL_Close(int fd);

// Copies `length` bytes at `address` of this process to `to` through the
// kernel, which refuses an address that is not mapped or not readable
// where a plain read would fault: 1 if all of it came, else 0.
int ZULPL_ReadMemory(uintptr_t address, void *to, size_t length);

// SIGALRM to the process in `seconds`; 0 cancels the one asked for.
void ZULPL_Alarm(unsigned seconds);

// Sends host signal `host` to thread `tid` of this process.
void ZULPL_SignalThread(int tid, int host);

// Puts `handler` on host signal `host` as the fatal signals have theirs
// (ZULPL_SigTakeFatal), keeping nothing of what was there: for the time
// of a report that ends the process.
void ZULPL_SigCatch(int host, ZULPL_fatal_t handler);

// Gives host signal `host` its default action again.
void ZULPL_SigSetDefault(int host);

// Carries out the default action of host signal `host` now, which ends
// the process for every signal the report is written for: the parent
// sees that signal, and a core is dumped where the system dumps one.
// Should the signal not end it, the process exits with 128 + `host`.
[[noreturn]] void ZULPL_SigDie(int host);

// The calling thread's registers, as a signal's context would give them.
void ZULPL_SaveContext(ucontext_t *context);

// Runs `routine` on the `size` bytes of stack at `stack`, then comes back
// on the caller's stack: 1, or 0 when the stack could not be switched to
// (the caller runs the routine where it is).  One at a time.
int ZULPL_RunOnStack(void *stack, size_t size, void (*routine)(void));

// Maps `size` bytes for a stack of ZULPL_RunOnStack: its address, or null.
// For the time of the library's load.
void *ZULPL_MapStack(size_t size);

// A shared library loaded for a while by name (ZULPL_LoadRoutine keeps
// its library for good): the library, or null with the loader's reason
// in *why and errno as the loader left it.  ZULPL_LibraryRoutine finds a
// routine in it by name (null if there is none); ZULPL_CloseLibrary gives
// it back.  Not async-signal-safe: the report's symbol section, which
// calls these, runs after everything that must be, and an alarm cuts it
// short if the loader's lock is held.
void *ZULPL_OpenLibrary(const char *name, const char **why);
void *ZULPL_LibraryRoutine(void *library, const char *name);
void ZULPL_CloseLibrary(void *library);

#ifdef __cplusplus
}
#endif

#endif
