// The threaded tree: long random operation sequences run side by side on a
// tree and a std::map with the whole shape checked after each step, then
// the cursor rules and emptying.
#include <zul/thb1.h>
#include "thb/zulth.h" // node links, to check balance and threads after each step

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <map>
#include <random>

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

// One walk in the order of the child links: checks each balance factor
// and each thread against the node walked before (the header stands at
// both ends), collects the items and answers the subtree's height.
int Walk(THB1P_Node *n, THB1P_Node *head, THB1P_Node *&prev, std::vector<int64_t *> &items, int depth)
{
    if (depth > 100)
        return ADD_FAILURE() << "cycle", 0;
    int lh = n->Lchild ? Walk(n->Lptr, head, prev, items, depth + 1) : 0;
    EXPECT_TRUE((n->Lchild || n->Lptr == prev) && (prev == head || prev->Rchild || prev->Rptr == n)) << KeyOf(n->data);
    prev = n, items.push_back(static_cast<int64_t *>(n->data));
    int rh = n->Rchild ? Walk(n->Rptr, head, prev, items, depth + 1) : 0;
    EXPECT_TRUE(n->bf == lh - rh && std::abs(lh - rh) <= 1) << "balance at item " << KeyOf(n->data);
    return 1 + std::max(lh, rh);
}
std::vector<int64_t *> CheckTree(const THB1_Tree &handle)
{
    THB1P_Node *head = handle.tree->head, *prev = head;
    std::vector<int64_t *> items;
    if (head->Lchild)
        Walk(head->Lptr, head, prev, items, 0);
    EXPECT_TRUE(prev == head || prev->Rptr == head) << "last right thread";
    return items;
}

struct Mix {
    const char *name;
    int64_t keyRange; // random keys in [0, keyRange); 0: a run, see `stride`
    int64_t stride;   // keys of a run: step * stride
    int steps, insert, erase, find; // weights out of 100; the rest only checks
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

        // one walk from the header checks the shape against the model
        ASSERT_EQ(destroyed, gone);
        expect.clear();
        for (auto &kv : model)
            expect.push_back(kv.second);
        ASSERT_EQ(CheckTree(tree), expect);
        ASSERT_FALSE(HasFailure());
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

} // namespace
