// Insertion, replacement and deletion: the focused cases, the cursor
// rules after a deletion, failed allocation, and the invariant checks
// that end the process on a corrupted tree.
#include "thb_check.h"

#include <cstring>
#include <functional>

namespace {

class MutateTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Destroyed().clear();
        ASSERT_EQ(THB1_Create(&tree, CompareKeys, KeyOfItem, RecordDestroy), STC1_Success);
    }
    void TearDown() override { THB1_Destroy(&tree); }
    Item *Add(int64_t k, THB1_Cursor *c = nullptr)
    {
        Item *i = items.make(k);
        EXPECT_EQ(THB1_Insert(&tree, c, i, 0), STC1_Success) << k;
        return i;
    }
    std::vector<int64_t> Keys()
    {
        std::vector<int64_t> out;
        for (Item *i : CheckTree(tree, "keys").items)
            out.push_back(i->key);
        return out;
    }
    THB1P_Node *Root() { return tree.tree->head->Lptr; }

    THB1_Tree tree{};
    Items items;
};

TEST_F(MutateTest, FirstItemHangsLeftOfTheHeaderWithBothThreadsOnIt)
{
    THB1_Cursor c;
    Item *i = Add(42, &c);
    THB1P_Node *head = tree.tree->head;
    ASSERT_TRUE(head->Lchild);
    THB1P_Node *n = head->Lptr;
    EXPECT_EQ(c.node, n);
    EXPECT_EQ(0, memcmp(c.eye, "NODE", 4));
    EXPECT_EQ(n->data, i);
    EXPECT_FALSE(n->Lchild);
    EXPECT_FALSE(n->Rchild);
    EXPECT_EQ(n->Lptr, head);
    EXPECT_EQ(n->Rptr, head);
}

TEST_F(MutateTest, EqualKeyWithoutReplaceIsADuplicate)
{
    Item *old = Add(7);
    Add(3);
    THB1_Cursor c;
    memset(&c, 0xAB, sizeof c);
    EXPECT_EQ(THB1_Insert(&tree, &c, items.make(7), 0), STC1_Duplicate);
    EXPECT_EQ(c.node, nullptr);
    EXPECT_EQ(0, memcmp(c.eye, "\0\0\0\0", 4));
    EXPECT_TRUE(Destroyed().empty());
    int64_t k = 7;
    void *data;
    ASSERT_EQ(THB1_Find(&tree, nullptr, &k, &data), STC1_Success);
    EXPECT_EQ(data, old);
}

TEST_F(MutateTest, EqualKeyWithReplaceSwapsTheItemInTheSameNode)
{
    THB1_Cursor first, second;
    Item *old = Add(7, &first);
    Add(3);
    Add(9);
    Item *fresh = items.make(7);
    ASSERT_EQ(THB1_Insert(&tree, &second, fresh, 1), STC1_Success);
    EXPECT_EQ(second.node, first.node);
    ASSERT_EQ(Destroyed().size(), 1u);
    EXPECT_EQ(Destroyed()[0], old);
    EXPECT_EQ(CheckTree(tree, "replaced").items, (std::vector<Item *>{items.all[1].get(), fresh, items.all[2].get()}));

    // Putting an item back in its own place keeps it alive.
    ASSERT_EQ(THB1_Insert(&tree, nullptr, fresh, 1), STC1_Success);
    EXPECT_EQ(Destroyed().size(), 1u);
}

TEST_F(MutateTest, FailedAllocationLeavesTheTreeAsItWas)
{
    for (int64_t k : {50, 30, 70, 20, 40, 10})
        Add(k);
    Shape before = CheckTree(tree, "before");
    THB1_Cursor c;
    memset(&c, 0xAB, sizeof c);
    FailMallocAfter(1);
    // 5 would make 30's subtree lean too far: with the allocation gone no
    // balance factor may have moved.
    EXPECT_EQ(THB1_Insert(&tree, &c, items.make(5), 0), STC1_Shortage);
    EXPECT_EQ(c.node, nullptr);
    Shape after = CheckTree(tree, "after");
    EXPECT_EQ(after.items, before.items);
    EXPECT_EQ(after.root, before.root);
    EXPECT_TRUE(Destroyed().empty());
    Add(5);
    EXPECT_EQ(Keys(), (std::vector<int64_t>{5, 10, 20, 30, 40, 50, 70}));
}

