// platform/zulplat.h - the operating-system layer.
//
// Everything the library needs of the host goes through these few calls,
// so that the families above speak only of locks, slots, ticks and
// threads.  This is the Linux (glibc) implementation.
#ifndef ZUL_SRC_PLATFORM_ZULPLAT_H
#define ZUL_SRC_PLATFORM_ZULPLAT_H

#include <stddef.h>
#include <stdio.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// A recursive mutex with an unlimited wait.  Create never returns null:
// without memory it hands out one of a reserve of static mutexes, and with
// those used up it waits for memory.  In a forked child every mutex that
// a thread other than the forking one held is free again.
void *ZULPL_MutexCreate(void);
void ZULPL_MutexLock(void *mutex);
void ZULPL_MutexUnlock(void *mutex);
void ZULPL_MutexDestroy(void *mutex);

// Whether the calling thread holds `mutex` now, at any depth.  Exact for
// the calling thread (the mutex records its owner), so it can check a
// precondition; false for a null mutex.
int ZULPL_MutexHeld(void *mutex);

// One thread-local slot.  `atThreadEnd` is called with the slot's value
// when a thread whose value is not null ends; it plays the loader's
// thread-detach call.  Returns 0 on success.
int ZULPL_TlsAlloc(uint32_t *index, void (*atThreadEnd)(void *value));
void *ZULPL_TlsGet(uint32_t index);
void ZULPL_TlsSet(uint32_t index, void *value);

// The kernel's ID of the calling thread; never 0.
uint32_t ZULPL_ThreadId(void);

// Ends the calling thread with the given exit code.
void ZULPL_ExitThread(int code) __attribute__((noreturn));

// A thread that the library starts for itself (the console server's),
// named by this word until it has been joined.
typedef struct ZULPL_thread {
    uintptr_t word;
} ZULPL_thread_t;

// Starts `routine(argument)` on a new thread.  The thread takes no
// asynchronous signal, so that the program's handlers and sigwait loops
// keep theirs; the synchronous ones stay open (ZULPL_SigSynchronous), so
// that a fault on it meets a protected scope or the failure report as on
// any other thread.  The caller's own mask is as it was.  0, or the
// reason.
int ZULPL_ThreadStart(ZULPL_thread_t *thread, void *(*routine)(void *), void *argument);

// Waits for `thread` to end.
void ZULPL_ThreadJoin(ZULPL_thread_t thread);

// Whether `thread` is the calling thread.
int ZULPL_ThreadIsCaller(ZULPL_thread_t thread);

// Names the calling thread for `ps -L`, `top` and a debugger: up to 15
// bytes of `name` are kept.
void ZULPL_ThreadName(const char *name);

// Sleeps while `*word` holds `expected`, until ZULPL_WakeWord on the same
// word or for at most `milliseconds` (0: no limit); may also return early
// (a signal, or for no reason), so the caller looks at the word again.
// Returns at once when the word has moved on.
void ZULPL_WaitWord(uint32_t *word, uint32_t expected, uint32_t milliseconds);

// Wakes every thread asleep in ZULPL_WaitWord on `word`.  Async-signal-safe.
void ZULPL_WakeWord(uint32_t *word);

// Ends the process with the given status as exit() does: the program's
// exit handlers run and its streams are flushed.
void ZULPL_ExitProcess(int status) __attribute__((noreturn));

// Writes the message that `format` makes (printf's directives) to
// standard error and ends the process with abort(): for a state that
// the library cannot go on from (a construction that cannot be done, a
// broken invariant).  Standard output is the program's, and may be the
// log itself, so the message goes to standard error, in one write that
// no lock or buffer of the C library's streams stands in front of.
void ZULPL_Abort(const char *format, ...)
    __attribute__((noreturn, format(printf, 1, 2)));

// Suspends the calling thread for `milliseconds`, resuming after signals.
void ZULPL_Sleep(uint32_t milliseconds);

// Gives the processor to another thread that is ready to run, if any.
void ZULPL_Yield(void);

// Milliseconds since the system started, as an unsigned 32-bit counter
// that wraps every 49.7 days.
uint32_t ZULPL_Ticks(void);

// Replaces the tick counter, so that tests can drive the clock across the
// wrap without waiting for it; null restores the system's counter.
void ZULPL_SetTickSource(uint32_t (*source)(void));

// All of `length` bytes to `fd`, going on after a short write and after
// a signal; stops at the first error, or when nothing more is taken.  It
// is not a point where a thread can be cancelled: a log store writes
// under its lock, which a thread cancelled in the middle of the write
// would never release.  Async-signal-safe.
void ZULPL_WriteAll(int fd, const char *text, size_t length);

// As ZULPL_WriteAll, for `count` pieces gathered in one system call where
// the descriptor takes them all (a file does), in order.  The pieces are
// used up as they are written.  Async-signal-safe.
struct iovec;
void ZULPL_WriteGathered(int fd, struct iovec *pieces, int count);

