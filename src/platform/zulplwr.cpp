// ZULPL_WriteAll: whole writes to a file descriptor, without the
// cancellation bookkeeping of the C library's write; ZULPL_WriteGathered,
// the same for pieces gathered in one call; ZULPL_WriteWithin, which
// gives up on a reader that takes nothing; and the room reserved ahead of
// a file's writes (ZULPL_WriteOffset, ZULPL_ReserveRoom).
//
// The C library's write(2) wrapper turns asynchronous cancellation on and
// off around the system call on every call; the log writes once a line
// and has no use for a cancellation point there, so the system call is
// made directly.
#include "platform/zulplat.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

namespace {

// Writes until all of it is written, an error, or a file that takes
// nothing more; a signal is no reason to stop.  Returns the bytes written.
size_t write_on(int fd, const char *text, size_t length)
{
    size_t done = 0;
    while (done < length) {
        long n = syscall(SYS_write, fd, text + done, length - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        done += static_cast<size_t>(n);
    }
    return done;
}

} // namespace

void ZULPL_WriteAll(int fd, const char *text, size_t length)
{
    (void)write_on(fd, text, length);
}

void ZULPL_WriteGathered(int fd, struct iovec *pieces, int count)
{
    while (count > 0) {
        long n = syscall(SYS_writev, fd, pieces, count);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        // A short write: what was taken comes off the front.
        size_t taken = static_cast<size_t>(n);
        while (count > 0 && taken >= pieces->iov_len) {
            taken -= pieces->iov_len;
            ++pieces;
            --count;
        }
        if (count > 0) {
            pieces->iov_base = static_cast<char *>(pieces->iov_base) + taken;
            pieces->iov_len -= taken;
        }
    }
}

size_t ZULPL_WriteWithin(int fd, const char *text, size_t length, uint32_t patience)
{
    struct stat st;
    if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode))
        return write_on(fd, text, length);
    // A pipe or a socket: a write of one page waits for no more room than
    // poll has seen free, so the wait is poll's, and all of it together is
    // bounded by `patience`.
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t deadline = now.tv_sec * 1000ll + now.tv_nsec / 1000000 + patience;
    size_t done = 0;
    while (done < length) {
        clock_gettime(CLOCK_MONOTONIC, &now);
        int64_t left = deadline - (now.tv_sec * 1000ll + now.tv_nsec / 1000000);
        if (left <= 0)
            break;
        struct pollfd p = {fd, POLLOUT, 0};
        int ready = poll(&p, 1, static_cast<int>(left));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0 || (p.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0)
            break;
        size_t piece = length - done < 4096 ? length - done : 4096;
        size_t n = write_on(fd, text + done, piece);
        if (n == 0)
            break;
        done += n;
    }
    return done;
}

int64_t ZULPL_WriteOffset(int fd)
{
    off_t at = lseek(fd, 0, SEEK_CUR);
    return at < 0 ? -1 : static_cast<int64_t>(at);
}

int ZULPL_ReserveRoom(int fd, int64_t offset, uint64_t bytes)
{
    if (offset < 0 || bytes == 0 || bytes > static_cast<uint64_t>(INT64_MAX - offset))
        return EINVAL;
    int rc;
    do
        rc = fallocate(fd, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(offset),
                       static_cast<off_t>(bytes));
    while (rc != 0 && errno == EINTR);
    return rc == 0 ? 0 : errno;
}
