// ANC1_ConvertAlias: the object an alias stands for.
//
// The handle is checked, with its class, by taking a use, which is ended
// again at once: a released, stale or forged alias is refused by the
// check and never followed.
#include "anc/zulan.h"

#include <zul/res1.h>

int ANC1_ConvertAlias(uint32_t alias, void **object)
{
    void *data = nullptr;
    int status = ZULAN_UseAlias(alias, &data);
    if (status == STC1_Success)
        RES1_Drop(alias);
    if (object != nullptr)
        *object = data;
    return status;
}
