// Focused cases: the cursor rules, replacement, the two-child deletion,
// bad handles and cursors, failed allocations, and the checks that end
// the process on a corrupted tree.
#include "thb_check.h"

#include <cstring>
#include <functional>

namespace {

int64_t KeyOf(void *data) { return static_cast<Item *>(data)->key; }

class TreeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Destroyed().clear();
        ASSERT_EQ(THB1_Create(&tree, CompareKeys, KeyOfItem, RecordDestroy), STC1_Success);
    }
    void TearDown() override { THB1_Destroy(&tree); }
    void Add(std::initializer_list<int64_t> keys, int64_t mark = -1, THB1_Cursor *c = nullptr)
    {
        for (int64_t k : keys)
            ASSERT_EQ(THB1_Insert(&tree, k == mark ? c : nullptr, items.make(k), 0), STC1_Success);
    }
    THB1_Tree tree{};
    Items items;
};

// From the header a walk gives the first or the last item.  Off either
// end it answers NotThere with *dataOut zeroed, twice, and stays on the
// last item it gave, so the opposite step gives that item's neighbour.
// THB1_Find leaves the cursor ready to step on from the item found.
TEST_F(TreeTest, CursorRules)
{
    THB1_Cursor c;
    void *data = &c;
    int64_t k = 20;
    EXPECT_EQ(THB1_Find(&tree, &c, &k, &data), STC1_NotThere);
    EXPECT_EQ(data, &c) << "a lookup that misses leaves *dataOut alone";
    ASSERT_EQ(THB1_Reset(&tree, &c), STC1_Success);
    EXPECT_EQ(THB1_Next(&c, &data), STC1_NotThere) << "empty tree";
    EXPECT_EQ(THB1_Prior(&c, &data), STC1_NotThere) << "empty tree";

    Add({20, 10, 30, 40});
    using Step = int (*)(THB1_Cursor *, void **);
    struct { Step on, back; int64_t first, beforeEnd; } cases[] = {
        {THB1_Next, THB1_Prior, 10, 30}, {THB1_Prior, THB1_Next, 40, 20}};
    for (auto &t : cases) {
        ASSERT_EQ(THB1_Reset(&tree, &c), STC1_Success);
        ASSERT_EQ(t.on(&c, &data), STC1_Success);
        EXPECT_EQ(KeyOf(data), t.first);
        while (t.on(&c, &data) == STC1_Success) {
        }
        EXPECT_EQ(data, nullptr);
        EXPECT_EQ(t.on(&c, &data), STC1_NotThere);
        ASSERT_EQ(t.back(&c, &data), STC1_Success);
        EXPECT_EQ(KeyOf(data), t.beforeEnd);
    }
    for (k = 10; k < 40; k += 10) {
        ASSERT_EQ(THB1_Find(&tree, &c, &k, &data), STC1_Success);
        ASSERT_EQ(THB1_Next(&c, &data), STC1_Success);
        EXPECT_EQ(KeyOf(data), k + 10);
    }
}

TEST_F(TreeTest, EqualKeysDuplicateOrReplaceInPlace)
{
    THB1_Cursor first, c;
    Add({7, 3, 9}, 7, &first);
    Item *old = items.make(0);
    *old = *static_cast<Item *>(first.node->data);
    memset(&c, 0xAB, sizeof c);
    EXPECT_EQ(THB1_Insert(&tree, &c, items.make(7), 0), STC1_Duplicate);
    EXPECT_EQ(c.node, nullptr);
    EXPECT_TRUE(Destroyed().empty());

    Item *fresh = items.make(7);
    ASSERT_EQ(THB1_Insert(&tree, &c, fresh, 1), STC1_Success);
    EXPECT_EQ(c.node, first.node) << "same node";
    ASSERT_EQ(Destroyed().size(), 1u);
    EXPECT_EQ(Destroyed()[0]->serial, old->serial) << "only the old item is given up";
    ASSERT_EQ(THB1_Insert(&tree, nullptr, fresh, 1), STC1_Success);
    EXPECT_EQ(Destroyed().size(), 1u) << "an item put back in its own place stays alive";
}

