// THB1_Insert: adds an item, or replaces the item with an equal key.
//
// One descent finds the place and remembers `s`, the deepest node on the
// way with a nonzero balance factor, and its parent `f`.  Below `s` every
// node on the path is balanced, so the new leaf makes each of them lean
// towards it and only `s` can go out of balance; one rotation there
// brings the subtree back to its old height, and nothing above `s`
// changes.  When no node on the path leans, `s` is the header and the
// whole tree grows by one level.
#include "thb/zulth.h"

#include <stdlib.h>

int THB1_Insert(THB1_Tree *handle, THB1_Cursor *cursor, void *data, int replace)
{
    THB1P_ClearCursor(cursor);
    THB1P_Tree *tree = THB1P_Resolve(handle);
    if (tree == nullptr)
        return STC1_BadObject;

    THB1_CompareFn compare = tree->compare;
    THB1_KeyFn keyOf = tree->key;
    THB1P_Node *head = tree->head;
    const void *key = keyOf(data);

    THB1P_Node *p = head, *s = head, *f = nullptr;
    THB1P_Node *q = head->Lchild ? head->Lptr : nullptr;
    int r = -1; // an empty tree hangs the first node left of the header
    while (q != nullptr) {
        if (q->bf != 0) {
            s = q;
            f = p;
        }
        p = q;
        __builtin_prefetch(q->Lptr); // the next level loads while the callbacks run
        __builtin_prefetch(q->Rptr);
        r = compare(key, keyOf(q->data));
        if (r < 0)
            q = q->Lchild ? q->Lptr : nullptr;
        else if (r > 0)
            q = q->Rchild ? q->Rptr : nullptr;
        else
            break;
    }

    if (r == 0) {
        if (!replace)
            return STC1_Duplicate;
        // Same node, same key: the shape does not change.  An item that is
        // put back in its own place is not given up.
        if (tree->destroy != nullptr && q->data != data)
            tree->destroy(q->data);
        q->data = data;
        THB1P_SetCursor(cursor, q);
        return STC1_Success;
    }

    // Nothing has been changed so far, so a failure leaves the tree as it
    // was.
    THB1P_Node *n = static_cast<THB1P_Node *>(malloc(sizeof(THB1P_Node)));
    if (n == nullptr)
        return STC1_Shortage;
    n->data = data;
    n->bf = 0;
    n->Lchild = 0;
    n->Rchild = 0;

    // The new leaf inherits the thread that its parent had on that side,
    // and its other thread points back to the parent.
    if (r < 0) {
        n->Lptr = p->Lptr;
        n->Rptr = p;
        p->Lchild = 1;
        p->Lptr = n;
    } else {
        n->Rptr = p->Rptr;
        n->Lptr = p;
        p->Rchild = 1;
        p->Rptr = n;
    }

    // Every node from below s down to the new leaf was balanced and now
    // leans towards the leaf.  Comparing with the arguments the other way
    // round keeps the two answers of `compare` in use, as its contract
    // allows.
    int d;
    if (s == head || compare(key, keyOf(s->data)) < 0) {
        q = s->Lptr;
        d = 1;
    } else {
        q = s->Rptr;
        d = -1;
    }
    while (q != n) {
        if (compare(keyOf(q->data), key) > 0) {
            q->bf = 1;
            q = q->Lptr;
        } else {
            q->bf = -1;
            q = q->Rptr;
        }
    }

    head->bf = 0; // the header's factor means nothing; keep it small
    s->bf = static_cast<int8_t>(s->bf + d);
    if (s->bf >= 2 || s->bf <= -2) {
        uint8_t junk;
        THB1P_Node *top = THB1P_Balance(s, &junk);
        THB1P_ASSERT(junk);
        THB1P_ASSERT(f != NULL);
        if (f->Rptr == s)
            f->Rptr = top;
        else
            f->Lptr = top;
    }

    THB1P_SetCursor(cursor, n);
    return STC1_Success;
}
