// THB1P_Balance: one single or double rotation at a node whose balance
// factor has reached +2 or -2, keeping every thread exact.
//
// A rotation moves subtrees between nodes.  A subtree that is moved may be
// empty, in which case the link that carried it is a thread, and the
// thread must end up pointing to the right neighbour with its flag
// cleared.  Each branch below handles the empty case by flipping flags and
// leaving the pointers alone: in every such case the thread already points
// where it must.
#include "thb/zulth.h"

// a leans left by 2 and b, its left child, does not lean right: b rises,
// a becomes its right child, b's old right subtree becomes a's left.
static THB1P_Node *single_right(THB1P_Node *a, THB1P_Node *b, uint8_t *heightChanged)
{
    if (b->Rchild == 0) {
        THB1P_ASSERT(b->Rptr == a);
        a->Lchild = 0; // a->Lptr stays b, now a's predecessor thread
        b->Rchild = 1; // b->Rptr stays a, now a child link
    } else {
        a->Lptr = b->Rptr;
        b->Rptr = a;
    }
    // With b balanced (a deletion only) the subtree keeps its height.
    *heightChanged = b->bf != 0;
    b->bf--;
    a->bf = -b->bf;
    return b;
}

// a leans left by 2 and b, its left child, leans right: c, b's right
// child, rises above both.
static THB1P_Node *double_right(THB1P_Node *a, THB1P_Node *b, uint8_t *heightChanged)
{
    *heightChanged = 1;
    THB1P_Node *c = b->Rptr;
    if (c->Lchild == 0) {
        THB1P_ASSERT(c->Lptr == b);
        c->Lchild = 1;
        b->Rchild = 0; // b->Rptr stays c: b's successor thread
    } else {
        b->Rptr = c->Lptr;
        c->Lptr = b;
    }
    if (c->Rchild == 0) {
        THB1P_ASSERT(c->Rptr == a);
        c->Rchild = 1;
        a->Lptr = c; // a's predecessor thread
        a->Lchild = 0;
    } else {
        a->Lptr = c->Rptr;
        c->Rptr = a;
    }
    b->bf = c->bf < 0 ? 1 : 0;
    a->bf = c->bf > 0 ? -1 : 0;
    c->bf = 0;
    return c;
}

// The mirror images, for a leaning right by 2.
static THB1P_Node *single_left(THB1P_Node *a, THB1P_Node *b, uint8_t *heightChanged)
{
    if (b->Lchild == 0) {
        THB1P_ASSERT(b->Lptr == a);
        a->Rchild = 0;
        b->Lchild = 1;
    } else {
        a->Rptr = b->Lptr;
        b->Lptr = a;
    }
    *heightChanged = b->bf != 0;
    b->bf++;
    a->bf = -b->bf;
    return b;
}

static THB1P_Node *double_left(THB1P_Node *a, THB1P_Node *b, uint8_t *heightChanged)
{
    *heightChanged = 1;
    THB1P_Node *c = b->Lptr;
    if (c->Rchild == 0) {
        THB1P_ASSERT(c->Rptr == b);
        c->Rchild = 1;
        b->Lchild = 0;
    } else {
        b->Lptr = c->Rptr;
        c->Rptr = b;
    }
    if (c->Lchild == 0) {
        THB1P_ASSERT(c->Lptr == a);
        c->Lchild = 1;
        a->Rptr = c;
        a->Rchild = 0;
    } else {
        a->Rptr = c->Lptr;
        c->Lptr = a;
    }
    b->bf = c->bf > 0 ? -1 : 0;
    a->bf = c->bf < 0 ? 1 : 0;
    c->bf = 0;
    return c;
}

THB1P_Node *THB1P_Balance(THB1P_Node *a, uint8_t *heightChanged)
{
    *heightChanged = 0;
    if (a->Rptr == a || (a->bf >= -1 && a->bf <= 1))
        return a; // the header, or nothing to do
    if (a->bf == 2) {
        THB1P_Node *b = a->Lptr;
        return b->bf != -1 ? single_right(a, b, heightChanged) : double_right(a, b, heightChanged);
    }
    THB1P_Node *b = a->Rptr;
    return b->bf != 1 ? single_left(a, b, heightChanged) : double_left(a, b, heightChanged);
}
