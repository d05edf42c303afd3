// THB1_Create: an empty tree, its record and header node in one block.
#include "thb/zulth.h"

#include <stdlib.h>

int THB1_Create(THB1_Tree *handle, THB1_CompareFn compare, THB1_KeyFn key, THB1_DestroyFn destroy)
{
    if (handle == nullptr)
        return STC1_BadObject;
    // The handle is cleared before anything can fail, so that every
    // failure leaves it all zero and therefore invalid.
    memset(handle, 0, sizeof *handle);
    if (compare == nullptr || key == nullptr)
        return STC1_BadArgument;

    THB1P_Block *block = static_cast<THB1P_Block *>(malloc(sizeof(THB1P_Block)));
    if (block == nullptr)
        return STC1_Shortage;

    THB1P_Tree *tree = &block->tree;
    THB1P_Node *head = &block->header;
    tree->head = head;
    tree->compare = compare;
    tree->key = key;
    tree->destroy = destroy;

    // The empty form: no root (left link a thread to the header itself),
    // and the right link a child link to the header itself for good.
    head->data = nullptr;
    head->bf = 0;
    head->Lchild = 0;
    head->Rchild = 1;
    head->Lptr = head;
    head->Rptr = head;

    handle->tree = tree;
    memcpy(handle->eye, "TREE", 4);
    return STC1_Success;
}
