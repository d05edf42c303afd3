// BSS1_QueryMem: the amount of free memory is not known; say so.
#include "bss/zulss.h"

int BSS1_QueryMem(long *available, int *reason)
{
    *available = -1;
    *reason = RSN1_NoReason;
    return STC1_Success;
}
