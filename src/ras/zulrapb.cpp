// zulrapb - the anchor, the two descriptors of the process block, and
// ZULRA_ConstructPCB.
#include "ras/zulra.h"
#include "internal/zulcommands.h"

#include <stdlib.h>

static_assert(ZULRA_CHUNK_BYTES == (sizeof(void *) == 8 ? 8192u : 4096u),
              "an enumeration chunk holds 1021 pointers behind three header words");

constinit ZULRA_anchor_t ZULRA_anchor = {};

static void forward_pcb(void *word);

// The real descriptor builds the block; the public one is a word block
// whose constructor resolves the real one, so that the family reads the
// block through one inline test of the public `result`.
static constinit ZULSS_descriptor_t real_descriptor = {
    sizeof(ZULRA_pcb_t), ZULRA_ConstructPCB, nullptr, 0, 0};

constinit ZULSS_descriptor_t ZULRA_pcbDescriptor = {0, forward_pcb, nullptr, 0, 0};

static void forward_pcb(void *word)
{
    *(void **)word = BSS1_ResolveProcess(&real_descriptor, __FILE__, __LINE__);
}

static void init_anchor_lock(void *lock)
{
    BSS1_InitializeLock((ZULSS_lock_t *)lock);
}

static void make_empty(ZULRA_list_t *list)
{
    list->next = list;
    list->prev = list;
    list->end = list;
}

void ZULRA_ConstructPCB(void *argument)
{
    ZULRA_pcb_t *block = (ZULRA_pcb_t *)argument;

    BSS1_InitializeOnce(&ZULRA_anchor.once, init_anchor_lock, &ZULRA_anchor.lock, __FILE__,
                        __LINE__);
    block->anchor = &ZULRA_anchor;

    make_empty(&block->stores);
    make_empty(&block->filters);

    ZULRA_CreatePool(block);

    BSS1_InitializeLock(&block->lock);
    BSS1_InitializeLock(&block->poolLock);

    block->chunkBytes = ZULRA_CHUNK_BYTES;
    block->chunkSlots = ZULRA_CHUNK_SLOTS;
    block->nextFilter = 1;

    block->capture = ZULRA_MakeRing();
    BSS1_InitializeLock(ZULRA_DefaultStoreLock());

    // The console command needs services that must not be built inside a
    // construction; it is registered when the outermost one has ended.
    // Without the command units linked the routine is null, and nothing
    // is registered (internal/zulcommands.h).
    BSS1_InitializeEpilog(ZULRA_RegisterCommand, block);
}
