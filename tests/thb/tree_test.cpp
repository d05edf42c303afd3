// Creation, destruction, search and the cursor walk.
#include "thb_check.h"

#include <cstring>

namespace {

class TreeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Destroyed().clear();
        ASSERT_EQ(THB1_Create(&tree, CompareKeys, KeyOfItem, RecordDestroy), STC1_Success);
    }
    void TearDown() override
    {
        if (tree.tree != nullptr)
            THB1_Destroy(&tree);
    }
    // Inserts the keys in the order given.
    void Add(std::initializer_list<int64_t> keys)
    {
        for (int64_t k : keys)
            ASSERT_EQ(THB1_Insert(&tree, nullptr, items.make(k), 0), STC1_Success) << k;
    }
    static int64_t KeyOf(void *data) { return static_cast<Item *>(data)->key; }

    THB1_Tree tree{};
    Items items;
};

TEST_F(TreeTest, CreateGivesAValidHandleOnAnEmptyTree)
{
    EXPECT_EQ(0, memcmp(tree.eye, "TREE", 4));
    Shape s = CheckTree(tree, "new tree");
    EXPECT_TRUE(s.items.empty());
}

TEST_F(TreeTest, EmptyTreeAnswersNotThereEverywhere)
{
    int64_t k = 7;
    THB1_Cursor c;
    void *data = reinterpret_cast<void *>(0x1234);
    EXPECT_EQ(THB1_Find(&tree, &c, &k, &data), STC1_NotThere);
    EXPECT_EQ(data, reinterpret_cast<void *>(0x1234)) << "a missed lookup leaves *dataOut alone";
    EXPECT_EQ(c.node, nullptr);

    ASSERT_EQ(THB1_Reset(&tree, &c), STC1_Success);
    EXPECT_EQ(THB1_Next(&c, &data), STC1_NotThere);
    EXPECT_EQ(data, nullptr) << "a walk that ends zeroes *dataOut";
    data = reinterpret_cast<void *>(0x1234);
    EXPECT_EQ(THB1_Prior(&c, &data), STC1_NotThere);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(THB1_Delete(&tree, &k), STC1_NotThere);
}

TEST_F(TreeTest, ResetThenStepGivesTheSmallestOrTheLargest)
{
    Add({50, 20, 80, 10, 30, 70, 90, 60});
    THB1_Cursor c;
    void *data;
    ASSERT_EQ(THB1_Reset(&tree, &c), STC1_Success);
    ASSERT_EQ(THB1_Next(&c, &data), STC1_Success);
    EXPECT_EQ(KeyOf(data), 10);
    ASSERT_EQ(THB1_Reset(&tree, &c), STC1_Success);
    ASSERT_EQ(THB1_Prior(&c, &data), STC1_Success);
    EXPECT_EQ(KeyOf(data), 90);
}

// A walk that runs off either end answers NotThere and stays on the last
// item it gave, so the opposite step gives that item's neighbour.
TEST_F(TreeTest, StepPastTheEndDoesNotMove)
{
    Add({2, 1, 3, 4});
    struct Case {
        const char *name;
        int (*forward)(THB1_Cursor *, void **);
        int (*back)(THB1_Cursor *, void **);
        int64_t end, beforeEnd;
    } cases[] = {
        {"forward", THB1_Next, THB1_Prior, 4, 3},
        {"backward", THB1_Prior, THB1_Next, 1, 2},
    };
    for (const Case &t : cases) {
        SCOPED_TRACE(t.name);
        THB1_Cursor c;
        void *data;
        ASSERT_EQ(THB1_Reset(&tree, &c), STC1_Success);
        for (int i = 0; i < 4; i++)
            ASSERT_EQ(t.forward(&c, &data), STC1_Success);
        EXPECT_EQ(KeyOf(data), t.end);
        for (int i = 0; i < 2; i++) {
            EXPECT_EQ(t.forward(&c, &data), STC1_NotThere);
            EXPECT_EQ(data, nullptr);
        }
        ASSERT_EQ(t.back(&c, &data), STC1_Success);
        EXPECT_EQ(KeyOf(data), t.beforeEnd);
    }
}

