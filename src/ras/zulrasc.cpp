// The store and class calls: register a store, change or query its class
// word, and change or query the default class.
#include "ras/zulralg.h"

#include <stdlib.h>
#include <string.h>

// RAS1_RegisterStore: add a named sink for lines.
int RAS1_RegisterStore(const char *name, uint32_t length, void *data, ZULRA_write_t write,
                       uint32_t classes)
{
    char field[8];
    if (ZULRA_StoreName(field, name, length) != 0 || write == nullptr)
        return STC1_BadArgument;

    ZULRA_pcb_t *block = ZULRA_Pcb();
    int status = STC1_Success;

    ZULSS_HOLD(&block->lock);
    if (ZULRA_FindStore(block, field) != nullptr)
        return STC1_Duplicate;
    ZULRA_store_t *store = static_cast<ZULRA_store_t *>(calloc(1, sizeof *store));
    if (store == nullptr)
        return STC1_Shortage;
    for (int i = 0; i < 8; i++)
        store->storeName[i] = field[i];
    store->data = data;
    store->write = write;
    if (!ZULRA_PrepareTargetStore(store))
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
    ZULRA_NoteStoreBeforeStart(block);
    return status;
}

// RAS1_SetStoreClass: change the class word of a store, which
// sorts it anew.
int RAS1_SetStoreClass(const char *name, uint32_t length, uint32_t classes)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    char field[8];
    int status = STC1_Success;

    ZULSS_HOLD(&block->lock);

    // A length of 0 names the default store, if there is one.
    if (length == 0 && block->defaultStore != nullptr)
        memcpy(field, block->defaultStore->storeName, 8);
    else if (ZULRA_StoreName(field, name, length) != 0)
        return STC1_BadArgument;
    ZULRA_store_t *store = ZULRA_FindStore(block, field);
    if (store == nullptr)
        return STC1_NotThere;

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
    ZULRA_UnlinkStore(block, store);
    ZULRA_InsertStore(block, store);
    return status;
}

// RAS1_QueryStoreClass: the class word of a store.
int RAS1_QueryStoreClass(const char *name, uint32_t length, uint32_t *classes)
{
    char field[8];
    if (ZULRA_StoreName(field, name, length) != 0 || classes == nullptr)
        return STC1_BadArgument;
    ZULRA_pcb_t *block = ZULRA_Pcb();
    ZULSS_HOLD(&block->lock);
    ZULRA_store_t *store = ZULRA_FindStore(block, field);
    if (store == nullptr)
        return STC1_NotThere;
    *classes = store->classes;
    return STC1_Success;
}

// RAS1_SetClass: change the default class.
int RAS1_SetClass(uint32_t *old, uint32_t classes)
{
    uint32_t word = ZULRA_Complete(classes);
    ZULRA_pcb_t *block = ZULRA_Pcb();
    {
        ZULSS_HOLD(&block->lock);
        uint32_t current = __atomic_load_n(&block->defaultClass, __ATOMIC_RELAXED);
        if (old != nullptr)
            *old = current;
        // Only a real change makes every record stale.
        if (word != current) {
            __atomic_store_n(&block->defaultClass, word, __ATOMIC_RELAXED);
            ZULRA_MoveSyncWord(block);
        }
    }

    // The completed word is applied; the status says it is not the word
    // given.
    return word != classes ? STC1_Warning : STC1_Success;
}

// RAS1_QueryClass: the default class.
int RAS1_QueryClass(uint32_t *classes)
{
    // One 32-bit word, read with no lock.
    uint32_t value = __atomic_load_n(&ZULRA_Pcb()->defaultClass, __ATOMIC_RELAXED);
    if (classes != nullptr)
        *classes = value;
    return STC1_Success;
}
