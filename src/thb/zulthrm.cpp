// THB1P_Remove, THB1P_RemoveFirst, THB1P_RemoveLast: the removal of one
// item, with the threads kept exact.
//
// Only a leaf's node is ever freed where it stands.  The item of a node
// with children is overwritten by its in-order neighbour's, and the
// neighbour's node, which is the first or last of one subtree and so has
// at most one child, is unlinked instead.  Picking the neighbour from the
// taller side (the left one when left-heavy) means that side can lose a
// level without the node itself going out of balance.
#include "thb/zulth.h"

#include <stdlib.h>

// Unlinks the leaf p from its parent.  The parent is found through the
// threads: if p is a left child its successor is its parent, otherwise
// its predecessor is.  Returns the thread that takes p's place in the
// parent's link.
static THB1P_Node *UnlinkLeaf(THB1P_Node *p)
{
    if (p->Rptr->Lptr == p) {
        p->Rptr->Lchild = 0;
        return p->Lptr;
    }
    THB1P_ASSERT(p->Lptr->Rptr == p);
    p->Lptr->Rchild = 0;
    return p->Rptr;
}

THB1P_Node *THB1P_Remove(THB1P_Tree *tree, THB1P_Node *p, uint8_t *shrunk)
{
    THB1P_Node *r = nullptr;
    uint8_t sub = 0;
    *shrunk = 0;

    if (p->bf == 1) {
        p->Lptr = THB1P_RemoveLast(p->Lptr, &r, &sub);
        if (sub) {
            p->bf--;
            *shrunk = p->bf == 0;
        }
    } else if (p->Rchild) {
        p->Rptr = THB1P_RemoveFirst(p->Rptr, &r, &sub);
        if (sub) {
            p->bf++;
            *shrunk = p->bf == 0;
        }
    } else {
        THB1P_ASSERT(p->bf == 0);
        THB1P_ASSERT(THB1P_LTHREAD(p));
        *shrunk = 1;
        THB1P_Node *thread = UnlinkLeaf(p);
        if (tree->destroy != nullptr)
            tree->destroy(p->data);
        free(p);
        return thread;
    }

    if (tree->destroy != nullptr)
        tree->destroy(p->data);
    p->data = r->data;
    free(r);
    return p;
}

THB1P_Node *THB1P_RemoveFirst(THB1P_Node *p, THB1P_Node **replacement, uint8_t *shrunk)
{
    uint8_t sub = 0;
    *shrunk = 0;

    if (p->Lchild) {
        p->Lptr = THB1P_RemoveFirst(p->Lptr, replacement, &sub);
        if (sub) {
            p->bf--;
            if (p->bf == 0)
                *shrunk = 1;
            else if (p->bf == -2)
                p = THB1P_Balance(p, shrunk);
        }
        return p;
    }

    // p is the first node of the subtree.
    *replacement = p;
    *shrunk = 1;
    if (p->Rchild) {
        // With no left subtree, balance allows only a leaf on the right.
        // It takes p's place and inherits p's predecessor thread.
        THB1P_ASSERT(p->Rptr->Lptr == p);
        THB1P_ASSERT(THB1P_LTHREAD(p->Rptr) && THB1P_RTHREAD(p->Rptr));
        p->Rptr->Lptr = p->Lptr;
        return p->Rptr;
    }
    return UnlinkLeaf(p);
}

THB1P_Node *THB1P_RemoveLast(THB1P_Node *p, THB1P_Node **replacement, uint8_t *shrunk)
{
    uint8_t sub = 0;
    *shrunk = 0;

    if (p->Rchild) {
        p->Rptr = THB1P_RemoveLast(p->Rptr, replacement, &sub);
        if (sub) {
            p->bf++;
            if (p->bf == 0)
                *shrunk = 1;
            else if (p->bf == 2)
                p = THB1P_Balance(p, shrunk);
        }
        return p;
    }

    *replacement = p;
    *shrunk = 1;
    if (p->Lchild) {
        THB1P_ASSERT(THB1P_LTHREAD(p->Lptr) && THB1P_RTHREAD(p->Lptr));
        THB1P_ASSERT(p->Lptr->Rptr == p);
        p->Lptr->Rptr = p->Rptr;
        return p->Lptr;
    }
    return UnlinkLeaf(p);
}
