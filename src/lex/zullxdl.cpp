// LEX1_Delete: frees a scanner with its inputs and token buffers.
#include "lex/zullx.h"

#include <stdlib.h>

int LEX1_Delete(ZULLX_handle_t *handle)
{
    if (handle == nullptr)
        return LEX1_BadHandle;
    ZULLX_lcb_t *scanner = ZULLX_Scanner(*handle);
    if (scanner == nullptr)
        return LEX1_BadHandle;

    // The handle goes bad first, so that a second call is refused.
    handle->address = nullptr;
    handle->check = (handle->check & 0xFFFF0000u) | ZULLX_DEAD;

    for (ZULLX_icb_t *input = scanner->input; input != nullptr;) {
        ZULLX_icb_t *older = input->link;
        free(input);
        input = older;
    }
    for (uint32_t i = 0; i < scanner->slotCount; ++i)
        if (scanner->slots[i].capacity != 0)
            free(scanner->slots[i].buffer);
    free(scanner);
    return LEX1_OK;
}
