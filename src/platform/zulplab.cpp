// ZULPL_Abort: a message on standard error, then the end of the process:
// the one way out for the construction machinery, the tree's invariants
// and the library's checked preconditions.
//
// The message is made in a buffer on the stack and written with one
// write(2), not through the C library's stream: the stream's lock may be
// held by the thread that is failing (it is recursive, but what it guards
// may be half changed), and a message cut by a buffer that was never
// flushed would be lost with the process.
#include "platform/zulplat.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

void ZULPL_Abort(const char *format, ...)
{
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (length > 0)
        ZULPL_WriteAll(STDERR_FILENO, text,
                       static_cast<size_t>(length) < sizeof text ? static_cast<size_t>(length)
                                                                 : sizeof text - 1);
    abort();
}
