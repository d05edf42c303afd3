// zulrarsf - RAS1_ResumeFilter: put a suspended filter back in use, in
// front of the active filters of its weight.
#include "ras/zulra.h"

int RAS1_ResumeFilter(uint32_t id)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    int status = STC1_Success;
    BSS1_GetLock(&block->lock);
    ZULRA_filter_t *filter = ZULRA_FindFilter(block, id);
    if (filter == nullptr) {
        status = STC1_NotThere;
    } else if (filter->weight != 0) {
        status = STC1_Warning;
    } else {
        ZULRA_UnlinkFilter(filter);
        filter->weight = filter->savedWeight;
        ZULRA_InsertFilter(block, filter);
    }
    BSS1_ReleaseLock(&block->lock);
    return status;
}
