// LEX1_Input: pushes an input filled by a read function.  Also holds the
// making of an input record, which LEX1_String shares.
#include "lex/zullx.h"

#include <stdlib.h>
#include <string.h>

// Inputs of a read function get this buffer when the caller names none.
static constexpr uint32_t kDefaultBuffer = 512;

ZULLX_icb_t *ZULLX_NewInput(uint32_t size)
{
    ZULLX_icb_t *input = static_cast<ZULLX_icb_t *>(malloc(sizeof(ZULLX_icb_t) + size));
    if (input == nullptr)
        return nullptr;
    memset(input, 0, sizeof *input);
    input->buffer = size != 0 ? reinterpret_cast<char *>(input + 1) : nullptr;
    for (uint16_t i = 0; i < ZULLX_CELLS; ++i) {
        input->cells[i].prev = static_cast<uint16_t>((i - 1) & (ZULLX_CELLS - 1));
        input->cells[i].next = static_cast<uint16_t>((i + 1) & (ZULLX_CELLS - 1));
    }
    input->lineNumber = 1;
    return input;
}

int LEX1_Input(ZULLX_handle_t handle, ZULLX_read_t read, void *context, uint32_t size)
{
    ZULLX_lcb_t *scanner = ZULLX_Scanner(handle);
    if (scanner == nullptr)
        return LEX1_BadHandle;
    if (read == nullptr)
        return LEX1_BadArgument;
    if (size == 0)
        size = kDefaultBuffer;
    ZULLX_icb_t *input = ZULLX_NewInput(size);
    if (input == nullptr)
        return LEX1_NoMemory;
    input->read = read;
    input->context = context;
    input->capacity = size;
    input->link = scanner->input;
    scanner->input = input;
    return LEX1_OK;
}
