// zulrars - RAS1_RegisterStore: add a named sink for lines.
#include "ras/zulralg.h"

#include <stdlib.h>

int RAS1_RegisterStore(const char *name, uint32_t length, void *data, ZULRA_write_t write,
                       uint32_t classes)
{
    char field[8];
    if (ZULRA_StoreName(field, name, length) != 0 || write == nullptr)
        return STC1_BadArgument;

    ZULRA_pcb_t *block = ZULRA_Pcb();
    int status = STC1_Success;

    BSS1_GetLock(&block->lock);
    if (ZULRA_FindStore(block, field) != nullptr) {
        BSS1_ReleaseLock(&block->lock);
        return STC1_Duplicate;
    }
    ZULRA_store_t *store = (ZULRA_store_t *)calloc(1, sizeof *store);
    if (store == nullptr) {
        BSS1_ReleaseLock(&block->lock);
        return STC1_Shortage;
    }
    for (int i = 0; i < 8; i++)
        store->storeName[i] = field[i];
    store->data = data;
    store->write = write;
    BSS1_InitializeLock(&store->lock);

    // ANY alone names the default store, which keeps no class of its own
    // and takes what no other store takes.
    if (classes == RAS1_ANY) {
        if (block->defaultStore == nullptr)
            block->defaultStore = store;
    } else if (classes != 0) {
        store->classes = ZULRA_Complete(classes);
        if (store->classes != classes)
            status = STC1_Warning;
    }

    // The first store sets the default class, if nobody has.
    if (block->storeCount++ == 0 && __atomic_load_n(&block->defaultClass, __ATOMIC_RELAXED) == 0)
        __atomic_store_n(&block->defaultClass, store->classes, __ATOMIC_RELAXED);

    ZULRA_InsertStore(block, store);
    BSS1_ReleaseLock(&block->lock);
    return status;
}
