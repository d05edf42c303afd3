// zulraqs - RAS1_QueryStoreClass: the class word of a store.
#include "ras/zulralg.h"

int RAS1_QueryStoreClass(const char *name, uint32_t length, uint32_t *classes)
{
    char field[8];
    if (ZULRA_StoreName(field, name, length) != 0 || classes == nullptr)
        return STC1_BadArgument;
    ZULRA_pcb_t *block = ZULRA_Pcb();
    int status = STC1_NotThere;
    BSS1_GetLock(&block->lock);
    ZULRA_store_t *store = ZULRA_FindStore(block, field);
    if (store != nullptr) {
        *classes = store->classes;
        status = STC1_Success;
    }
    BSS1_ReleaseLock(&block->lock);
    return status;
}