// A target with two children keeps its node and takes the neighbour's item:
// the predecessor when it leans left, else the successor.
TEST_F(TreeTest, TwoChildDeletionMovesTheNeighbourIntoTheTargetsNode)
{
    struct { std::initializer_list<int64_t> build; int64_t target, neighbour; } cases[] = {
        {{20, 10, 30}, 20, 30}, {{30, 20, 40, 10, 25}, 30, 25}, {{20, 10, 30, 25, 40}, 20, 25}};
    for (auto &t : cases) {
        THB1_Empty(&tree);
        THB1_Cursor onTarget, c;
        Add(t.build, t.target, &onTarget);
        Destroyed().clear();
        ASSERT_EQ(THB1_Delete(&tree, &t.target), STC1_Success);
        ASSERT_EQ(Destroyed().size(), 1u);
        EXPECT_EQ(Destroyed()[0]->key, t.target);
        void *data;
        ASSERT_EQ(THB1_Find(&tree, &c, &t.neighbour, &data), STC1_Success);
        EXPECT_EQ(c.node, onTarget.node) << t.target;
        CheckTree(tree);
    }
}

TEST_F(TreeTest, EmptyAndDestroyGiveUpItemsInAscendingOrder)
{
    THB1_Cursor atHead;
    ASSERT_EQ(THB1_Reset(&tree, &atHead), STC1_Success);
    for (auto op : {THB1_Empty, THB1_Destroy}) {
        if (tree.tree == nullptr)
            ASSERT_EQ(THB1_Create(&tree, CompareKeys, KeyOfItem, RecordDestroy), STC1_Success);
        Destroyed().clear();
        Add({5, 3, 8, 1, 4, 7, 9, 2, 6});
        ASSERT_EQ(op(&tree), STC1_Success);
        std::vector<int64_t> keys;
        for (Item *i : Destroyed())
            keys.push_back(i->key);
        std::vector<int64_t> expect{1, 2, 3, 4, 5, 6, 7, 8, 9};
        if (op == THB1_Destroy)
            expect.push_back(11); // added after THB1_Empty below
        EXPECT_EQ(keys, expect);
        if (op == THB1_Empty) {
            EXPECT_TRUE(CheckTree(tree).items.empty());
            Add({11});
            void *data;
            ASSERT_EQ(THB1_Next(&atHead, &data), STC1_Success) << "the header cursor outlives Empty";
            EXPECT_EQ(KeyOf(data), 11);
        }
    }
    EXPECT_EQ(THB1_Destroy(&tree), STC1_BadObject) << "the handle was cleared";
}

// Every call rejects a bad handle or cursor and touches no tree: null, a
// null pointer with a good eye-catcher, a good pointer with a bad one.
TEST_F(TreeTest, BadHandlesAndCursorsAnswerBadObject)
{
    Add({1, 2, 3});
    THB1_Cursor good;
    ASSERT_EQ(THB1_Reset(&tree, &good), STC1_Success);
    THB1_Tree bad[3] = {{nullptr, {'T', 'R', 'E', 'E'}}, tree, tree};
    memcpy(bad[1].eye, "TRE?", 4);
    memcpy(bad[2].eye, "NODE", 4);
    for (THB1_Tree *h : {(THB1_Tree *)nullptr, &bad[0], &bad[1], &bad[2]}) {
        int64_t k = 2;
        THB1_Cursor c = good;
        EXPECT_EQ(THB1_Find(h, &c, &k, nullptr), STC1_BadObject);
        EXPECT_EQ(c.node, nullptr);
        EXPECT_EQ(THB1_Reset(h, &c), STC1_BadObject);
        c = good;
        EXPECT_EQ(THB1_Insert(h, &c, items.make(9), 1), STC1_BadObject);
        EXPECT_EQ(c.node, nullptr);
        EXPECT_EQ(THB1_Delete(h, &k), STC1_BadObject);
        EXPECT_EQ(THB1_Empty(h), STC1_BadObject);
    }
    EXPECT_EQ(THB1_Destroy(&bad[1]), STC1_BadObject);
    EXPECT_EQ(bad[1].tree, nullptr) << "THB1_Destroy clears even a bad handle";

    THB1_Cursor badCursors[3] = {{nullptr, {'N', 'O', 'D', 'E'}}, good, good};
    memcpy(badCursors[1].eye, "node", 4);
    memcpy(badCursors[2].eye, "TREE", 4);
    for (THB1_Cursor *c : {(THB1_Cursor *)nullptr, &badCursors[0], &badCursors[1], &badCursors[2]}) {
        void *data = &good;
        EXPECT_EQ(THB1_Next(c, &data), STC1_BadObject);
        EXPECT_EQ(data, nullptr);
        EXPECT_EQ(THB1_Prior(c, &data), STC1_BadObject);
    }
    EXPECT_EQ(CheckTree(tree).items.size(), 3u);
    EXPECT_TRUE(Destroyed().empty());
}