TEST_F(TreeTest, FindThenStepContinuesFromTheFoundItem)
{
    Add({40, 20, 60, 10, 30, 50, 70});
    for (int64_t k : {10, 20, 30, 40, 50, 60}) {
        THB1_Cursor c;
        void *data = nullptr;
        ASSERT_EQ(THB1_Find(&tree, &c, &k, &data), STC1_Success);
        EXPECT_EQ(KeyOf(data), k);
        ASSERT_EQ(THB1_Next(&c, &data), STC1_Success);
        EXPECT_EQ(KeyOf(data), k + 10);
        ASSERT_EQ(THB1_Prior(&c, &data), STC1_Success);
        ASSERT_EQ(THB1_Prior(&c, &data), k == 10 ? STC1_NotThere : STC1_Success);
        if (k != 10)
            EXPECT_EQ(KeyOf(data), k - 10);
    }
    int64_t absent = 35;
    THB1_Cursor c;
    EXPECT_EQ(THB1_Find(&tree, &c, &absent, nullptr), STC1_NotThere);
    EXPECT_EQ(c.node, nullptr);
    EXPECT_EQ(THB1_Next(&c, nullptr), STC1_BadObject) << "a missed lookup leaves no usable cursor";
}

TEST_F(TreeTest, OptionalOutArgumentsMayBeNull)
{
    Add({1, 2, 3});
    int64_t k = 2;
    EXPECT_EQ(THB1_Find(&tree, nullptr, &k, nullptr), STC1_Success);
    EXPECT_EQ(THB1_Insert(&tree, nullptr, items.make(4), 0), STC1_Success);
    THB1_Cursor c;
    ASSERT_EQ(THB1_Reset(&tree, &c), STC1_Success);
    EXPECT_EQ(THB1_Next(&c, nullptr), STC1_Success);
    EXPECT_EQ(THB1_Prior(&c, nullptr), STC1_NotThere);
}