TEST_F(MutateTest, DeletingTheOnlyItemRestoresTheEmptyForm)
{
    Item *i = Add(1);
    int64_t k = 1;
    ASSERT_EQ(THB1_Delete(&tree, &k), STC1_Success);
    THB1P_Node *head = tree.tree->head;
    EXPECT_FALSE(head->Lchild);
    EXPECT_EQ(head->Lptr, head);
    EXPECT_EQ(Destroyed(), std::vector<Item *>{i});
    EXPECT_EQ(THB1_Delete(&tree, &k), STC1_NotThere);
}

TEST_F(MutateTest, DeletingAnAbsentKeyChangesNothing)
{
    for (int64_t k : {2, 4, 6})
        Add(k);
    for (int64_t k : {1, 3, 5, 7}) {
        EXPECT_EQ(THB1_Delete(&tree, &k), STC1_NotThere);
    }
    EXPECT_TRUE(Destroyed().empty());
    EXPECT_EQ(Keys(), (std::vector<int64_t>{2, 4, 6}));
}

// A target with two children keeps its node: the neighbour's item moves
// into it and the neighbour's node goes.  The neighbour comes from the
// left when the target leans left, otherwise from the right.
TEST_F(MutateTest, TwoChildDeletionMovesTheNeighbourIntoTheTarget)
{
    struct Case {
        const char *name;
        std::vector<int64_t> build;
        int64_t target, neighbour;
    } cases[] = {
        {"balanced target pulls the successor", {20, 10, 30}, 20, 30},
        {"left-heavy target pulls the predecessor", {30, 20, 40, 10, 25}, 30, 25},
        {"right-heavy target pulls the successor", {20, 10, 30, 25, 40}, 20, 25},
    };
    for (const Case &t : cases) {
        SCOPED_TRACE(t.name);
        THB1_Empty(&tree);
        std::vector<Item *> added;
        THB1_Cursor onTarget, onOther;
        for (int64_t k : t.build)
            added.push_back(Add(k, k == t.target ? &onTarget : k == t.neighbour ? &onOther : nullptr));
        ASSERT_EQ(onTarget.node, Root());
        Destroyed().clear();
        ASSERT_EQ(THB1_Delete(&tree, &t.target), STC1_Success);
        ASSERT_EQ(Destroyed().size(), 1u);
        EXPECT_EQ(Destroyed()[0]->key, t.target);
        EXPECT_EQ(Root(), onTarget.node) << "the target's node stays";
        // The cursor that stood on the target now stands on the neighbour's
        // item, and walks from there.
        void *data = nullptr;
        THB1_Cursor c = onTarget;
        ASSERT_EQ(THB1_Prior(&c, &data), STC1_Success);
        ASSERT_EQ(THB1_Next(&c, &data), STC1_Success);
        EXPECT_EQ(static_cast<Item *>(data)->key, t.neighbour);
        int64_t k = t.neighbour;
        ASSERT_EQ(THB1_Find(&tree, &c, &k, &data), STC1_Success);
        EXPECT_EQ(c.node, onTarget.node);
        CheckTree(tree, t.name);
    }
}

