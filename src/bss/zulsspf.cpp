// BSS1_PrintFormat: BSS1_ProcessFormat with a variable argument list.
#include "bss/zulssfmt.h"

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
