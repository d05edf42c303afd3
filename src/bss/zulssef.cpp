// BSS1_EndFormat: the last batch, the closing call of the sink, and the
// end of the object.
#include "bss/zulssfmt.h"

#include <stdlib.h>

int BSS1_EndFormat(ZULSS_format_t *object)
{
    if (object == nullptr)
        return STC1_BadArgument;
    // The result of the last batch has no caller to go to; that of the
    // closing call is what the caller hears.
    (void)ZULSS_FlushRecords(object, 1);
    int result = object->sink(object->argument, nullptr, 0);
    free(object);
    return result;
}
