// thb/zulth.h - private records of the threaded height-balanced tree.
//
// Every node has two link words and two flags.  A set flag marks the link
// as a child; a clear flag marks it as a thread to the in-order neighbour
// on that side.  The tree record is followed, in the same heap block, by a
// header node that anchors the threads:
//
//   - the root is the header's left child; in an empty tree the header's
//     left link is a thread to the header itself;
//   - the header's right link is a child link to the header itself, always,
//     which makes it the only node whose Rptr is its own address; that is
//     how a walk recognises the end;
//   - the first node's left thread and the last node's right thread point
//     to the header.
#ifndef ZUL_SRC_THB_ZULTH_H
#define ZUL_SRC_THB_ZULTH_H

#include <zul/thb1.h>

#include <stdint.h>

#include "platform/zulplat.h"
#include <string.h>

struct THB1P_Node {
    void *data;               // the item; 0 in the header
    struct THB1P_Node *Lptr;  // left child, or thread to the predecessor
    struct THB1P_Node *Rptr;  // right child, or thread to the successor
    int8_t bf;                // height(left) - height(right): -1, 0, +1
    uint8_t Lchild;           // nonzero: Lptr is a child link
    uint8_t Rchild;           // nonzero: Rptr is a child link
};

struct THB1P_Tree {
    THB1P_Node *head;         // the header node, which follows this record
    THB1_CompareFn compare;
    THB1_KeyFn key;
    THB1_DestroyFn destroy;   // may be null
};

// The block that THB1_Create allocates: the record, then the header.
typedef struct THB1P_Block {
    THB1P_Tree tree;
    THB1P_Node header;
} THB1P_Block;

// The flags store "is a child"; these ask "is a thread".
#define THB1P_LTHREAD(p) ((p)->Lchild == 0)
#define THB1P_RTHREAD(p) ((p)->Rchild == 0)

// ------------------------------------------------------------------
// Invariant checks
// ------------------------------------------------------------------

// Ends the process with "Assertion failed: <text>, file <file>, line
// <line>" on standard error, as a failed ZUL_ASSERT does; but these checks
// stay in every build type: they guard the shape of the tree, and a tree
// that has gone wrong must not be used on, since its next step would
// follow a broken link into freed or foreign memory.
#define THB1P_ASSERT(expr)                                                                 \
    (__builtin_expect(!!(expr), 1)                                                         \
         ? (void)0                                                                         \
         : ZULPL_Abort("Assertion failed: %s, file %s, line %d\n", #expr, __FILE__, __LINE__))

// ------------------------------------------------------------------
// The deletion's path stack
// ------------------------------------------------------------------

// The fewest nodes a height-balanced tree of height h can have obeys
// N(h) = N(h-1) + N(h-2) + 1.  The path of a deletion holds the header and
// the ancestors of the target, at most one entry per level, so it needs as
// many entries as the greatest height that fits in the address space:
// 40 where pointers are 32 bits wide and nodes take 16 bytes, 84 on a
// 64-bit address space with 32-byte nodes.
constexpr int THB1P_MaxHeight(int addressBits, unsigned nodeSize)
{
    int shift = 0;
    while ((1u << shift) < nodeSize)
        shift++;
    // the most nodes that fit: 2^(addressBits - shift), compared as
    // floating point so that 2^64 needs no wider integer
    double capacity = 1.0;
    for (int i = 0; i < addressBits - shift; i++)
        capacity *= 2.0;
    double older = 0, newer = 1; // N(0), N(1)
    int height = 1;
    while (newer + older + 1 <= capacity) {
        double next = newer + older + 1;
        older = newer;
        newer = next;
        height++;
    }
    return height;
}

static_assert(THB1P_MaxHeight(32, 16) == 40, "the 32-bit figure");
#define THB1P_PATH THB1P_MaxHeight(int(sizeof(void *) * 8), unsigned(sizeof(THB1P_Node)))

// ------------------------------------------------------------------
// Handles and the in-order neighbours
// ------------------------------------------------------------------

static inline THB1P_Tree *THB1P_Resolve(const THB1_Tree *handle)
{
    if (handle == nullptr || handle->tree == nullptr || memcmp(handle->eye, "TREE", 4) != 0)
        return nullptr;
    return handle->tree;
}

static inline THB1P_Node *THB1P_ResolveCursor(const THB1_Cursor *cursor)
{
    if (cursor == nullptr || cursor->node == nullptr || memcmp(cursor->eye, "NODE", 4) != 0)
        return nullptr;
    return cursor->node;
}

static inline void THB1P_ClearCursor(THB1_Cursor *cursor)
{
    if (cursor != nullptr)
        memset(cursor, 0, sizeof *cursor);
}

static inline void THB1P_SetCursor(THB1_Cursor *cursor, THB1P_Node *node)
{
    if (cursor != nullptr) {
        cursor->node = node;
        memcpy(cursor->eye, "NODE", 4);
    }
}

// The in-order successor of n, or null at the end.  From the header this
// runs down the left spine to the first node: the header's Rptr is itself
// and its Rchild is 1.
static inline THB1P_Node *THB1P_Next(THB1P_Node *n)
{
    if (n == nullptr)
        return nullptr;
    THB1P_Node *s = n->Rptr;
    if (n->Rchild)
        while (s->Lchild)
            s = s->Lptr;
    return s->Rptr == s ? nullptr : s;
}

// The in-order predecessor of n, or null at the end.  From the header
// this runs down the right spine from the root to the last node.
static inline THB1P_Node *THB1P_Prior(THB1P_Node *n)
{
    if (n == nullptr)
        return nullptr;
    THB1P_Node *s = n->Lptr;
    if (n->Lchild)
        while (s->Rchild)
            s = s->Rptr;
    return s->Rptr == s ? nullptr : s;
}

// Gives up every item in ascending key order and frees every node; leaves
// the header as it was.
void THB1P_FreeNodes(THB1P_Tree *tree);

// ------------------------------------------------------------------
// Rebalancing and removal
// ------------------------------------------------------------------

// Restores a node whose bf is +2 or -2 by one single or double rotation.
// Returns the root of the subtree that stood at `a`, to be stored in the
// link that pointed to `a`; *heightChanged tells whether that subtree has
// become one level lower.
THB1P_Node *THB1P_Balance(THB1P_Node *a, uint8_t *heightChanged);

// Removes the item held by `p`.  Returns what the parent's link to `p`
// must become; *shrunk tells whether the subtree at `p` became lower.
THB1P_Node *THB1P_Remove(THB1P_Tree *tree, THB1P_Node *p, uint8_t *shrunk);

// Unlinks the first (last) node in order of the subtree at `p` without
// freeing it and stores it in *replacement.  Returns the subtree's new
// root, or the thread value for the parent's link if it became empty.
THB1P_Node *THB1P_RemoveFirst(THB1P_Node *p, THB1P_Node **replacement, uint8_t *shrunk);
THB1P_Node *THB1P_RemoveLast(THB1P_Node *p, THB1P_Node **replacement, uint8_t *shrunk);

#endif // ZUL_SRC_THB_ZULTH_H
