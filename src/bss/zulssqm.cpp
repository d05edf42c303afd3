// BSS1_QueryMem: the amount of free memory is not known; say so.
#include "bss/zulss.h"

int BSS1_QueryMem(long *available, int *reason)
{
    if (reason != nullptr)
        *reason = available != nullptr ? RSN1_NoReason : RSN1_Arguments;
    if (available == nullptr)
        return STC1_BadArgument;
    *available = -1;
    return STC1_Success;
}
