// ANC1_ReleaseAlias: ends an alias.  The object it stood for is not
// touched.
//
// Only a live alias is destroyed: the use taken first checks the handle
// and its class, so a handle of another family's resource is refused with
// STC1_Authority and left alone.
#include "anc/zulan.h"

#include <zul/res1.h>

int ANC1_ReleaseAlias(uint32_t alias)
{
    const uint32_t aliasClass = ZULAN_Pcb()->aliasClass;
    // The class's own handle passes RES1's check of the class, but stands
    // for no alias.
    int status = alias == aliasClass ? STC1_NotThere : RES1_Use(alias, aliasClass, nullptr);
    if (status == STC1_Success) {
        RES1_Destroy(alias);
        RES1_Drop(alias);
    }
    return status;
}
