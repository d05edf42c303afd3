// zulrald - RAS1_LogDump: a message and a hexadecimal dump of memory,
// with the trace kind that the store is given in its flags.
#include "ras/zulralg.h"

int RAS1_LogDump(ZULRA_entry_t *entry, int line, uint32_t kinds, const void *address,
                 uint32_t length, const char *text, ...)
{
    va_list args;
    va_start(args, text);
    int status = ZULRA_DumpLine(entry, line, RAS1_WRITE_DUMP | ZULRA_KindFlags(kinds), address,
                                length, text, args);
    va_end(args);
    return status;
}
