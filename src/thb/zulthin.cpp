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

// Where one descent from the root leads for `key`.
typedef struct {
    THB1P_Node *parent; // the last node met: the new leaf's parent
    THB1P_Node *pivot;  // s: the deepest node on the way that leans, or the header
    THB1P_Node *above;  // f: the pivot's parent (null while the pivot is the header)
    int side;           // <0 or >0: the side of `parent` for the new leaf; 0: `parent` has the key
} place_t;

static place_t find_place(THB1P_Tree *tree, const void *key)
{
    THB1_CompareFn compare = tree->compare;
    THB1_KeyFn keyOf = tree->key;
    THB1P_Node *head = tree->head;
    place_t at = {head, head, nullptr, -1}; // an empty tree hangs the first node left of the header
    THB1P_Node *q = head->Lchild ? head->Lptr : nullptr;
    while (q != nullptr) {
        if (q->bf != 0) {
            at.pivot = q;
            at.above = at.parent;
        }
        at.parent = q;
        __builtin_prefetch(q->Lptr); // the next level loads while the callbacks run
        __builtin_prefetch(q->Rptr);
        at.side = compare(key, keyOf(q->data));
        if (at.side < 0)
            q = q->Lchild ? q->Lptr : nullptr;
        else if (at.side > 0)
            q = q->Rchild ? q->Rptr : nullptr;
        else
            break;
    }
    return at;
}

// A leaf for `data` on side `side` of `parent`; null without memory, with
// nothing changed.  The leaf inherits the thread that its parent had on
// that side, and its other thread points back to the parent.
static THB1P_Node *hang_leaf(THB1P_Node *parent, int side, void *data)
{
    THB1P_Node *n = static_cast<THB1P_Node *>(malloc(sizeof(THB1P_Node)));
    if (n == nullptr)
        return nullptr;
    n->data = data;
    n->bf = 0;
    n->Lchild = 0;
    n->Rchild = 0;
    if (side < 0) {
        n->Lptr = parent->Lptr;
        n->Rptr = parent;
        parent->Lchild = 1;
        parent->Lptr = n;
    } else {
        n->Rptr = parent->Rptr;
        n->Lptr = parent;
        parent->Rchild = 1;
        parent->Rptr = n;
    }
    return n;
}

// After `leaf` has been hung for `key`: every node from below the pivot
// down to the leaf was balanced and now leans towards the leaf, and the
// pivot leans one step further, which one rotation puts right.  Comparing
// with the arguments the other way round keeps the two answers of
// `compare` in use, as its contract allows.
static void rebalance(THB1P_Tree *tree, const place_t *at, THB1P_Node *leaf, const void *key)
{
    THB1_CompareFn compare = tree->compare;
    THB1_KeyFn keyOf = tree->key;
    THB1P_Node *s = at->pivot, *q;
    int d;
    if (s == tree->head || compare(key, keyOf(s->data)) < 0) {
        q = s->Lptr;
        d = 1;
    } else {
        q = s->Rptr;
        d = -1;
    }
    while (q != leaf) {
        if (compare(keyOf(q->data), key) > 0) {
            q->bf = 1;
            q = q->Lptr;
        } else {
            q->bf = -1;
            q = q->Rptr;
        }
    }

    tree->head->bf = 0; // the header's factor means nothing; keep it small
    s->bf = static_cast<int8_t>(s->bf + d);
    if (s->bf >= 2 || s->bf <= -2) {
        uint8_t junk;
        THB1P_Node *top = THB1P_Balance(s, &junk);
        THB1P_ASSERT(junk);
        THB1P_ASSERT(at->above != NULL);
        if (at->above->Rptr == s)
            at->above->Rptr = top;
        else
            at->above->Lptr = top;
    }
}

int THB1_Insert(THB1_Tree *handle, THB1_Cursor *cursor, void *data, int replace)
{
    THB1P_ClearCursor(cursor);
    THB1P_Tree *tree = THB1P_Resolve(handle);
    if (tree == nullptr)
        return STC1_BadObject;

    const void *key = tree->key(data);
    const place_t at = find_place(tree, key);
    if (at.side == 0) {
        if (!replace)
            return STC1_Duplicate;
        // Same node, same key: the shape does not change.  An item that is
        // put back in its own place is not given up.
        THB1P_Node *q = at.parent;
        if (tree->destroy != nullptr && q->data != data)
            tree->destroy(q->data);
        q->data = data;
        THB1P_SetCursor(cursor, q);
        return STC1_Success;
    }

    // Nothing has been changed so far, so a failure leaves the tree as it
    // was.
    THB1P_Node *n = hang_leaf(at.parent, at.side, data);
    if (n == nullptr)
        return STC1_Shortage;
    rebalance(tree, &at, n, key);
    THB1P_SetCursor(cursor, n);
    return STC1_Success;
}