// The offset in the file at which the next write to `fd` goes (for a
// file opened to append, the end of the last write through it); -1 for a
// descriptor that has none, such as a pipe.
int64_t ZULPL_WriteOffset(int fd);

// Reserves room on the disk for `bytes` bytes of the file behind `fd`
// from `offset` on, without changing the file's size: writes there later
// find their room already found.  0, or the reason it cannot (a pipe, a
// file system that does not reserve, a full disk).
int ZULPL_ReserveRoom(int fd, int64_t offset, uint64_t bytes);

// As ZULPL_WriteAll, for code that must not wait on a reader who takes
// nothing (a process that is ending): to a pipe or a socket it writes a
// page at a time once poll has seen room, and gives up when `patience`
// milliseconds have gone by.  A regular file is written whole.  Returns
// the bytes written.  Async-signal-safe.
size_t ZULPL_WriteWithin(int fd, const char *text, size_t length, uint32_t patience);

// The full path of the running executable into `buffer` (NUL-terminated,
// cut to fit).  Returns its length, 0 if it cannot be found.
size_t ZULPL_ProgramPath(char *buffer, size_t size);

// Calendar seconds now; *utcOffset (if not null) gets the local time's
// offset east of UTC at that moment, in seconds, 0 where it is not known.
// The offset reads the time zone, which is not for a signal handler;
// without it the call is async-signal-safe.
int64_t ZULPL_CalendarNow(long *utcOffset);

// Opens `path` for reading as a stream, whatever kind of file it is (a
// parameter file may be a FIFO or a terminal); null if it cannot be
// opened.  Like every file of the library it is opened close-on-exec, so
// a program that starts another does not hand it on.
FILE *ZULPL_OpenStream(const char *path);

// Text files that the library reads for its settings: environment files
// and files included by a filter expression.  Only a regular file is
// read.  A device, a FIFO, a socket or a directory is never opened for
// reading (opening a FIFO alone would wait for a writer, and /dev/zero
// never ends), and no more than ZULPL_TEXT_LIMIT bytes are taken from
// one file, however long it is or grows while it is read.
#define ZULPL_TEXT_LIMIT (1u << 20)

// What ZULPL_OpenText found at a path.
enum {
    ZULPL_TEXT_OPENED = 0,      // a regular file, now open
    ZULPL_TEXT_ABSENT = 1,      // nothing there, or it cannot be opened
    ZULPL_TEXT_NOT_REGULAR = 2  // a device, FIFO, socket or directory
};

// Identity of an open file: the same file under any name or link.
typedef struct ZULPL_fileid {
    uint64_t device;
    uint64_t inode;
} ZULPL_fileid_t;

// Opens the regular file `path` for reading as text, without waiting and
// without making a terminal the process's own; `*found` says what was
// there and `*id` (if not null) gets the file's identity.  Returns the
// stream, or null when `*found` is not ZULPL_TEXT_OPENED.
FILE *ZULPL_OpenText(const char *path, ZULPL_fileid_t *id, int *found);

// Log files.  ZULPL_OpenLog opens `path` for appending (created with mode
// 0644, emptied first if `truncate`), close-on-exec; returns the
// descriptor, or -1 with the reason in `*error`.  ZULPL_ReopenLog opens
// `path` anew and puts it in the place of descriptor `fd` in one step, so
// that a write under way finishes in the old file and every later one
// goes to the new; 0, or the reason (the old file stays).  Both are
// async-signal-safe.
int ZULPL_OpenLog(const char *path, int truncate, int *error);
int ZULPL_ReopenLog(int fd, const char *path);

// The text of an errno value ("No such file or directory").
const char *ZULPL_ErrorText(int error);

// What a descriptor stands for, as far as the log's buffering cares.
enum {
    ZULPL_FILE_OTHER = 0,    // a pipe, a socket, a device
    ZULPL_FILE_REGULAR = 1,  // a regular file
    ZULPL_FILE_TERMINAL = 2  // a terminal, which a person reads as it comes
};
int ZULPL_FileKind(int fd);

// Runs `prepare` before every fork of the process, and `child` in the
// child before fork returns there.  0, or the reason.
int ZULPL_OnFork(void (*prepare)(void), void (*child)(void));

// Runs `routine` in the handler of the hangup signal (SIGHUP), then the
// handler that was there before, if any.  The routine must be
// async-signal-safe.  0, or the reason.
int ZULPL_OnHangup(void (*routine)(void));

// Whether a process has the local datagram socket `path` bound: 0, or the
// reason it cannot be reached (ECONNREFUSED for a file left behind).
int ZULPL_SocketAnswers(const char *path);

// The routine `name` of the shared library `library`, loaded by name and
// kept to the end of the process; null with the loader's reason in `*why`.
void *ZULPL_LoadRoutine(const char *library, const char *name, const char **why);

#ifdef __cplusplus
}
#endif

#endif
