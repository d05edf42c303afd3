// LEX1_New: makes a scanner with its ring of token slots.
#include "lex/zullx.h"

#include <stdlib.h>
#include <string.h>

int LEX1_New(ZULLX_handle_t *handle, uint32_t lookahead, ZULLX_filter_t filter,
             void *filterContext)
{
    if (handle == nullptr)
        return LEX1_BadArgument;
    // The slot count must fit the 32-bit words that count tokens.
    if (lookahead > UINT32_MAX - 3)
        return LEX1_NoMemory;
    size_t slots = static_cast<size_t>(lookahead) + 3;
    const ZULLX_pcb_t *pcb = ZULLX_Pcb();

    ZULLX_lcb_t *scanner =
        static_cast<ZULLX_lcb_t *>(calloc(1, sizeof(ZULLX_lcb_t) + slots * sizeof(ZULLX_token_t)));
    if (scanner == nullptr)
        return LEX1_NoMemory;
    scanner->filter = filter;
    scanner->filterContext = filterContext;
    scanner->slotCount = static_cast<uint32_t>(slots);
    memcpy(scanner->table.classes, pcb->classes, sizeof scanner->table.classes);

    // One doubly linked ring; scanning and delivering both start at slot 0.
    for (size_t i = 0; i < slots; ++i) {
        scanner->slots[i].next = &scanner->slots[(i + 1) % slots];
        scanner->slots[i].prev = &scanner->slots[(i + slots - 1) % slots];
    }
    scanner->fill = scanner->head = &scanner->slots[0];

    handle->address = scanner;
    handle->check = (static_cast<uint32_t>(reinterpret_cast<uintptr_t>(scanner)) ^ ZULLX_CHECK) &
                    0xFFFFu;
    return LEX1_OK;
}
