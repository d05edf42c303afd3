// zulrasf - RAS1_SetFilter: change the class word of a filter.
#include "ras/zulralg.h"

int RAS1_SetFilter(uint32_t id, uint32_t *old, uint32_t classes)
{
    // Completed like every class word; unlike RAS1_NewFilter this call
    // does not say so.
    uint32_t word = ZULRA_Complete(classes);
    ZULRA_pcb_t *block = ZULRA_Pcb();
    BSS1_GetLock(&block->lock);
    ZULRA_filter_t *filter = ZULRA_FindFilter(block, id);
    if (filter == nullptr) {
        BSS1_ReleaseLock(&block->lock);
        return STC1_NotThere;
    }
    if (old != nullptr)
        *old = filter->classes;
    if (filter->classes != word) {
        filter->classes = word;
        ZULRA_MoveSyncWord(block);
    }
    BSS1_ReleaseLock(&block->lock);
    return STC1_Success;
}
