// BSS1_BeginFormat: a format object whose output goes to a text sink.
#include "bss/zulssfmt.h"

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
