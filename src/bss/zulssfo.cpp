// BSS1_Format: format once into a text sink.
#include "bss/zulssfmt.h"

int BSS1_Format(void *argument, ZULSS_sink_t sink, const char *format, va_list arguments)
{
    ZULSS_format_t *object = nullptr;
    int result = BSS1_BeginFormat(&object, argument, sink);
    if (result != STC1_Success)
        return result;
    result = BSS1_ProcessFormat(object, format, arguments);
    BSS1_EndFormat(object);
    return result;
}
