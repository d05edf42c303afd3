// platform/zulplso.h - local sockets for the console server: the private
// directory, listening, accepting with the peer's credentials, waiting.
//
// Linux (glibc) implementation.  Every call returns a negative errno
// value on failure, never sets errno for the caller to read, and makes
// descriptors close-on-exec and non-blocking.
#ifndef ZUL_SRC_PLATFORM_ZULPLSO_H
#define ZUL_SRC_PLATFORM_ZULPLSO_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// The longest socket path the host takes, terminator included.
#define ZULPL_SOCKET_PATH_MAX 108u

// Makes `directory` if it is absent (mode 0700) and checks that it is a
// real directory, owned by the effective user and closed to everyone else.
// A null or empty `directory` names the default: $XDG_RUNTIME_DIR/zul, or
// /run/zul for root, or /tmp/zul-<uid> when neither applies.  The chosen
// path goes to `buffer`.  Returns 0, -ENAMETOOLONG, -EPERM (not private)
// or the failing call's error.
int ZULPL_PrivateDirectory(const char *directory, char *buffer, size_t size);

// Removes the sockets in `directory` named "<anything>.<pid>.sock" whose
// process is gone, and one left behind under the caller's own process ID.
void ZULPL_RemoveStaleSockets(const char *directory);

// True when a process with this ID exists (whoever owns it).
int ZULPL_ProcessAlive(uint32_t pid);

// Binds a stream socket at `path` (mode 0600) and listens.  Returns the
// descriptor or a negative errno.
int ZULPL_ListenLocal(const char *path);

// Accepts one connection.  `uid` and `pid` get the peer's credentials as
// the kernel recorded them at connect time.  Returns the descriptor,
// -EAGAIN when none waits, or another negative errno.
int ZULPL_AcceptLocal(int listener, uint32_t *uid, uint32_t *pid);

// The effective user of the process.
uint32_t ZULPL_UserId(void);

// A pipe whose write end wakes a waiting thread.  Returns 0 or -errno.
int ZULPL_WakePipe(int fds[2]);

// Waiting on many descriptors at once.  An event set (the kernel's epoll)
// holds the descriptors and what is wanted of each, so that a wait costs
// the same however many of them are quiet.  Each descriptor carries a key
// of the caller's, given back when it is ready.  A descriptor is reported
// while it is ready (level-triggered), and hang-ups and errors always,
// even with nothing wanted.
#define ZULPL_IO_READ 1u
#define ZULPL_IO_WRITE 2u
#define ZULPL_IO_HANGUP 4u  // error or hang-up: the descriptor is done

typedef struct ZULPL_event {
    uint32_t key;
    uint32_t got;  // ZULPL_IO_ bits
} ZULPL_event_t;

// A new, empty event set: its descriptor, or a negative errno.
int ZULPL_EventSet(void);

// Adds `fd` with `key` and `want` (ZULPL_IO_READ and ZULPL_IO_WRITE
// bits), changes what is wanted of a descriptor already added, or takes
// it out (before it is closed).  0 or a negative errno.
int ZULPL_EventAdd(int set, int fd, uint32_t key, uint32_t want);
int ZULPL_EventChange(int set, int fd, uint32_t key, uint32_t want);
int ZULPL_EventRemove(int set, int fd);

// Waits up to `milliseconds` (negative: no limit) until descriptors of
// the set are ready; up to `count` of them go to `events`.  Returns how
// many did, 0 on timeout or when a signal ended the wait, or -errno.
int ZULPL_EventWait(int set, ZULPL_event_t *events, uint32_t count, int milliseconds);

// A descriptor held in reserve (on /dev/null) for the moment when the
// process has no other: closing it lets one more be opened.  The
// descriptor, or a negative errno.
int ZULPL_SpareFd(void);

// Reads without waiting.  Returns bytes read, 0 for end of input, or a
// negative errno (-EAGAIN: nothing there).
long ZULPL_ReadSome(int fd, void *buffer, size_t size);

// Writes the pieces in order, as far as the socket takes them now,
// without waiting and without SIGPIPE.  At most ZULPL_PIECES_MAX pieces
// are written at once.  Returns bytes written or a negative errno
// (-EAGAIN: the socket takes nothing now).
typedef struct ZULPL_piece {
    const void *base;
    size_t length;
} ZULPL_piece_t;
#define ZULPL_PIECES_MAX 16u
long ZULPL_WritePieces(int fd, const ZULPL_piece_t *pieces, uint32_t count);

void ZULPL_CloseFd(int fd);

// Zeroed pages of memory that go back to the system when unmapped, for
// the large buffers of the server that come and go with connections:
// freed, they leave nothing in the process's resident memory.  Null
// without memory.
void *ZULPL_MapPages(size_t size);
void ZULPL_UnmapPages(void *pages, size_t size);

// Gives the memory of mapped pages back to the system while they stay
// mapped: they read as zeros from then on, and a page written again comes
// back on its own.
void ZULPL_DropPages(void *pages, size_t size);

// Writes one byte to a wake pipe's write end.
void ZULPL_Wake(int fd);

// Removes a file or socket; nothing happens when it is absent.
void ZULPL_RemovePath(const char *path);

#ifdef __cplusplus
}
#endif

#endif
