// The threaded tree: long random operation sequences run side by side on a
// tree and a std::map with the whole shape checked after each step, then
// what random sequences do not reach: the cursor rules, emptying, bad
// handles and cursors, failed allocations and the checks that end the
// process.
#include <zul/thb1.h>
#include "thb/zulth.h" // node links, to check balance and threads after each step

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <map>
#include <random>

// The program is linked with --wrap=malloc: every malloc, the tree's
// included, comes here first; the n-th after FailMallocAfter(n) fails.
extern "C" void *__real_malloc(size_t size);
static std::atomic<int> countdown{0};
static void FailMallocAfter(int n) { countdown = n; }
extern "C" void *__wrap_malloc(size_t size)
{
    if (countdown.load(std::memory_order_relaxed) > 0 && --countdown == 0)
        return nullptr;
    return __real_malloc(size);
}

namespace {

// An item is an int64_t that is its own key; items with one key differ by
// address.
int CompareKeys(const void *a, const void *b)
{
    int64_t x = *static_cast<const int64_t *>(a), y = *static_cast<const int64_t *>(b);
    return (x > y) - (x < y);
}
const void *KeyOfItem(void *data) { return data; }
int64_t KeyOf(void *data) { return *static_cast<int64_t *>(data); }
std::vector<int64_t *> destroyed; // what the tree gave up, in order
void RecordDestroy(void *data) { destroyed.push_back(static_cast<int64_t *>(data)); }

// Height of the subtree at n; checks each balance factor on the way and
// collects the nodes in the order of the child links.
int CheckNode(THB1P_Node *n, std::vector<THB1P_Node *> &order, int depth)
{
    if (depth > 100)
        return ADD_FAILURE() << "cycle", 0;
    int lh = n->Lchild ? CheckNode(n->Lptr, order, depth + 1) : 0;
    order.push_back(n);
    int rh = n->Rchild ? CheckNode(n->Rptr, order, depth + 1) : 0;
    EXPECT_TRUE(n->bf == lh - rh && std::abs(lh - rh) <= 1) << "balance at item " << KeyOf(n->data);
    return 1 + std::max(lh, rh);
}

// Checks every balance factor and every thread (the header stands at both
// ends of the order); answers the items in the order of the child links.
std::vector<int64_t *> CheckTree(const THB1_Tree &handle)
{
    THB1P_Node *head = handle.tree->head;
    std::vector<THB1P_Node *> order{head};
    if (head->Lchild)
        CheckNode(head->Lptr, order, 0);
    order.push_back(head);
    std::vector<int64_t *> items;
    for (size_t i = 1; i + 1 < order.size(); i++) {
        EXPECT_TRUE(order[i]->Lchild || order[i]->Lptr == order[i - 1]) << "left thread of #" << i;
        EXPECT_TRUE(order[i]->Rchild || order[i]->Rptr == order[i + 1]) << "right thread of #" << i;
        items.push_back(static_cast<int64_t *>(order[i]->data));
    }
    return items;
}

struct Mix {
    const char *name;
    int64_t keyRange; // random keys in [0, keyRange); 0: a run, see `stride`
    int64_t stride;   // keys of a run: step * stride
    int steps, insert, erase, find; // weights out of 100; the rest walks
};
void PrintTo(const Mix &mix, std::ostream *os) { *os << mix.name; }

class TreeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        destroyed.clear();
        ASSERT_EQ(THB1_Create(&tree, CompareKeys, KeyOfItem, RecordDestroy), STC1_Success);
    }
    void TearDown() override { THB1_Destroy(&tree); }
    void Add(std::initializer_list<int64_t> keys)
    {
        for (int64_t k : keys)
            ASSERT_EQ(THB1_Insert(&tree, nullptr, &items.emplace_back(k), 0), STC1_Success);
    }
    THB1_Tree tree{};
    std::deque<int64_t> items; // addresses stay put
};

class Differential : public TreeTest, public ::testing::WithParamInterface<Mix> {};

