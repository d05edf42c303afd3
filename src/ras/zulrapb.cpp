// zulrapb - the anchor, the two descriptors of the process block, and
// ZULRA_ConstructPCB.
#include "ras/zulra.h"
#include "ras/zulralg.h"
#include "internal/zulcommands.h"
#include "internal/zulforward.h"

#include <stdlib.h>

static_assert(ZULRA_CHUNK_BYTES == (sizeof(void *) == 8 ? 8192u : 4096u),
              "an enumeration chunk holds 1021 pointers behind three header words");

constinit ZULRA_anchor_t ZULRA_anchor = {};

// The real descriptor builds the block; the public one forwards to it
// (internal/zulforward.h), so that the family reads the block through one
// inline test of the public `result`.
static constinit ZULSS_descriptor_t real_descriptor = {
    sizeof(ZULRA_pcb_t), ZULRA_ConstructPCB, nullptr, 0, 0};

ZULSS_FORWARDING_DESCRIPTOR(ZULRA_pcbDescriptor, real_descriptor);

static void init_anchor_lock(void *lock)
{
    BSS1_InitializeLock(static_cast<ZULSS_lock_t *>(lock));
}

void ZULRA_ConstructPCB(void *argument)
{
    ZULRA_pcb_t *block = static_cast<ZULRA_pcb_t *>(argument);

    BSS1_InitializeOnce(&ZULRA_anchor.once, init_anchor_lock, &ZULRA_anchor.lock, __FILE__,
                        __LINE__);
    block->anchor = &ZULRA_anchor;

    ZUL_RingInit(ZULRA_StoreLinks(block), ZULRA_StoreLinks(block).head);
    ZUL_RingInit(ZULRA_FilterLinks(block), ZULRA_FilterLinks(block).head);

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
