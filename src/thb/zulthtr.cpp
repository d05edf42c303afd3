// The tree and its cursors: create, find, step, reset, empty and destroy.
// Insertion, deletion and rebalancing have units of their own.
#include "thb/zulth.h"

#include <stdlib.h>

// THB1_Create: an empty tree, its record and header node in one block.
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

// THB1_Find: looks a key up and sets a cursor on its item.
int THB1_Find(THB1_Tree *handle, THB1_Cursor *cursor, const void *key, void **dataOut)
{
    THB1P_ClearCursor(cursor);
    THB1P_Tree *tree = THB1P_Resolve(handle);
    if (tree == nullptr)
        return STC1_BadObject;

    THB1_CompareFn compare = tree->compare;
    THB1_KeyFn keyOf = tree->key;
    THB1P_Node *head = tree->head;
    THB1P_Node *p = head->Lchild ? head->Lptr : nullptr;
    while (p != nullptr) {
        // Start loading both children while the callbacks run: on a large
        // tree each level is a cache miss, and one of the two is next.
        __builtin_prefetch(p->Lptr);
        __builtin_prefetch(p->Rptr);
        int r = compare(key, keyOf(p->data));
        if (r > 0)
            p = p->Rchild ? p->Rptr : nullptr;
        else if (r < 0)
            p = p->Lchild ? p->Lptr : nullptr;
        else
            break;
    }
    // On failure *dataOut keeps what it held: unlike the walkers, a
    // lookup that misses leaves the caller's word alone.
    if (p == nullptr)
        return STC1_NotThere;
    THB1P_SetCursor(cursor, p);
    if (dataOut != nullptr)
        *dataOut = p->data;
    return STC1_Success;
}

// THB1_Next: steps a cursor to the next item in key order.
int THB1_Next(THB1_Cursor *cursor, void **dataOut)
{
    if (dataOut != nullptr)
        *dataOut = nullptr;
    THB1P_Node *n = THB1P_ResolveCursor(cursor);
    if (n == nullptr)
        return STC1_BadObject;
    THB1P_Node *s = THB1P_Next(n);
    // At the end the cursor stays where it is, on the last item, so that
    // a THB1_Prior from there gives the item before the last.
    if (s == nullptr)
        return STC1_NotThere;
    THB1P_SetCursor(cursor, s);
    if (dataOut != nullptr)
        *dataOut = s->data;
    return STC1_Success;
}

// THB1_Prior: steps a cursor to the previous item in key order.
int THB1_Prior(THB1_Cursor *cursor, void **dataOut)
{
    if (dataOut != nullptr)
        *dataOut = nullptr;
    THB1P_Node *n = THB1P_ResolveCursor(cursor);
    if (n == nullptr)
        return STC1_BadObject;
    THB1P_Node *s = THB1P_Prior(n);
    // At the end the cursor stays on the first item.
    if (s == nullptr)
        return STC1_NotThere;
    THB1P_SetCursor(cursor, s);
    if (dataOut != nullptr)
        *dataOut = s->data;
    return STC1_Success;
}

// THB1_Reset: places a cursor before the first and after the last item.
int THB1_Reset(THB1_Tree *handle, THB1_Cursor *cursor)
{
    if (cursor == nullptr)
        return STC1_BadObject;
    THB1P_ClearCursor(cursor);
    THB1P_Tree *tree = THB1P_Resolve(handle);
    if (tree == nullptr)
        return STC1_BadObject;
    // The header is both ends of the walk: its successor is the first
    // item and its predecessor the last.
    THB1P_SetCursor(cursor, tree->head);
    return STC1_Success;
}

// THB1_Empty: gives up every item and leaves an empty tree.
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

// THB1_Destroy: gives up every item, frees the tree and clears the handle.
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

// THB1P_FreeNodes: gives up every item of a tree and frees its nodes.
void THB1P_FreeNodes(THB1P_Tree *tree)
{
    // Each node's successor is taken before the node is freed: the
    // successor search reads the node's links.
    THB1_DestroyFn destroy = tree->destroy;
    THB1P_Node *n = THB1P_Next(tree->head);
    while (n != nullptr) {
        THB1P_Node *next = THB1P_Next(n);
        if (destroy != nullptr)
            destroy(n->data);
        free(n);
        n = next;
    }
}
