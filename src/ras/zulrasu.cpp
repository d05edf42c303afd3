// zulrasu - RAS1_SuspendFilter: take a filter out of use and keep it.
//
// A suspended filter weighs 0, so it sorts behind every active filter,
// where the walk of RAS1_Sync stops before reaching it.
#include "ras/zulra.h"

int RAS1_SuspendFilter(uint32_t id)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    int status = STC1_Success;
    BSS1_GetLock(&block->lock);
    ZULRA_filter_t *filter = ZULRA_FindFilter(block, id);
    if (filter == nullptr) {
        status = STC1_NotThere;
    } else if (filter->weight == 0) {
        status = STC1_Warning;
    } else {
        ZULRA_UnlinkFilter(filter);
        filter->weight = 0;
        ZULRA_InsertFilter(block, filter);
    }
    BSS1_ReleaseLock(&block->lock);
    return status;
}