TEST_P(Differential, TreeMatchesTheModel)
{
    const Mix mix = GetParam();
    std::mt19937_64 rng(mix.steps + mix.keyRange);
    auto roll = [&](int64_t n) { return int64_t(rng() % uint64_t(n)); };
    std::map<int64_t, int64_t *> model;
    std::vector<int64_t *> gone, expect; // what `destroy` must have had; the model's items
    void *data;

    for (int step = 0; step < mix.steps; step++) {
        SCOPED_TRACE("step " + std::to_string(step));
        int64_t k = mix.keyRange ? roll(mix.keyRange) : step * mix.stride;
        int dice = mix.keyRange ? int(roll(100)) : step < mix.steps / 2 ? 0 : mix.insert;
        auto it = model.find(k);
        if (dice < mix.insert) {
            int replace = int(roll(2));
            int64_t *i = &items.emplace_back(k);
            THB1_Cursor c; // a good cursor, to be moved onto the item or cleared
            ASSERT_EQ(THB1_Reset(&tree, &c), STC1_Success);
            bool stored = it == model.end() || replace;
            ASSERT_EQ(THB1_Insert(&tree, &c, i, replace), stored ? STC1_Success : STC1_Duplicate);
            if (it != model.end() && replace)
                gone.push_back(it->second);
            if (stored)
                model[k] = i;
            ASSERT_TRUE(stored ? c.node->data == i && THB1_Prior(&c, &data) != STC1_BadObject
                               : c.node == nullptr && THB1_Next(&c, &data) == STC1_BadObject);
        } else if (dice < mix.insert + mix.erase) {
            if (mix.keyRange == 0)
                k = (step - mix.steps / 2) * 2 * mix.stride; // every other item of the run
            else if (!model.empty() && roll(4) != 0) // mostly keys that are there
                k = (model.lower_bound(k) == model.end() ? model.begin() : model.lower_bound(k))->first;
            it = model.find(k);
            ASSERT_EQ(THB1_Delete(&tree, &k), it == model.end() ? STC1_NotThere : STC1_Success);
            if (it != model.end())
                gone.push_back(it->second), model.erase(it);
        } else if (dice < mix.insert + mix.erase + mix.find) {
            data = nullptr;
            ASSERT_EQ(THB1_Find(&tree, nullptr, &k, &data), it == model.end() ? STC1_NotThere : STC1_Success);
            ASSERT_EQ(data, it == model.end() ? nullptr : it->second);
        }

        ASSERT_EQ(destroyed, gone);
        expect.clear();
        for (auto &kv : model)
            expect.push_back(kv.second);
        ASSERT_EQ(CheckTree(tree), expect);
        ASSERT_FALSE(HasFailure());
        // the rest of the dice, and every 64th step of a run: walks from
        // the header both ways
        bool walk = dice >= mix.insert + mix.erase + mix.find || step % 64 == 0;
        for (int forward = 0; walk && forward < 2; forward++) {
            THB1_Cursor c;
            std::vector<int64_t *> walked;
            ASSERT_EQ(THB1_Reset(&tree, &c), STC1_Success);
            while ((forward ? THB1_Next(&c, &data) : THB1_Prior(&c, &data)) == STC1_Success)
                walked.insert(forward ? walked.end() : walked.begin(), static_cast<int64_t *>(data));
            ASSERT_TRUE(walked == expect && data == nullptr);
        }
    }
    gone.insert(gone.end(), expect.begin(), expect.end());
    ASSERT_EQ(THB1_Destroy(&tree), STC1_Success);
    EXPECT_EQ(destroyed, gone) << "THB1_Destroy gives up the rest in ascending order";
}

INSTANTIATE_TEST_SUITE_P(
    Mixes, Differential,
    ::testing::Values(Mix{"growing", 5000, 0, 6000, 60, 20, 10}, Mix{"churning", 400, 0, 20000, 40, 40, 10},
                      Mix{"tiny", 12, 0, 5000, 45, 45, 5}, Mix{"ascending", 0, 1, 4000, 50, 50, 0},
                      Mix{"descending", 0, -1, 4000, 50, 50, 0}),
    [](const ::testing::TestParamInfo<Mix> &info) { return std::string(info.param.name); });

// Off either end a walk answers NotThere with *dataOut zeroed, twice, and
// stays on the last item it gave; THB1_Find leaves the cursor ready to
// step on.  THB1_Empty gives the items up in order and leaves a tree on
// which a cursor on the header still works.
TEST_F(TreeTest, CursorRulesAndEmpty)
{
    THB1_Cursor c, atHead;
    void *data = &c;
    int64_t k = 20;
    ASSERT_EQ(THB1_Reset(&tree, &atHead), STC1_Success);
    EXPECT_EQ(THB1_Find(&tree, &c, &k, &data), STC1_NotThere);
    EXPECT_EQ(data, &c); // a miss leaves *dataOut alone
    Add({20, 10, 30, 40});
    ASSERT_EQ(THB1_Reset(&tree, &c), STC1_Success);
    for (int n = 0; n < 6; n++) // four items, then the end, twice
        ASSERT_TRUE(THB1_Next(&c, &data) == (n < 4 ? STC1_Success : STC1_NotThere) && (n < 4) == (data != nullptr));
    ASSERT_EQ(THB1_Prior(&c, &data), STC1_Success);
    EXPECT_EQ(KeyOf(data), 30);
    k = 20;
    ASSERT_EQ(THB1_Find(&tree, &c, &k, &data), STC1_Success);
    ASSERT_EQ(THB1_Next(&c, &data), STC1_Success);
    EXPECT_EQ(KeyOf(data), 30);
    ASSERT_EQ(THB1_Empty(&tree), STC1_Success);
    EXPECT_EQ(destroyed.size(), 4u);
    EXPECT_TRUE(std::is_sorted(destroyed.begin(), destroyed.end(), [](auto *a, auto *b) { return *a < *b; }));
    Add({11});
    ASSERT_EQ(THB1_Next(&atHead, &data), STC1_Success);
    EXPECT_EQ(KeyOf(data), 11);
}

