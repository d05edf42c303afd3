// zulradm - RAS1_Dump: a message and a hexadecimal dump of memory; and
// the writing of every dump of the log.
#include "ras/zulralg.h"
#include "internal/zulprint.h"

int ZULRA_DumpLine(ZULRA_entry_t *entry, int line, uint32_t flags, const void *address,
                   uint32_t length, const char *text, va_list args)
{
    ZULSS_format_t *format;
    int status = RAS1_BeginFormat(entry, line, flags, &format);
    if (status != STC1_Success)
        return status;
    ZULSS_Print(format, "<0x%p,0x%lX> ", address, static_cast<unsigned long>(length));
    if (text != nullptr)
        ZULSS_ProcessFormat(format, text, args);
    BSS1_Dump(format, address, length);
    BSS1_EndFormat(format);
    return STC1_Success;
}

int RAS1_Dump(ZULRA_entry_t *entry, int line, const void *address, uint32_t length,
              const char *text, ...)
{
    va_list args;
    va_start(args, text);
    int status = ZULRA_DumpLine(entry, line, RAS1_WRITE_DUMP, address, length, text, args);
    va_end(args);
    return status;
}
