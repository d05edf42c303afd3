// zulraws - ZULRA_WriteStream: the default store's write routine for text:
// standard output or error, or a file.
//
// The store gets whole lines only (the format handler holds back a line
// until its end has come), and it writes each batch of them to the file
// with one write(2) of its own (see ZULPL_WriteAll), straight from the format object's buffer,
// under the store's lock: lines of several threads never mix, however
// long they are.  Whatever the program left in the stream's buffer (the
// stream may be its standard output) is flushed first, so the order of
// the output is kept.  `data` is the store's target (see zulratg).
#include "ras/zulralg.h"

#include "platform/zulplat.h"

#include <stdio.h>
#include <stdio_ext.h>

int ZULRA_WriteStream(void *data, const char *text, uint32_t length, ZULRA_entry_t *entry,
                      uint32_t flags)
{
    (void)entry;
    (void)flags;
    const ZULRA_target_t *target = (const ZULRA_target_t *)data;
    if (target == nullptr || length == 0)
        return 0;
    // A failed write is not noticed: the log has nowhere to report it.  A
    // short write (a pipe, a full disk) goes on from where it stopped.
    // Asking first spares the stream's lock on every line when nothing
    // else writes through it.
    if (target->stream != nullptr && __fpending(target->stream) != 0)
        fflush(target->stream);
    ZULPL_WriteAll(target->fd, text, length);
    return 0;
}
