// ZULLX_Carve and ZULLX_FreeBlocks: the storage of an argument tree.
//
// Every list, argument and text of a tree is carved out of blocks of
// 4096 bytes or more that belong to the root; nothing is given back
// before the whole tree is freed with one walk of the chain.
//
// Only the newest block is carved from.  Looking through the older ones
// for a gap would cost a walk of the whole chain each time the newest
// block runs short, which made a line of a million parentheses take
// seconds; the gaps it could fill are smaller than one request.  A request
// too big for a fresh standard block gets a block of its own, put behind
// the newest, so that the room left in the newest is not given up.
#include "lex/zullx.h"

#include <stdlib.h>

static constexpr size_t kBlockSize = 4096;

void *ZULLX_Carve(ZULLX_list_t *chain, size_t size)
{
    // Requests are whole argument records, which keeps every piece
    // aligned for the records carved behind it.
    const size_t unit = sizeof(ZULLX_arg_t);
    if (size > SIZE_MAX / 2)
        return nullptr;
    size_t request = (size + unit - 1) / unit * unit;

    ZULLX_block_t *newest = static_cast<ZULLX_block_t *>(chain->blocks);
    ZULLX_block_t *block = newest;
    if (block == nullptr || block->remaining < request) {
        size_t total = (request + sizeof(ZULLX_block_t) + kBlockSize - 1) / kBlockSize * kBlockSize;
        if (total - sizeof(ZULLX_block_t) > UINT32_MAX)
            return nullptr;
        block = static_cast<ZULLX_block_t *>(calloc(1, total));
        if (block == nullptr)
            return nullptr;
        block->remaining = static_cast<uint32_t>(total - sizeof(ZULLX_block_t));
        block->cursor = reinterpret_cast<char *>(block + 1);
        if (newest != nullptr && total > kBlockSize) {
            block->next = newest->next;
            newest->next = block;
        } else {
            block->next = newest;
            chain->blocks = block;
        }
    }
    void *piece = block->cursor;
    block->cursor += request;
    block->remaining -= static_cast<uint32_t>(request);
    return piece;
}

void ZULLX_FreeBlocks(ZULLX_block_t *chain)
{
    while (chain != nullptr) {
        ZULLX_block_t *next = chain->next;
        free(chain);
        chain = next;
    }
}
