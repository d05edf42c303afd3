// THB1_Find: looks a key up and sets a cursor on its item.
#include "thb/zulth.h"

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
