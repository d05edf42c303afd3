// zulrafo - RAS1_Format: one message to the log, from a format and an
// argument list; and the writing of every message line of the log, with
// the flags that tell the store where the line comes from and its kind:
// flat where the message is one line of plain values, else through the
// format object's records.
#include "ras/zulralg.h"
#include "internal/zulfobj.h"
#include "internal/zulprint.h" // the engine's unchecked entry

int ZULRA_FormatLine(ZULRA_entry_t *entry, int line, uint32_t flags, const char *text, va_list args)
{
    if (entry == nullptr)
        return STC1_BadArgument;
    ZULRA_fctx_t *context;
    int status = ZULRA_OpenLine(entry, line, flags, &context);
    if (status != STC1_Success)
        return status;
    ZULSS_format_t *format = context->format;

    // The common message, one line of text and plain values, is put
    // together flat in the format object's area, head and all, and goes
    // to the store from there: no records to build and take apart again.
    // Anything else is formatted through the records from the start.
    // The area keeps a record's length spare behind the line: its last
    // piece is copied to the ring a whole slot at a time.
    if (text != nullptr && format->size > 2 * (ZULSS_RECORD_LENGTH + 1)) {
        size_t room = format->size - (ZULSS_RECORD_LENGTH + 1) - 1; // and the line feed
        uint32_t head = ZULRA_FlatHead(context, format->base, room);
        if (head != 0) {
            va_list copy;
            va_copy(copy, args);
            int ended;
            long length = ZULSS_FormatFlat(format->base + head, room - head, text, copy, &ended);
            va_end(copy);
            if (length >= 0) {
                (void)ZULRA_PutLine(context, format->base, head + static_cast<uint32_t>(length), ended);
                return STC1_Success;
            }
        }
    }
    ZULSS_ReuseFormat(format);
    ZULRA_WriteHead(context);
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
