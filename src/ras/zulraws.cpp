/*
 * zulraws - ZULRA_WriteStream: the default store's write routine.
 */
#include "ras/zulralg.h"

#include <stdio.h>

int ZULRA_WriteStream(void *data, const char *text, uint32_t length, ZULRA_entry_t *entry,
                      uint32_t flags)
{
    (void)entry;
    (void)flags;
    FILE *stream = data ? *(FILE **)data : nullptr;
    if (stream == nullptr || length == 0)
        return 0;
    /* A failed write is not noticed: the log has nowhere to report it. */
    (void)fwrite(text, 1, length, stream);
    if (text[length - 1] == '\n')
        fflush(stream);
    return 0;
}
