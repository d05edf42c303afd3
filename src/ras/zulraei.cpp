// zulraei - RAS1_EnumInfo: read the lists of units, entries and build
// records that the trace has met, a batch at a time.
#include "ras/zulra.h"

// Copies up to `room` pointers of list `list` from position *index on to
// `records`, moving *index on; *stored gets how many.  STC1_NotThere when
// the list has none at that position.
static int take_batch(ZULRA_pcb_t *block, uint32_t list, void **records, uint32_t room,
                      uint32_t *index, uint32_t *stored)
{
    ZULSS_HOLD(&block->lock);

    // Writers add under the anchor's lock, which is not ours: each chunk's
    // count is read once, and the pointers taken are the `n` just below the
    // chunk's end, which a writer has filled in before it published `n`.
    // A pointer that arrives meanwhile lands below them and is left for
    // the next call, where it counts as position 0.
    ZULRA_chunk_t *chunk = __atomic_load_n(&block->lists[list], __ATOMIC_ACQUIRE);
    uint32_t n = chunk ? __atomic_load_n(&chunk->count, __ATOMIC_ACQUIRE) : 0;
    uint32_t offset = *index;
    while (chunk != nullptr && n <= offset) {
        offset -= n;
        chunk = chunk->next;
        n = chunk ? __atomic_load_n(&chunk->count, __ATOMIC_ACQUIRE) : 0;
    }
    if (chunk == nullptr)
        return STC1_NotThere;
    while (room > 0) {
        void **newest = reinterpret_cast<void **>(chunk + 1) + block->chunkSlots - n;
        uint32_t take = n - offset < room ? n - offset : room;
        for (uint32_t i = 0; i < take; i++)
            records[*stored + i] = newest[offset + i];
        *stored += take;
        room -= take;
        *index += take;
        chunk = chunk->next;
        if (chunk == nullptr)
            break;
        n = __atomic_load_n(&chunk->count, __ATOMIC_ACQUIRE);
        offset = 0;
    }
    return STC1_Success;
}

int RAS1_EnumInfo(uint32_t list, void **records, uint32_t *index, uint32_t *count)
{
    if (count == nullptr || index == nullptr)
        return STC1_BadArgument;
    uint32_t room = *count;
    *count = 0;
    if (list > 2 || (records == nullptr && room != 0))
        return STC1_BadArgument;
    uint32_t stored = 0;
    int status = take_batch(ZULRA_Pcb(), list, records, room, index, &stored);
    *count = stored;
    return status;
}
