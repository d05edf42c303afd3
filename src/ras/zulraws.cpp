// zulraws - ZULRA_WriteStream: the default store's write routine.
//
// The store flushes at every line end, so a batch that ends a line goes to
// the file with one write(2) of its own, straight from the format object's
// buffer, instead of being copied into the stream's buffer and flushed
// from there.  Whatever the program left in the stream's buffer (the
// stream may be its standard output) is flushed first, so the order of
// the output is kept.  A batch that leaves its line open goes through the
// stream's buffer and waits for the rest of the line.
#include "ras/zulralg.h"

#include <errno.h>
#include <stdio.h>
#include <unistd.h>

int ZULRA_WriteStream(void *data, const char *text, uint32_t length, ZULRA_entry_t *entry,
                      uint32_t flags)
{
    (void)entry;
    (void)flags;
    FILE *stream = data ? *(FILE **)data : nullptr;
    if (stream == nullptr || length == 0)
        return 0;
    // A failed write is not noticed: the log has nowhere to report it.
    if (text[length - 1] != '\n') {
        (void)fwrite(text, 1, length, stream);
        return 0;
    }
    fflush(stream);
    int fd = fileno(stream);
    while (length > 0) {
        ssize_t n = write(fd, text, length);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        text += n;
        length -= (uint32_t)n;
    }
    return 0;
}
