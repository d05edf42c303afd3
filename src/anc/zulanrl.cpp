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
    int status = ZULAN_UseAlias(alias, nullptr);
    if (status == STC1_Success) {
        RES1_Destroy(alias);
        RES1_Drop(alias);
    }
    return status;
}
