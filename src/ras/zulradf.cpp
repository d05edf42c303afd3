// zulradf - RAS1_DestroyFilter: remove a filter.  Its texts stay in the
// pool, where other filters may share them.
#include "ras/zulra.h"

#include <stdlib.h>

int RAS1_DestroyFilter(uint32_t id)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    BSS1_GetLock(&block->lock);
    ZULRA_filter_t *filter = ZULRA_FindFilter(block, id);
    if (filter == nullptr) {
        BSS1_ReleaseLock(&block->lock);
        return STC1_NotThere;
    }
    ZULRA_UnlinkFilter(filter);
    ZULRA_MoveSyncWord(block);
    BSS1_ReleaseLock(&block->lock);
    free(filter);
    return STC1_Success;
}
