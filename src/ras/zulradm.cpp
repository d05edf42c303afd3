// zulradm - RAS1_Dump: a message and a hexadecimal dump of memory.
#include "ras/zulralg.h"
#include "internal/zulprint.h"

int RAS1_Dump(ZULRA_entry_t *entry, int line, const void *address, uint32_t length,
              const char *text, ...)
{
    ZULSS_format_t *format;
    int status = RAS1_BeginFormat(entry, line, RAS1_WRITE_DUMP, &format);
    if (status != STC1_Success)
        return status;
    ZULSS_Print(format, "<0x%p,0x%lX> ", address, static_cast<unsigned long>(length));
    if (text != nullptr) {
        va_list args;
        va_start(args, text);
        BSS1_ProcessFormat(format, text, args);
        va_end(args);
    }
    BSS1_Dump(format, address, length);
    BSS1_EndFormat(format);
    return STC1_Success;
}
