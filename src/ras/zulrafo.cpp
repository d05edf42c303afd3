// zulrafo - RAS1_Format: one message to the log, from a format and an
// argument list; and the writing of the fixed lines of RAS1_Event.
#include "ras/zulralg.h"

int RAS1_Format(ZULRA_entry_t *entry, int line, const char *text, va_list args)
{
    ZULSS_format_t *format;
    int status = RAS1_BeginFormat(entry, line, RAS1_WRITE_FORMAT, &format);
    if (status != STC1_Success)
        return status;
    if (text != nullptr)
        BSS1_ProcessFormat(format, text, args);
    // A message without a final line feed is ended as a finished line.
    BSS1_EndFormat(format);
    return STC1_Success;
}

int ZULRA_FormatEvent(ZULRA_entry_t *entry, int line, const char *format, va_list args)
{
    return RAS1_Format(entry, line, format, args);
}
