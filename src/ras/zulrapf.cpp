// zulrapf - RAS1_Printf: one message to the log, with its values.
#include "ras/zulralg.h"

int RAS1_Printf(ZULRA_entry_t *entry, int line, const char *text, ...)
{
    va_list args;
    va_start(args, text);
    int status = RAS1_Format(entry, line, text, args);
    va_end(args);
    return status;
}
