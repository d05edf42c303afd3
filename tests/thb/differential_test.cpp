// Long random sequences of operations, run side by side on a tree and on
// a std::map, with the whole shape of the tree checked after each one.
#include "thb_check.h"

#include <map>
#include <random>

namespace {

struct Mix {
    const char *name;
    int64_t keyRange;   // keys are drawn from [0, keyRange)
    int steps;
    int insertWeight;   // out of 100; the rest is split below
    int deleteWeight;
    int findWeight;     // what is left over walks from a random point
    unsigned seed;
};

class Differential : public ::testing::TestWithParam<Mix> {};

TEST_P(Differential, TreeMatchesTheModel)
{
    const Mix mix = GetParam();
    std::mt19937_64 rng(mix.seed);
    auto roll = [&](int64_t n) { return int64_t(rng() % uint64_t(n)); };

    Destroyed().clear();
    Items items;
    THB1_Tree tree;
    ASSERT_EQ(THB1_Create(&tree, CompareKeys, KeyOfItem, RecordDestroy), STC1_Success);
    std::map<int64_t, Item *> model;
    std::vector<Item *> expectDestroyed;

    for (int step = 0; step < mix.steps; step++) {
        int64_t k = roll(mix.keyRange);
        int dice = int(roll(100));
        std::string where = "step " + std::to_string(step);
        auto found = model.find(k);

        if (dice < mix.insertWeight) {
            bool replace = roll(2) != 0;
            Item *i = items.make(k);
            THB1_Cursor c;
            int status = THB1_Insert(&tree, &c, i, replace);
            if (found == model.end()) {
                ASSERT_EQ(status, STC1_Success) << where;
                model[k] = i;
            } else if (replace) {
                ASSERT_EQ(status, STC1_Success) << where;
                expectDestroyed.push_back(found->second);
                found->second = i;
            } else {
                ASSERT_EQ(status, STC1_Duplicate) << where;
                ASSERT_EQ(c.node, nullptr) << where;
            }
            if (status == STC1_Success) {
                // the cursor stands on the new item
                void *data;
                THB1_Cursor back = c;
                if (THB1_Next(&c, &data) == STC1_Success)
                    ASSERT_EQ(static_cast<Item *>(data), std::next(model.find(k))->second) << where;
                if (THB1_Prior(&back, &data) == STC1_Success)
                    ASSERT_EQ(static_cast<Item *>(data), std::prev(model.find(k))->second) << where;
            }
        } else if (dice < mix.insertWeight + mix.deleteWeight) {
            // mostly delete keys that are there
            if (!model.empty() && roll(4) != 0) {
                auto it = model.lower_bound(k);
                if (it == model.end())
                    it = model.begin();
                k = it->first;
                found = it;
            }
            int status = THB1_Delete(&tree, &k);
            if (found == model.end()) {
                ASSERT_EQ(status, STC1_NotThere) << where;
            } else {
                ASSERT_EQ(status, STC1_Success) << where;
                expectDestroyed.push_back(found->second);
                model.erase(found);
            }
        } else if (dice < mix.insertWeight + mix.deleteWeight + mix.findWeight) {
            THB1_Cursor c;
            void *data = nullptr;
            int status = THB1_Find(&tree, &c, &k, &data);
            if (found == model.end()) {
                ASSERT_EQ(status, STC1_NotThere) << where;
            } else {
                ASSERT_EQ(status, STC1_Success) << where;
                ASSERT_EQ(data, found->second) << where;
            }
        } else if (!model.empty()) {
            // a short walk in one direction from an item that is there
            auto it = model.lower_bound(k);
            if (it == model.end())
                --it;
            THB1_Cursor c;
            ASSERT_EQ(THB1_Find(&tree, &c, &it->first, nullptr), STC1_Success) << where;
            bool forward = roll(2) != 0;
            for (int n = 0; n < 8; n++) {
                void *data;
                int status = forward ? THB1_Next(&c, &data) : THB1_Prior(&c, &data);
                if (forward ? std::next(it) == model.end() : it == model.begin()) {
                    ASSERT_EQ(status, STC1_NotThere) << where;
                    break;
                }
                it = forward ? std::next(it) : std::prev(it);
                ASSERT_EQ(status, STC1_Success) << where;
                ASSERT_EQ(data, it->second) << where;
            }
        }

        ASSERT_EQ(Destroyed(), expectDestroyed) << where;
        Shape shape = CheckTree(tree, where);
        if (HasFailure())
            return;
        std::vector<Item *> expect;
        for (auto &kv : model)
            expect.push_back(kv.second);
        ASSERT_EQ(shape.items, expect) << where;
        if (step % 16 == 0) {
            ASSERT_EQ(WalkForward(&tree), expect) << where;
            ASSERT_EQ(WalkBackward(&tree), expect) << where;
        }
    }

    for (auto &kv : model)
        expectDestroyed.push_back(kv.second);
    ASSERT_EQ(THB1_Destroy(&tree), STC1_Success);
    EXPECT_EQ(Destroyed(), expectDestroyed);
}

INSTANTIATE_TEST_SUITE_P(
    Mixes, Differential,
    ::testing::Values(Mix{"growing", 5000, 6000, 60, 20, 10, 1},
                      Mix{"churning", 400, 20000, 40, 40, 10, 2},
                      Mix{"shrinking", 3000, 8000, 30, 60, 5, 3},
                      Mix{"tiny", 12, 5000, 45, 45, 5, 4},
                      Mix{"crowded", 200, 20000, 50, 35, 5, 5}),
    [](const ::testing::TestParamInfo<Mix> &info) { return std::string(info.param.name); });

} // namespace