TEST_F(TreeTest, DestroyAndEmptyGiveUpItemsInAscendingOrder)
{
    using Op = int (*)(THB1_Tree *);
    for (Op op : {THB1_Empty, THB1_Destroy}) {
        if (tree.tree == nullptr)
            ASSERT_EQ(THB1_Create(&tree, CompareKeys, KeyOfItem, RecordDestroy), STC1_Success);
        Destroyed().clear();
        Add({5, 3, 8, 1, 4, 7, 9, 2, 6});
        ASSERT_EQ(op(&tree), STC1_Success);
        std::vector<int64_t> keys;
        for (Item *i : Destroyed())
            keys.push_back(i->key);
        EXPECT_EQ(keys, (std::vector<int64_t>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
    }
    EXPECT_EQ(tree.tree, nullptr);
    EXPECT_EQ(0, memcmp(tree.eye, "\0\0\0\0", 4)) << "THB1_Destroy clears the handle";
}

TEST_F(TreeTest, EmptyKeepsTheHandleAndHeaderCursorsUsable)
{
    Add({3, 1, 2});
    THB1_Cursor atHead;
    ASSERT_EQ(THB1_Reset(&tree, &atHead), STC1_Success);
    THB1P_Tree *before = tree.tree;
    ASSERT_EQ(THB1_Empty(&tree), STC1_Success);
    EXPECT_EQ(tree.tree, before);
    EXPECT_TRUE(CheckTree(tree, "after empty").items.empty());
    void *data;
    EXPECT_EQ(THB1_Next(&atHead, &data), STC1_NotThere);

    Add({10, 20});
    EXPECT_EQ(THB1_Next(&atHead, &data), STC1_Success) << "the header cursor sees new items";
    EXPECT_EQ(KeyOf(data), 10);
    EXPECT_EQ(CheckTree(tree, "refilled").items.size(), 2u);
}

TEST(TreeLifetime, NullDestroyLeavesItemsAlone)
{
    Destroyed().clear();
    THB1_Tree t;
    Items items;
    ASSERT_EQ(THB1_Create(&t, CompareKeys, KeyOfItem, nullptr), STC1_Success);
    for (int64_t k : {1, 2, 3})
        ASSERT_EQ(THB1_Insert(&t, nullptr, items.make(k), 0), STC1_Success);
    ASSERT_EQ(THB1_Insert(&t, nullptr, items.make(2), 1), STC1_Success);
    int64_t k = 1;
    ASSERT_EQ(THB1_Delete(&t, &k), STC1_Success);
    ASSERT_EQ(THB1_Empty(&t), STC1_Success);
    ASSERT_EQ(THB1_Destroy(&t), STC1_Success);
    EXPECT_TRUE(Destroyed().empty());
}

TEST(TreeLifetime, DestroyTwiceAndOnClearedHandles)
{
    THB1_Tree t{};
    EXPECT_EQ(THB1_Destroy(&t), STC1_BadObject);
    EXPECT_EQ(THB1_Destroy(nullptr), STC1_BadObject);
    ASSERT_EQ(THB1_Create(&t, CompareKeys, KeyOfItem, nullptr), STC1_Success);
    EXPECT_EQ(THB1_Destroy(&t), STC1_Success);
    EXPECT_EQ(THB1_Destroy(&t), STC1_BadObject);
}

// Every call that takes a handle or a cursor rejects a bad one and
// changes nothing: a null record, a null pointer with a good eye-catcher,
// and a good pointer whose eye-catcher has been overwritten.
TEST_F(TreeTest, BadHandlesAndCursorsAnswerBadObject)
{
    Add({1, 2, 3});
    THB1_Cursor good;
    ASSERT_EQ(THB1_Reset(&tree, &good), STC1_Success);

    THB1_Tree nullPointer{};
    memcpy(nullPointer.eye, "TREE", 4);
    THB1_Tree wrongEye = tree;
    memcpy(wrongEye.eye, "TRE?", 4);
    THB1_Tree cursorEye = tree;
    memcpy(cursorEye.eye, "NODE", 4);
    THB1_Tree *handles[] = {nullptr, &nullPointer, &wrongEye, &cursorEye};

    for (THB1_Tree *h : handles) {
        SCOPED_TRACE(h == nullptr ? "null" : std::string(h->eye, 4));
        int64_t k = 2;
        THB1_Cursor c = good;
        void *data = reinterpret_cast<void *>(0x55);
        EXPECT_EQ(THB1_Find(h, &c, &k, &data), STC1_BadObject);
        EXPECT_EQ(c.node, nullptr);
        EXPECT_EQ(data, reinterpret_cast<void *>(0x55));
        c = good;
        EXPECT_EQ(THB1_Reset(h, &c), STC1_BadObject);
        EXPECT_EQ(c.node, nullptr);
        c = good;
        EXPECT_EQ(THB1_Insert(h, &c, items.make(9), 1), STC1_BadObject);
        EXPECT_EQ(c.node, nullptr);
        EXPECT_EQ(THB1_Delete(h, &k), STC1_BadObject);
        EXPECT_EQ(THB1_Empty(h), STC1_BadObject);
    }
    EXPECT_EQ(THB1_Destroy(&wrongEye), STC1_BadObject);
    EXPECT_EQ(wrongEye.tree, nullptr) << "THB1_Destroy clears even a bad handle";

    THB1_Cursor badCursors[3] = {{}, good, good};
    memcpy(badCursors[0].eye, "NODE", 4);
    memcpy(badCursors[1].eye, "node", 4);
    memcpy(badCursors[2].eye, "TREE", 4);
    for (THB1_Cursor &c : badCursors) {
        void *data = reinterpret_cast<void *>(0x55);
        EXPECT_EQ(THB1_Next(&c, &data), STC1_BadObject);
        EXPECT_EQ(data, nullptr);
        EXPECT_EQ(THB1_Prior(&c, &data), STC1_BadObject);
    }
    EXPECT_EQ(THB1_Next(nullptr, nullptr), STC1_BadObject);
    EXPECT_EQ(THB1_Reset(&tree, nullptr), STC1_BadObject);

    Destroyed().clear();
    EXPECT_EQ(CheckTree(tree, "after bad calls").items.size(), 3u);
    EXPECT_TRUE(Destroyed().empty());
}

TEST(TreeCreate, MissingCallbacksAreRejected)
{
    THB1_Tree t;
    memset(&t, 0xAB, sizeof t);
    EXPECT_EQ(THB1_Create(&t, nullptr, KeyOfItem, nullptr), STC1_BadArgument);
    EXPECT_EQ(t.tree, nullptr);
    EXPECT_EQ(THB1_Create(&t, CompareKeys, nullptr, nullptr), STC1_BadArgument);
    EXPECT_EQ(THB1_Create(nullptr, CompareKeys, KeyOfItem, nullptr), STC1_BadObject);
}

TEST(TreeCreate, FailedAllocationLeavesAZeroHandleThatNothingAccepts)
{
    THB1_Tree t;
    memset(&t, 0xAB, sizeof t);
    FailMallocAfter(1);
    EXPECT_EQ(THB1_Create(&t, CompareKeys, KeyOfItem, nullptr), STC1_Shortage);
    THB1_Tree zero{};
    EXPECT_EQ(0, memcmp(&t, &zero, sizeof t));

    Items items;
    THB1_Cursor c;
    int64_t k = 1;
    EXPECT_EQ(THB1_Insert(&t, &c, items.make(1), 0), STC1_BadObject);
    EXPECT_EQ(THB1_Find(&t, &c, &k, nullptr), STC1_BadObject);
    EXPECT_EQ(THB1_Reset(&t, &c), STC1_BadObject);
    EXPECT_EQ(THB1_Delete(&t, &k), STC1_BadObject);
    EXPECT_EQ(THB1_Empty(&t), STC1_BadObject);
    EXPECT_EQ(THB1_Destroy(&t), STC1_BadObject);
}

} // namespace
