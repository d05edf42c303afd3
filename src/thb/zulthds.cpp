// THB1_Destroy: gives up every item, frees the tree and clears the handle.
#include "thb/zulth.h"

#include <stdlib.h>

int THB1_Destroy(THB1_Tree *handle)
{
    if (handle == nullptr)
        return STC1_BadObject;
    THB1P_Tree *tree = THB1P_Resolve(handle);
    int status = STC1_BadObject;
    if (tree != nullptr) {
        THB1P_FreeNodes(tree);
        free(tree); // the record and its header are one block
        status = STC1_Success;
    }
    // Cleared even when the handle was bad, so that a half-overwritten
    // handle cannot pass a later check.
    memset(handle, 0, sizeof *handle);
    return status;
}
