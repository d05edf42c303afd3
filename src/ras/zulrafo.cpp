// zulrafo - RAS1_Format: one message to the log, from a format and an
// argument list; and the writing of every message line of the log, with
// the flags that tell the store where the line comes from and its kind.
#include "ras/zulralg.h"
#include "internal/zulprint.h" // the engine's unchecked entry

int ZULRA_FormatLine(ZULRA_entry_t *entry, int line, uint32_t flags, const char *text, va_list args)
{
    ZULSS_format_t *format;
    int status = RAS1_BeginFormat(entry, line, flags, &format);
    if (status != STC1_Success)
        return status;
    if (text != nullptr)
        ZULSS_ProcessFormat(format, text, args);
    // A message without a final line feed is ended as a finished line.
    BSS1_EndFormat(format);
    return STC1_Success;
}

int RAS1_Format(ZULRA_entry_t *entry, int line, const char *text, va_list args)
{
    return ZULRA_FormatLine(entry, line, RAS1_WRITE_FORMAT, text, args);
}
