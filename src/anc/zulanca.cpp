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
    const uint32_t aliasClass = ZULAN_Pcb()->aliasClass;
    // The class's own handle passes RES1's check of the class, but stands
    // for no alias.
    int status = alias == aliasClass ? STC1_NotThere : RES1_Use(alias, aliasClass, &data);
    if (status == STC1_Success)
        RES1_Drop(alias);
    if (object != nullptr)
        *object = data;
    return status;
}