TEST(TreeCreate, FailuresLeaveAnAllZeroHandleThatNothingAccepts)
{
    THB1_Tree t, zero{};
    for (int failure : {0, 1, 2}) {
        memset(&t, 0xAB, sizeof t);
        if (failure == 0)
            FailMallocAfter(1);
        int status = THB1_Create(&t, failure == 1 ? nullptr : CompareKeys, failure == 2 ? nullptr : KeyOfItem, nullptr);
        EXPECT_EQ(status, failure == 0 ? STC1_Shortage : STC1_BadArgument);
        EXPECT_EQ(0, memcmp(&t, &zero, sizeof t));
        int64_t k = 1;
        EXPECT_EQ(THB1_Insert(&t, nullptr, &k, 0), STC1_BadObject);
        EXPECT_EQ(THB1_Destroy(&t), STC1_BadObject);
    }
}

TEST_F(TreeTest, FailedInsertionLeavesTheTreeAsItWas)
{
    Add({50, 30, 70, 20, 40, 10}); // 5 would need a rotation at 30
    Shape before = CheckTree(tree);
    THB1P_Node *root = tree.tree->head->Lptr;
    THB1_Cursor c;
    memset(&c, 0xAB, sizeof c);
    FailMallocAfter(1);
    EXPECT_EQ(THB1_Insert(&tree, &c, items.make(5), 0), STC1_Shortage);
    EXPECT_EQ(c.node, nullptr);
    EXPECT_EQ(CheckTree(tree).items, before.items);
    EXPECT_EQ(tree.tree->head->Lptr, root);
    Add({5});
}

// A corrupted tree ends the process with the text of the broken check, in
// every build type.
TEST(TreeDeath, CorruptedTreesEndTheProcess)
{
    struct { std::function<void(THB1P_Node *)> corrupt; int64_t key; const char *text; } cases[] = {
        {[](THB1P_Node *r) { r->Rptr->bf = -1; }, 30, "p->bf == 0"},
        {[](THB1P_Node *r) { r->Rptr->Lchild = 1; }, 30, "THB1P_LTHREAD\\(p\\)"},
        {[](THB1P_Node *r) { r->Rptr->Lptr = r->Lptr; }, 30, "p->Lptr->Rptr == p"},
        {[](THB1P_Node *r) { r->Rptr->Rchild = 1, r->Rptr->Rptr = r; }, 99, "depth < THB1P_PATH"},
    };
    for (auto &t : cases)
        EXPECT_DEATH(
            {
                THB1_Tree tree;
                Items items;
                THB1_Create(&tree, CompareKeys, KeyOfItem, nullptr);
                for (int64_t k : {20, 10, 30})
                    THB1_Insert(&tree, nullptr, items.make(k), 0);
                t.corrupt(tree.tree->head->Lptr);
                THB1_Delete(&tree, &t.key);
            },
            std::string("Assertion failed: ") + t.text + ", file .*(zulthrm|zulthdl)\\.cpp, line [0-9]+");
}

} // namespace
