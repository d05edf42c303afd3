// zulrarm - ZULRA_Remember: add a record to an enumeration list.
#include "ras/zulra.h"

#include <stdlib.h>

void ZULRA_Remember(ZULRA_pcb_t *block, int list, void *record)
{
    ZUL_ASSERT_HELD(&block->anchor->lock);
    if (list < 0 || list > 2)
        return;
    ZULRA_chunk_t *chunk = block->lists[list];
    if (chunk == nullptr || chunk->count >= block->chunkSlots) {
        ZULRA_chunk_t *fresh = static_cast<ZULRA_chunk_t *>(malloc(block->chunkBytes));
        if (fresh == nullptr)
            return; // the enumerations will lack this record; nothing else does
        fresh->count = 0;
        // The slots follow the header to the chunk's end.
        fresh->top = reinterpret_cast<void **>(fresh + 1) + block->chunkSlots;
        fresh->next = chunk;
        // Readers take the head without a lock: fill the chunk in first.
        __atomic_store_n(&block->lists[list], fresh, __ATOMIC_RELEASE);
        chunk = fresh;
    }
    void **top = chunk->top - 1;
    *top = record;
    __atomic_store_n(&chunk->top, top, __ATOMIC_RELEASE);
    __atomic_store_n(&chunk->count, chunk->count + 1, __ATOMIC_RELEASE);
}
