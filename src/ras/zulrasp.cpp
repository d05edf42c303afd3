// zulrasp - the string pool: one copy of every text that filters name.
//
// Filters are made rarely and live long, and many of them name the same
// unit or function.  So their texts are kept once each, in chunks that
// are never freed, and indexed by a tree of the tree family keyed on the
// records themselves.  Records grow upwards from the start of a chunk and
// texts downwards from its end; the chunk is full when they meet.
#include "ras/zulra.h"

#include <zul/thb1.h>

#include <stdlib.h>
#include <string.h>

static_assert(sizeof(ZULRA_pooltree_t) == sizeof(THB1_Tree),
              "the block's pool tree is a tree handle of the tree family");

#define POOL_CHUNK 4096u

static char no_memory_text[] = "Unable to create ZULRA_spe_t";

// Stands in for a text the pool had no room for.  A filter that holds it
// selects nothing real, which is the safest way to fail quietly.
ZULRA_spe_t ZULRA_noSpe = {no_memory_text, sizeof no_memory_text - 1};

static THB1_Tree *pool_tree(ZULRA_pcb_t *block)
{
    return reinterpret_cast<THB1_Tree *>(&block->poolTree);
}

int ZULRA_CompareSpe(const void *a, const void *b)
{
    const ZULRA_spe_t *x = static_cast<const ZULRA_spe_t *>(a);
    const ZULRA_spe_t *y = static_cast<const ZULRA_spe_t *>(b);
    if (x->length != y->length)
        return x->length < y->length ? -1 : 1;
    return memcmp(x->text, y->text, x->length);
}

// The records are their own keys.
static const void *spe_key(void *data)
{
    return data;
}

void ZULRA_CreatePool(ZULRA_pcb_t *block)
{
    // Without memory the tree stays all zero: texts are then still kept,
    // only not shared.
    (void)THB1_Create(pool_tree(block), ZULRA_CompareSpe, spe_key, nullptr);
}

ZULRA_spe_t *ZULRA_InternString(ZULRA_pcb_t *block, const char *text, uint32_t length)
{
    ZULRA_spe_t probe = {text, length};
    void *found = nullptr;

    ZULSS_HOLD(&block->poolLock);
    if (THB1_Find(pool_tree(block), nullptr, &probe, &found) == STC1_Success)
        return static_cast<ZULRA_spe_t *>(found);

    // A record and its text; a chunk too small for them is abandoned, so
    // a chunk wastes at most the room of one record and text.
    constexpr uint32_t kRecord = sizeof(ZULRA_spe_t);
    if (length > UINT32_MAX - POOL_CHUNK - kRecord)
        return &ZULRA_noSpe; // no chunk could hold it
    uint32_t need = length + kRecord;
    if (need > block->poolLeft) {
        uint32_t size = (need + POOL_CHUNK - 1) / POOL_CHUNK * POOL_CHUNK;
        char *chunk = static_cast<char *>(malloc(size));
        if (chunk == nullptr)
            return &ZULRA_noSpe;
        block->poolNext = chunk;
        block->poolLeft = size;
    }
    // Records are laid at the front of the chunk, each aligned for one,
    // as malloc's memory and the records' size keep them.
    ZULRA_spe_t *record = reinterpret_cast<ZULRA_spe_t *>(block->poolNext);
    block->poolNext += sizeof(ZULRA_spe_t);
    block->poolLeft -= need;
    char *copy = block->poolNext + block->poolLeft;
    if (length != 0)
        memcpy(copy, text, length);
    record->text = copy;
    record->length = length;
    (void)THB1_Insert(pool_tree(block), nullptr, record, 0);
    return record;
}
