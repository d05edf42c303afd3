// zulraqf - RAS1_QueryFilter: the class word of a filter.
#include "ras/zulra.h"

int RAS1_QueryFilter(uint32_t id, uint32_t *classes)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    int status = STC1_Success;
    BSS1_GetLock(&block->lock);
    ZULRA_filter_t *filter = ZULRA_FindFilter(block, id);
    if (filter == nullptr)
        status = STC1_NotThere;
    else if (classes == nullptr)
        status = STC1_BadArgument;
    else
        *classes = filter->classes;
    BSS1_ReleaseLock(&block->lock);
    return status;
}
