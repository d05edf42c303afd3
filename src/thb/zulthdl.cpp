// THB1_Delete: removes the item with a given key and rebalances.
//
// The descent records its path, so that the unwind can store the new
// subtree roots in their parents and walk up while the height keeps
// dropping.  Unlike an insertion, a deletion may need a rotation on every
// level of the path.
#include "thb/zulth.h"

namespace {
struct PathEntry {
    int32_t direction; // +1: the path went left out of the node; -1: right
    THB1P_Node *node;
};
} // namespace

int THB1_Delete(THB1_Tree *handle, const void *key)
{
    THB1P_Tree *tree = THB1P_Resolve(handle);
    if (tree == nullptr)
        return STC1_BadObject;

    THB1_CompareFn compare = tree->compare;
    THB1_KeyFn keyOf = tree->key;
    THB1P_Node *head = tree->head;
    uint8_t flag = 0;

    // Sized for the tallest tree that fits in the address space, so a
    // sound tree never fills it; a full stack means the links form a cycle.
    PathEntry path[THB1P_PATH];
    int depth = 0;

    THB1P_Node *p = head->Lchild ? head->Lptr : nullptr;
    head->bf = 0;
    path[depth++] = {1, head};
    THB1P_Node *target = nullptr;
    while (p != nullptr) {
        __builtin_prefetch(p->Lptr); // the next level loads while the callbacks run
        __builtin_prefetch(p->Rptr);
        int r = compare(key, keyOf(p->data));
        if (r == 0) {
            target = p;
            break;
        }
        THB1P_ASSERT(depth < THB1P_PATH);
        if (r > 0) {
            path[depth++] = {-1, p};
            p = p->Rchild ? p->Rptr : nullptr;
        } else {
            path[depth++] = {1, p};
            p = p->Lchild ? p->Lptr : nullptr;
        }
    }
    if (target == nullptr)
        return STC1_NotThere;

    THB1P_Node *q = THB1P_Remove(tree, target, &flag);

    while (depth > 0) {
        PathEntry e = path[--depth];
        p = e.node;
        if (e.direction == -1)
            p->Rptr = q;
        else
            p->Lptr = q;
        q = p;
        bool rotated = false;
        if (flag) {
            p->bf = static_cast<int8_t>(p->bf - e.direction);
            if (p->bf == 1 || p->bf == -1) {
                flag = 0; // one side lost a level, the other still has it
            } else if (p->bf != 0) {
                q = THB1P_Balance(p, &flag);
                rotated = true;
            }
            // bf 0: the taller side lost its extra level; the subtree is
            // lower and the flag stays.
        }
        // After a rotation that kept the height, one more pass stores the
        // new subtree root in its parent and changes nothing else.
        if (p == head || !(rotated || flag))
            break;
    }
    return STC1_Success;
}
