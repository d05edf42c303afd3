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

// One descriptor of a wait: `want` and `got` are ZULPL_IO_ bits.
typedef struct ZULPL_io {
    int fd;
    uint16_t want;
    uint16_t got;
} ZULPL_io_t;

#define ZULPL_IO_READ 1u
#define ZULPL_IO_WRITE 2u
#define ZULPL_IO_HANGUP 4u  // error or hang-up: the descriptor is done

// The most descriptors one wait watches; any beyond are not watched.
#define ZULPL_IO_MAX 128u

// Waits up to `milliseconds` (negative: no limit) until one of `count`
// descriptors is ready.  Returns how many are, 0 on timeout, or -errno.
// A signal ends the wait early with 0.
int ZULPL_WaitIo(ZULPL_io_t *set, uint32_t count, int milliseconds);

// Reads or writes without waiting and without SIGPIPE.  Return bytes
// moved, 0 for end of input, or a negative errno (-EAGAIN: not ready).
long ZULPL_ReadSome(int fd, void *buffer, size_t size);
long ZULPL_WriteSome(int fd, const void *first, size_t firstSize, const void *second, size_t secondSize);

void ZULPL_CloseFd(int fd);

// Writes one byte to a wake pipe's write end.
void ZULPL_Wake(int fd);

// Removes a file or socket; nothing happens when it is absent.
void ZULPL_RemovePath(const char *path);

#ifdef __cplusplus
}
#endif

#endif
