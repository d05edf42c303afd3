// The format object: its record area, and the calls that open, feed,
// flush and close one.  The directive engine itself is zulsspr.
#include "bss/zulssfmt.h"
#include "bss/zulss.h"
#include "internal/zulfobj.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

// The record area of a format object: creating an object, putting text
// into records, finishing records, handing batches to the sink, and the
// adapter that turns records into plain text for a text sink.
// The allocation grows in steps of this many bytes.
static constexpr size_t kGrain = 1024;

// Room kept beyond the request: one full record (limit + length byte) and
// the zero byte behind the last record.
static constexpr size_t kSlack = 129;

ZULSS_format_t *ZULSS_CreateFormat(uint32_t request)
{
    size_t want = static_cast<size_t>(request) + kSlack + sizeof(ZULSS_format_t);
    size_t bytes = (want + kGrain - 1) / kGrain * kGrain;
    // The counts of the object are 32-bit words.
    if (bytes - sizeof(ZULSS_format_t) - 1 > UINT32_MAX)
        return nullptr;
    void *memory = malloc(bytes);
    if (memory == nullptr)
        return nullptr;

    uint32_t limit = ZULSS_Pcb()->lineLimit;
    if (limit == 0 || limit > ZULSS_RECORD_LENGTH)
        limit = ZULSS_RECORD_LENGTH; // a length byte cannot say more

    ZULSS_format_t *object = static_cast<ZULSS_format_t *>(memory);
    memset(object, 0, sizeof *object);
    object->base = object->current = reinterpret_cast<char *>(object + 1);
    object->size = object->available = static_cast<uint32_t>(bytes - sizeof(ZULSS_format_t) - 1);
    object->limit = limit;
    object->base[0] = '\0';
    return object;
}

void ZULSS_FinishRecord(ZULSS_format_t *object, uint32_t flag)
{
    uint32_t used = object->used;
    *object->current = static_cast<char>(used | flag);
    object->current += used + 1;
    *object->current = '\0';
    object->available -= used + 1;
    object->records += 1;
    object->used = object->margin;
    // Hand the batch over while there is still room for one more full
    // record and the zero byte behind it.
    if (object->available <= object->limit)
        ZULSS_FlushRecords(object, 0);
}

int ZULSS_FlushRecords(ZULSS_format_t *object, int final)
{
    if (object->used > object->margin) {
        // An open line.  Handed over now, it is marked as going on unless
        // this is the last batch; the rest of it starts the next batch.
        uint32_t used = object->used;
        *object->current = static_cast<char>(used | (final ? 0u : ZULSS_RECORD_CONTINUED));
        object->current[used + 1] = '\0';
        object->used = object->margin;
        object->records += 1;
    }
    if (object->records == 0)
        return 0;
    int result = object->sink(object->argument, object->base, object->records);
    object->records = 0;
    object->current = object->base;
    object->available = object->size;
    return result;
}

void ZULSS_PutSlow(ZULSS_format_t *object, const char *text, size_t length)
{
    while (length > 0) {
        if (object->used == object->limit)
            ZULSS_FinishRecord(object, ZULSS_RECORD_CONTINUED);

        // Only as much as fits in the record is looked at, so that a line
        // feed further on cannot hide the break of a long line.
        size_t room = object->limit - object->used;
        size_t stretch = length < room ? length : room;
        const char *feed = static_cast<const char *>(memchr(text, '\n', stretch));
        char *to = object->current + 1 + object->used;

        if (feed == nullptr) {
            memcpy(to, text, stretch);
            object->used += static_cast<uint32_t>(stretch);
            text += stretch;
            length -= stretch;
            continue;
        }

        size_t before = static_cast<size_t>(feed - text);
        size_t copy = before;
        // CR LF ends a line like LF.  A CR that ended the previous piece
        // has already been copied: pieces are not looked at together.
        if (before > 0 && text[before - 1] == '\r')
            copy -= 1;
        memcpy(to, text, copy);
        object->used += static_cast<uint32_t>(copy);
        text += before + 1;
        length -= before + 1;
        ZULSS_FinishRecord(object, 0);
    }
}

int ZULSS_TextAdapter(void *argument, char *data, uint32_t count)
{
    ZULSS_textsink_t *target = static_cast<ZULSS_textsink_t *>(argument);
    if (data == nullptr || count == 0)
        return target->sink(target->argument, nullptr, 0);

    // One pass: the length byte of every record after the first, and the
    // zero byte behind the last, become line feeds.  Every record ends a
    // line of the text, continued or not.
    char *at = data;
    uint32_t total = 0;
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t length = static_cast<unsigned char>(*at) & ZULSS_RECORD_LENGTH;
        if (i > 0)
            *at = '\n';
        at += length + 1;
        total += length + 1;
    }
    *at = '\n';
    return target->sink(target->argument, data + 1, total);
}

