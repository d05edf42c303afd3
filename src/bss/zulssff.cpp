// BSS1_FlushFormat: hands what has been gathered to the sink.
#include "bss/zulssfmt.h"

int BSS1_FlushFormat(ZULSS_format_t *object)
{
    if (object == nullptr)
        return STC1_BadArgument;
    return ZULSS_FlushRecords(object, 0);
}
