// Shared helpers of the tree tests: items, recording callbacks, a malloc
// that can be told to fail, and a full check of a tree's shape.
#ifndef ZUL_TESTS_THB_CHECK_H
#define ZUL_TESTS_THB_CHECK_H

#include <zul/thb1.h>
#include "thb/zulth.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

// The tree orders items by `key`; `serial` tells apart items with one key.
struct Item {
    int64_t key;
    int serial;
};
struct Items {
    std::deque<Item> all; // addresses stay put
    Item *make(int64_t key) { return &all.emplace_back(Item{key, int(all.size())}); }
};

inline int CompareKeys(const void *a, const void *b)
{
    int64_t x = *static_cast<const int64_t *>(a), y = *static_cast<const int64_t *>(b);
    return (x > y) - (x < y);
}
inline const void *KeyOfItem(void *data) { return &static_cast<Item *>(data)->key; }

inline std::vector<Item *> &Destroyed() // what the tree gave up, in order
{
    static std::vector<Item *> list;
    return list;
}
inline void RecordDestroy(void *data) { Destroyed().push_back(static_cast<Item *>(data)); }

void FailMallocAfter(int n); // the n-th following malloc returns null

struct Shape {
    std::vector<Item *> items; // in order of the child links
    int height = 0;
};

// Height of the subtree at n; checks each balance factor on the way.
inline int CheckNode(THB1P_Node *n, std::vector<THB1P_Node *> &order, int depth)
{
    if (depth > 100) {
        ADD_FAILURE() << "cycle in the child links";
        return 0;
    }
    int lh = n->Lchild ? CheckNode(n->Lptr, order, depth + 1) : 0;
    order.push_back(n);
    int rh = n->Rchild ? CheckNode(n->Rptr, order, depth + 1) : 0;
    EXPECT_EQ(n->bf, lh - rh) << "bf of item " << static_cast<Item *>(n->data)->key;
    EXPECT_LE(std::abs(lh - rh), 1) << "balance at item " << static_cast<Item *>(n->data)->key;
    return 1 + std::max(lh, rh);
}

// Checks the header, every balance factor, every thread and the order.
inline Shape CheckTree(const THB1_Tree &handle)
{
    Shape shape;
    THB1P_Node *head = handle.tree->head;
    EXPECT_EQ(head, &reinterpret_cast<THB1P_Block *>(handle.tree)->header);
    EXPECT_TRUE(head->Rptr == head && head->Rchild == 1 && head->data == nullptr);
    if (!head->Lchild) {
        EXPECT_EQ(head->Lptr, head) << "left thread of an empty tree";
        return shape;
    }
    std::vector<THB1P_Node *> order;
    shape.height = CheckNode(head->Lptr, order, 0);
    for (size_t i = 0; i < order.size(); i++) {
        THB1P_Node *n = order[i];
        if (!n->Lchild)
            EXPECT_EQ(n->Lptr, i == 0 ? head : order[i - 1]) << "left thread of #" << i;
        if (!n->Rchild)
            EXPECT_EQ(n->Rptr, i + 1 == order.size() ? head : order[i + 1]) << "right thread of #" << i;
        if (i > 0)
            EXPECT_LT(CompareKeys(KeyOfItem(order[i - 1]->data), KeyOfItem(n->data)), 0) << "#" << i;
        shape.items.push_back(static_cast<Item *>(n->data));
    }
    return shape;
}

// The items as a walk from the header gives them, in ascending order.
inline std::vector<Item *> Walk(THB1_Tree *handle, bool forward)
{
    std::vector<Item *> out;
    THB1_Cursor c;
    void *data;
    EXPECT_EQ(THB1_Reset(handle, &c), STC1_Success);
    while ((forward ? THB1_Next(&c, &data) : THB1_Prior(&c, &data)) == STC1_Success)
        out.insert(forward ? out.end() : out.begin(), static_cast<Item *>(data));
    return out;
}

#endif