// Formats once into a text sink: BSS1_Format and ZULSS_FormatText.
static int format_text(void *argument, ZULSS_sink_t sink, const char *format, va_list arguments)
{
    ZULSS_format_t *object = nullptr;
    int result = BSS1_BeginFormat(&object, argument, sink);
    if (result != STC1_Success)
        return result;
    result = ZULSS_ProcessFormat(object, format, arguments);
    BSS1_EndFormat(object);
    return result;
}

int ZULSS_FormatText(void *argument, ZULSS_sink_t sink, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    int result = format_text(argument, sink, format, arguments);
    va_end(arguments);
    return result;
}

void ZULSS_FormatArgumentsDoNotMatch(void)
{
    // Never called at run time: see ZULSS_CheckedFormat.
}

// BSS1_NewFormat: a format object whose records go to a record sink.
int BSS1_NewFormat(ZULSS_format_t **object, void *argument, ZULSS_sink_t sink, uint32_t size,
                   uint32_t margin)
{
    if (object == nullptr)
        return STC1_BadArgument;
    *object = nullptr;
    if (sink == nullptr)
        return STC1_BadArgument;

    // One byte more than asked for: the zero byte behind the last record.
    ZULSS_format_t *created = ZULSS_CreateFormat(size == UINT32_MAX ? size : size + 1);
    if (created == nullptr)
        return STC1_Shortage;
    created->argument = argument;
    created->sink = sink;
    // A margin must leave room for text in every record.
    if (margin < created->limit)
        created->margin = margin;
    created->used = created->margin;
    *object = created;
    return STC1_Success;
}

// BSS1_BeginFormat: a format object whose output goes to a text sink.
// Room asked for beyond the fields: the adapter's record and a little more.
static constexpr uint32_t kTextRequest = 13;

int BSS1_BeginFormat(ZULSS_format_t **object, void *argument, ZULSS_sink_t sink)
{
    if (object == nullptr || sink == nullptr)
        return STC1_BadArgument;
    ZULSS_format_t *created = ZULSS_CreateFormat(kTextRequest);
    if (created == nullptr)
        return STC1_Shortage;

    // The front of the record area holds the caller's sink and argument for
    // the adapter, which stands in as the object's record sink.
    ZULSS_textsink_t *target = reinterpret_cast<ZULSS_textsink_t *>(created->base);
    target->object = created;
    target->argument = argument;
    target->sink = sink;
    created->base += sizeof *target;
    created->current = created->base;
    created->size -= sizeof *target;
    created->available -= sizeof *target;
    created->base[0] = '\0';
    created->argument = target;
    created->sink = ZULSS_TextAdapter;
    *object = created;
    return STC1_Success;
}

// BSS1_PrintFormat: BSS1_ProcessFormat with a variable argument list.
int BSS1_PrintFormat(ZULSS_format_t *object, const char *format, ...)
{
    // A null object reads none of the arguments.
    if (object == nullptr || format == nullptr)
        return STC1_BadArgument;
    va_list arguments;
    va_start(arguments, format);
    int result = BSS1_ProcessFormat(object, format, arguments);
    va_end(arguments);
    return result;
}

int ZULSS_PrintChecked(ZULSS_format_t *object, const char *format, ...)
{
    if (object == nullptr || format == nullptr)
        return STC1_BadArgument;
    va_list arguments;
    va_start(arguments, format);
    int result = ZULSS_ProcessFormat(object, format, arguments);
    va_end(arguments);
    return result;
}

// BSS1_Format: format once into a text sink.
int BSS1_Format(void *argument, ZULSS_sink_t sink, const char *format, va_list arguments)
{
    return format_text(argument, sink, format, arguments);
}

// BSS1_FlushFormat: hands what has been gathered to the sink.
int BSS1_FlushFormat(ZULSS_format_t *object)
{
    if (object == nullptr)
        return STC1_BadArgument;
    return ZULSS_FlushRecords(object, 0);
}

// BSS1_EndFormat: the last batch, the closing call of the sink, and the
// end of the object.
int BSS1_EndFormat(ZULSS_format_t *object)
{
    if (object == nullptr)
        return STC1_BadArgument;
    // The result of the last batch has no caller to go to; that of the
    // closing call is what the caller hears.
    (void)ZULSS_FlushRecords(object, 1);
    // A kept object may be in another thread's hands as soon as its sink
    // has had the closing call, so it is not looked at after that.
    const uint32_t kept = object->kept;
    int result = object->sink(object->argument, nullptr, 0);
    if (kept == 0)
        free(object);
    return result;
}

// An object that its record sink keeps from one message to the next.
void ZULSS_KeepFormat(ZULSS_format_t *object)
{
    object->kept = 1;
}

void ZULSS_ReuseFormat(ZULSS_format_t *object)
{
    object->records = 0;
    object->current = object->base;
    object->available = object->size;
    object->used = object->margin;
    object->base[0] = '\0';
}

void ZULSS_WriteText(ZULSS_format_t *object, const char *text, size_t length)
{
    ZULSS_PutText(object, text, length);
}