// Every call rejects a bad handle or cursor and touches no tree: null, a
// null pointer with a good eye-catcher, a good pointer with a bad one.
TEST_F(TreeTest, BadHandlesAndCursorsAnswerBadObject)
{
    Add({1, 2, 3});
    THB1_Cursor good, c;
    ASSERT_EQ(THB1_Reset(&tree, &good), STC1_Success);
    THB1_Tree bad[3] = {{nullptr, {'T', 'R', 'E', 'E'}}, tree, tree};
    THB1_Cursor badCursors[3] = {{nullptr, {'N', 'O', 'D', 'E'}}, good, good};
    memcpy(bad[1].eye, "TRE?", 4), memcpy(bad[2].eye, "NODE", 4), memcpy(badCursors[1].eye, "node", 4), memcpy(badCursors[2].eye, "TREE", 4);
    for (int i = 0; i < 4; i++) {
        THB1_Tree *h = i ? &bad[i - 1] : nullptr;
        THB1_Cursor *b = i ? &badCursors[i - 1] : nullptr;
        int64_t k = 2;
        void *data = &good;
        THB1_Cursor found = good, inserted = good;
        EXPECT_EQ((std::vector{THB1_Find(h, &found, &k, nullptr), THB1_Reset(h, &c), THB1_Delete(h, &k), THB1_Empty(h),
                               THB1_Insert(h, &inserted, &items.emplace_back(9), 1), THB1_Prior(b, &data), THB1_Next(b, &data)}),
                  std::vector<int>(7, STC1_BadObject)) << i;
        EXPECT_TRUE(found.node == nullptr && inserted.node == nullptr && data == nullptr) << i;
    }
    EXPECT_EQ(THB1_Destroy(&bad[1]), STC1_BadObject);
    EXPECT_EQ(bad[1].tree, nullptr) << "THB1_Destroy clears even a bad handle";
    EXPECT_TRUE(CheckTree(tree).size() == 3 && destroyed.empty());
    ASSERT_EQ(THB1_Destroy(&tree), STC1_Success);
    EXPECT_EQ(THB1_Destroy(&tree), STC1_BadObject) << "the handle was cleared";
}

// A failed or refused creation leaves an all-zero handle that nothing
// accepts; a failed insertion (one that would rotate) leaves the tree as
// it was.
TEST_F(TreeTest, FailuresLeaveHandleAndTreeAsTheyWere)
{
    THB1_Tree t, zero{};
    for (int failure : {0, 1, 2}) {
        memset(&t, 0xAB, sizeof t);
        if (failure == 0)
            FailMallocAfter(1);
        int status = THB1_Create(&t, failure == 1 ? nullptr : CompareKeys, failure == 2 ? nullptr : KeyOfItem, nullptr);
        EXPECT_EQ(status, failure == 0 ? STC1_Shortage : STC1_BadArgument);
        EXPECT_EQ(0, memcmp(&t, &zero, sizeof t));
    }
    Add({50, 30, 70, 20, 40, 10});
    std::vector<int64_t *> before = CheckTree(tree);
    THB1_Cursor c;
    memset(&c, 0xAB, sizeof c);
    FailMallocAfter(1);
    EXPECT_EQ(THB1_Insert(&tree, &c, &items.emplace_back(5), 0), STC1_Shortage);
    EXPECT_EQ(c.node, nullptr);
    EXPECT_EQ(CheckTree(tree), before);
    Add({5});
}

// A corrupted tree ends the process with the text of the broken check, in
// every build type.
TEST(TreeDeath, CorruptedTreeEndsTheProcess)
{
    EXPECT_DEATH(
        {
            THB1_Tree tree;
            std::deque<int64_t> items;
            THB1_Create(&tree, CompareKeys, KeyOfItem, nullptr);
            for (int64_t k : {20, 10, 30})
                THB1_Insert(&tree, nullptr, &items.emplace_back(k), 0);
            tree.tree->head->Lptr->Rptr->Lptr = tree.tree->head->Lptr->Lptr; // a broken thread
            int64_t key = 30;
            THB1_Delete(&tree, &key);
        },
        "Assertion failed: .*, file .*zulth..\\.cpp, line [0-9]+");
}

} // namespace
