// THB1_Empty: gives up every item and leaves an empty tree.
#include "thb/zulth.h"

int THB1_Empty(THB1_Tree *handle)
{
    THB1P_Tree *tree = THB1P_Resolve(handle);
    if (tree == nullptr)
        return STC1_BadObject;
    THB1P_FreeNodes(tree);
    // Back to the empty form.  The header itself stays, so a cursor that
    // stands on it stays good.
    tree->head->Lchild = 0;
    tree->head->Lptr = tree->head;
    return STC1_Success;
}
