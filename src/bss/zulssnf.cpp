// BSS1_NewFormat: a format object whose records go to a record sink.
#include "bss/zulssfmt.h"

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
