// BSS1_GetMem: malloc with the family's status and reason codes.
#include "bss/zulss.h"

#include <stdlib.h>

int BSS1_GetMem(size_t size, void **out, int *reason)
{
    void *memory = malloc(size);
    *out = memory;
    if (memory == nullptr) {
        *reason = RSN1_Storage;
        return STC1_Shortage;
    }
    *reason = RSN1_NoReason;
    return STC1_Success;
}
