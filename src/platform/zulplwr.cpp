// ZULPL_WriteAll: whole writes to a file descriptor, without the
// cancellation bookkeeping of the C library's write.
//
// The C library's write(2) wrapper turns asynchronous cancellation on and
// off around the system call on every call; the log writes once a line
// and has no use for a cancellation point there, so the system call is
// made directly.
#include "platform/zulplat.h"

#include <errno.h>
#include <sys/syscall.h>
#include <unistd.h>

void ZULPL_WriteAll(int fd, const char *text, size_t length)
{
    while (length > 0) {
        long n = syscall(SYS_write, fd, text, length);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) // an error, or a file that takes nothing more
            return;
        text += n;
        length -= static_cast<size_t>(n);
    }
}
