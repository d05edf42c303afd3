// BSS1_FreeMem: free memory from BSS1_GetMem or malloc.
#include "bss/zulss.h"

#include <stdlib.h>

int BSS1_FreeMem(size_t /* size: free needs none */, void *memory, int *reason)
{
    free(memory);
    if (reason != nullptr)
        *reason = RSN1_NoReason;
    return STC1_Success;
}