TEST_F(MutateTest, AscendingAndDescendingRunsStayBalanced)
{
    for (int direction : {1, -1}) {
        SCOPED_TRACE(direction);
        THB1_Empty(&tree);
        const int n = 2000;
        for (int i = 0; i < n; i++)
            Add(direction * i);
        Shape s = CheckTree(tree, "run");
        ASSERT_EQ(s.items.size(), size_t(n));
        // A run fills the tree almost perfectly: 2000 items need 11 levels.
        EXPECT_LE(s.height, 12);
        EXPECT_EQ(WalkForward(&tree), s.items);
        EXPECT_EQ(WalkBackward(&tree), s.items);
        // And the same run deleting.
        for (int i = 0; i < n; i += 2) {
            int64_t k = direction * i;
            ASSERT_EQ(THB1_Delete(&tree, &k), STC1_Success);
        }
        EXPECT_EQ(CheckTree(tree, "half deleted").items.size(), size_t(n / 2));
    }
}

// The sparsest balanced tree of each height, built without rotations by
// inserting it level by level.  Deleting its shallowest leaf makes the
// tree one level lower through a rotation on every second level up.
static void Sparsest(int height, std::vector<std::vector<int64_t>> &levels, int depth, int64_t &next)
{
    if (height <= 0)
        return;
    // keys numbered in order: left (taller) subtree, node, right subtree
    Sparsest(height - 1, levels, depth + 1, next);
    int64_t key = next++;
    if (levels.size() <= size_t(depth))
        levels.resize(depth + 1);
    levels[depth].push_back(key);
    Sparsest(height - 2, levels, depth + 1, next);
}

TEST_F(MutateTest, DeletionRotatesOnSeveralLevels)
{
    std::vector<std::vector<int64_t>> levels;
    int64_t next = 0;
    const int height = 8;
    Sparsest(height, levels, 0, next);
    for (auto &level : levels)
        for (int64_t k : level)
            Add(k);
    Shape s = CheckTree(tree, "sparsest");
    ASSERT_EQ(s.height, height);
    ASSERT_EQ(static_cast<Item *>(Root()->data)->key, levels[0][0]) << "built without rotations";
    // The shallowest leaf is the last item: the right spine is the short one.
    int64_t last = next - 1;
    ASSERT_EQ(THB1_Delete(&tree, &last), STC1_Success);
    Shape after = CheckTree(tree, "after the deletion");
    EXPECT_EQ(after.height, height - 1);
    EXPECT_EQ(after.items.size(), s.items.size() - 1);
    EXPECT_NE(after.root, s.root) << "the rotations reached the root";
}

// A corrupted tree ends the process with the text of the broken invariant,
// in every build type.
TEST(MutateDeath, CorruptedTreesEndTheProcess)
{
    struct Case {
        const char *name;
        std::function<void(THB1P_Node *root, THB1P_Node *head)> corrupt;
        int64_t deleteKey;
        const char *text;
    } cases[] = {
        {"leaf that claims to lean", [](THB1P_Node *root, THB1P_Node *) { root->Rptr->bf = -1; },
         30, "Assertion failed: p->bf == 0"},
        {"leaf with a left child flag", [](THB1P_Node *root, THB1P_Node *) { root->Rptr->Lchild = 1; },
         30, "Assertion failed: THB1P_LTHREAD\\(p\\)"},
        {"leaf whose parent lost it",
         [](THB1P_Node *root, THB1P_Node *) { root->Rptr->Lptr = root->Lptr; },
         30, "Assertion failed: p->Lptr->Rptr == p"},
        {"cycle in the child links",
         [](THB1P_Node *root, THB1P_Node *) {
             root->Rptr->Rchild = 1;
             root->Rptr->Rptr = root;
         },
         99, "Assertion failed: depth < THB1P_PATH"},
    };
    for (const Case &t : cases) {
        SCOPED_TRACE(t.name);
        EXPECT_DEATH(
            {
                THB1_Tree tree;
                Items items;
                THB1_Create(&tree, CompareKeys, KeyOfItem, nullptr);
                for (int64_t k : {20, 10, 30})
                    THB1_Insert(&tree, nullptr, items.make(k), 0);
                t.corrupt(tree.tree->head->Lptr, tree.tree->head);
                THB1_Delete(&tree, &t.deleteKey);
            },
            t.text);
    }
}

} // namespace
