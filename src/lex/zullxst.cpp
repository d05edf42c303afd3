// LEX1_String: pushes a copy of a counted text as an input.
#include "lex/zullx.h"

#include <string.h>

int LEX1_String(ZULLX_handle_t handle, const char *text, uint32_t length)
{
    ZULLX_lcb_t *scanner = ZULLX_Scanner(handle);
    if (scanner == nullptr)
        return LEX1_BadHandle;
    if (text == nullptr && length != 0)
        return LEX1_BadArgument;
    ZULLX_icb_t *input = ZULLX_NewInput(length);
    if (input == nullptr)
        return LEX1_NoMemory;
    // A text input holds all its bytes from the start; with none it is
    // used up at once.
    if (length != 0)
        memcpy(input->buffer, text, length);
    input->length = length;
    input->capacity = length;
    input->link = scanner->input;
    scanner->input = input;
    return LEX1_OK;
}
