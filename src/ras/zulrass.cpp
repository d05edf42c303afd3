// zulrass - RAS1_SetStoreClass: change the class word of a store, which
// sorts it anew.
#include "ras/zulralg.h"

#include <string.h>

int RAS1_SetStoreClass(const char *name, uint32_t length, uint32_t classes)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    char field[8];
    int status = STC1_Success;

    BSS1_GetLock(&block->lock);

    // A length of 0 names the default store, if there is one.
    if (length == 0 && block->defaultStore != nullptr) {
        memcpy(field, block->defaultStore->storeName, 8);
    } else if (ZULRA_StoreName(field, name, length) != 0) {
        BSS1_ReleaseLock(&block->lock);
        return STC1_BadArgument;
    }
    ZULRA_store_t *store = ZULRA_FindStore(block, field);
    if (store == nullptr) {
        BSS1_ReleaseLock(&block->lock);
        return STC1_NotThere;
    }

    uint32_t word;
    if (classes == RAS1_ANY) {
        word = 0;
        if (block->defaultStore == nullptr)
            block->defaultStore = store;
    } else if (classes == 0) {
        word = 0;
        if (block->defaultStore == store)
            block->defaultStore = nullptr;
    } else {
        word = ZULRA_Complete(classes);
        if (word != classes)
            status = STC1_Warning;
    }
    store->classes = word;

    store->prev->next = store->next;
    store->next->prev = store->prev;
    ZULRA_InsertStore(block, store);

    BSS1_ReleaseLock(&block->lock);
    return status;
}
