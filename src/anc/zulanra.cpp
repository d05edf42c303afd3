// ANC1_ReserveAlias: makes an alias, a resource of the class
// "ANC1_Alias" that holds an object's address.
//
// The use that creation holds is given up at once: an alias lives, with
// no use held, until ANC1_ReleaseAlias destroys it.
#include "anc/zulan.h"

#include <zul/res1.h>

int ANC1_ReserveAlias(uint32_t *alias, void *object)
{
    int status = RES1_Create(alias, ZULAN_Pcb()->aliasClass, 0, object);
    if (status == STC1_Success)
        RES1_Drop(*alias);
    return status;
}
