// BSS1_GetMem: malloc with the family's status and reason codes.  The
// reason's address may be null; the memory's may not.
#include "bss/zulss.h"

#include <stdlib.h>

int BSS1_GetMem(size_t size, void **out, int *reason)
{
    int why = RSN1_Arguments, status = STC1_BadArgument;
    if (out != nullptr) {
        *out = malloc(size);
        if (*out == nullptr)
            why = RSN1_Storage, status = STC1_Shortage;
        else
            why = RSN1_NoReason, status = STC1_Success;
    }
    if (reason != nullptr)
        *reason = why;
    return status;
}
