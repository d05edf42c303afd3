// zulralo - RAS1_Log: one message to the log, with its values and its
// trace kind, which the store is given in its flags.
#include "ras/zulralg.h"

int RAS1_Log(ZULRA_entry_t *entry, int line, uint32_t kinds, const char *text, ...)
{
    va_list args;
    va_start(args, text);
    int status = ZULRA_FormatLine(entry, line, RAS1_WRITE_FORMAT | ZULRA_KindFlags(kinds), text, args);
    va_end(args);
    return status;
}
