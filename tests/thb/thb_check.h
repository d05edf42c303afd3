// Shared helpers of the tree tests: items with a key and a serial number,
// callbacks that record what the tree gives up, a malloc that can be told
// to fail, and a full check of a tree's shape.
#ifndef ZUL_TESTS_THB_CHECK_H
#define ZUL_TESTS_THB_CHECK_H

#include <zul/thb1.h>
#include "thb/zulth.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// An item: the tree orders by `key`; `serial` tells apart two items with
// the same key.
struct Item {
    int64_t key;
    int serial;
};

// Owns the items; their addresses stay put.
struct Items {
    std::vector<std::unique_ptr<Item>> all;
    Item *make(int64_t key)
    {
        all.push_back(std::make_unique<Item>(Item{key, int(all.size())}));
        return all.back().get();
    }
};

inline int CompareKeys(const void *a, const void *b)
{
    int64_t x = *static_cast<const int64_t *>(a), y = *static_cast<const int64_t *>(b);
    return x < y ? -1 : x > y ? 1 : 0;
}

inline const void *KeyOfItem(void *data) { return &static_cast<Item *>(data)->key; }

// Items given up through the destroy callback, in call order.
inline std::vector<Item *> &Destroyed()
{
    static std::vector<Item *> list;
    return list;
}
inline void RecordDestroy(void *data) { Destroyed().push_back(static_cast<Item *>(data)); }

// Set to n > 0: the n-th following malloc in this program returns null.
void FailMallocAfter(int n);

// Checks every invariant of the tree behind `handle` and returns its items
// in order of the child links.  Failures are reported through GoogleTest
// with `where` attached.
struct Shape {
    std::vector<Item *> items;
    int height = 0;
    THB1P_Node *root = nullptr;
};

namespace thbcheck {

inline int Walk(THB1P_Node *n, std::vector<THB1P_Node *> &order, int depth, bool &ok,
                const std::string &where)
{
    if (depth > 200) { // a cycle in the child links
        ADD_FAILURE() << where << ": child links too deep";
        ok = false;
        return 0;
    }
    int lh = n->Lchild ? Walk(n->Lptr, order, depth + 1, ok, where) : 0;
    order.push_back(n);
    int rh = n->Rchild ? Walk(n->Rptr, order, depth + 1, ok, where) : 0;
    if (n->bf != lh - rh) {
        ADD_FAILURE() << where << ": item " << static_cast<Item *>(n->data)->key << " has bf "
                      << int(n->bf) << " but heights " << lh << "/" << rh;
        ok = false;
    }
    if (lh - rh > 1 || rh - lh > 1) {
        ADD_FAILURE() << where << ": item " << static_cast<Item *>(n->data)->key
                      << " out of balance";
        ok = false;
    }
    return 1 + (lh > rh ? lh : rh);
}

} // namespace thbcheck

inline Shape CheckTree(const THB1_Tree &handle, const std::string &where)
{
    Shape shape;
    THB1P_Tree *tree = handle.tree;
    THB1P_Node *head = tree->head;
    EXPECT_EQ(head, reinterpret_cast<THB1P_Node *>(reinterpret_cast<char *>(tree) +
                                                   offsetof(THB1P_Block, header)))
        << where;
    EXPECT_EQ(head->Rptr, head) << where;
    EXPECT_EQ(head->Rchild, 1) << where;
    EXPECT_EQ(head->data, nullptr) << where;
    if (!head->Lchild) {
        EXPECT_EQ(head->Lptr, head) << where << ": empty tree's left thread";
        return shape;
    }
    std::vector<THB1P_Node *> order;
    bool ok = true;
    shape.root = head->Lptr;
    shape.height = thbcheck::Walk(head->Lptr, order, 0, ok, where);
    for (size_t i = 0; i < order.size(); i++) {
        THB1P_Node *n = order[i];
        THB1P_Node *pred = i == 0 ? head : order[i - 1];
        THB1P_Node *succ = i + 1 == order.size() ? head : order[i + 1];
        if (!n->Lchild && n->Lptr != pred) {
            ADD_FAILURE() << where << ": left thread of item #" << i << " is wrong";
            ok = false;
        }
        if (!n->Rchild && n->Rptr != succ) {
            ADD_FAILURE() << where << ": right thread of item #" << i << " is wrong";
            ok = false;
        }
        if (i > 0 && CompareKeys(KeyOfItem(order[i - 1]->data), KeyOfItem(n->data)) >= 0) {
            ADD_FAILURE() << where << ": items out of order at #" << i;
            ok = false;
        }
        shape.items.push_back(static_cast<Item *>(n->data));
    }
    return shape;
}

// The items as THB1_Next gives them from the header, and as THB1_Prior
// gives them, reversed back into ascending order.
inline std::vector<Item *> WalkForward(THB1_Tree *handle)
{
    std::vector<Item *> out;
    THB1_Cursor c;
    EXPECT_EQ(THB1_Reset(handle, &c), STC1_Success);
    void *data;
    while (THB1_Next(&c, &data) == STC1_Success)
        out.push_back(static_cast<Item *>(data));
    return out;
}

inline std::vector<Item *> WalkBackward(THB1_Tree *handle)
{
    std::vector<Item *> out;
    THB1_Cursor c;
    EXPECT_EQ(THB1_Reset(handle, &c), STC1_Success);
    void *data;
    while (THB1_Prior(&c, &data) == STC1_Success)
        out.insert(out.begin(), static_cast<Item *>(data));
    return out;
}

#endif
