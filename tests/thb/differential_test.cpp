// Long random sequences of operations run side by side on a tree and on a
// std::map, with the whole shape of the tree checked after each one.
#include "thb_check.h"

#include <map>
#include <random>

namespace {

struct Mix {
    const char *name;
    int64_t keyRange; // random keys in [0, keyRange); 0: a run, see `stride`
    int64_t stride;   // keys of a run: step * stride
    int steps, insert, erase, find; // weights out of 100; the rest walks
};

class Differential : public ::testing::TestWithParam<Mix> {};

TEST_P(Differential, TreeMatchesTheModel)
{
    const Mix mix = GetParam();
    std::mt19937_64 rng(mix.steps + mix.keyRange);
    auto roll = [&](int64_t n) { return int64_t(rng() % uint64_t(n)); };
    Destroyed().clear();
    Items items;
    THB1_Tree tree;
    ASSERT_EQ(THB1_Create(&tree, CompareKeys, KeyOfItem, RecordDestroy), STC1_Success);
    std::map<int64_t, Item *> model;
    std::vector<Item *> gone; // what `destroy` must have been called with

    for (int step = 0; step < mix.steps; step++) {
        SCOPED_TRACE("step " + std::to_string(step));
        int64_t k = mix.keyRange ? roll(mix.keyRange) : step * mix.stride;
        int dice = mix.keyRange ? int(roll(100)) : step < mix.steps / 2 ? 0 : mix.insert;
        auto it = model.find(k);
        if (dice < mix.insert) {
            int replace = int(roll(2));
            Item *i = items.make(k);
            THB1_Cursor c;
            int status = THB1_Insert(&tree, &c, i, replace);
            bool stored = it == model.end() || replace;
            ASSERT_EQ(status, stored ? STC1_Success : STC1_Duplicate);
            if (it != model.end() && replace)
                gone.push_back(it->second);
            if (stored)
                model[k] = i;
            // the cursor stands on the new item, or is cleared
            void *data = nullptr;
            int next = THB1_Next(&c, &data);
            if (!stored)
                ASSERT_EQ(next, STC1_BadObject);
            else if (next == STC1_NotThere)
                ASSERT_EQ(std::next(model.find(k)), model.end());
            else
                ASSERT_TRUE(THB1_Prior(&c, &data) == STC1_Success && data == i);
        } else if (dice < mix.insert + mix.erase) {
            if (mix.keyRange == 0)
                k = (step - mix.steps / 2) * 2 * mix.stride; // every other item of the run
            else if (!model.empty() && roll(4) != 0) // mostly keys that are there
                k = (model.lower_bound(k) == model.end() ? model.begin() : model.lower_bound(k))->first;
            it = model.find(k);
            ASSERT_EQ(THB1_Delete(&tree, &k), it == model.end() ? STC1_NotThere : STC1_Success);
            if (it != model.end()) {
                gone.push_back(it->second);
                model.erase(it);
            }
        } else if (dice < mix.insert + mix.erase + mix.find) {
            void *data = nullptr;
            ASSERT_EQ(THB1_Find(&tree, nullptr, &k, &data), it == model.end() ? STC1_NotThere : STC1_Success);
            ASSERT_EQ(data, it == model.end() ? nullptr : it->second);
        } else if (!model.empty()) { // a short walk from an item that is there
            it = model.lower_bound(k);
            if (it == model.end())
                --it;
            THB1_Cursor c;
            ASSERT_EQ(THB1_Find(&tree, &c, &it->first, nullptr), STC1_Success);
            bool forward = roll(2) != 0;
            for (int n = 0; n < 8; n++) {
                void *data;
                int status = forward ? THB1_Next(&c, &data) : THB1_Prior(&c, &data);
                bool atEnd = forward ? std::next(it) == model.end() : it == model.begin();
                ASSERT_EQ(status, atEnd ? STC1_NotThere : STC1_Success);
                if (atEnd)
                    break;
                it = forward ? std::next(it) : std::prev(it);
                ASSERT_EQ(data, it->second);
            }
        }

        ASSERT_EQ(Destroyed(), gone);
        std::vector<Item *> expect;
        for (auto &kv : model)
            expect.push_back(kv.second);
        Shape shape = CheckTree(tree);
        ASSERT_FALSE(HasFailure());
        ASSERT_EQ(shape.items, expect);
        if (step % 16 == 0) {
            ASSERT_EQ(Walk(&tree, true), expect);
            ASSERT_EQ(Walk(&tree, false), expect);
        }
    }
    for (auto &kv : model)
        gone.push_back(kv.second);
    ASSERT_EQ(THB1_Destroy(&tree), STC1_Success);
    EXPECT_EQ(Destroyed(), gone) << "THB1_Destroy gives up the rest in ascending order";
}

INSTANTIATE_TEST_SUITE_P(
    Mixes, Differential,
    ::testing::Values(Mix{"growing", 5000, 0, 6000, 60, 20, 10}, Mix{"churning", 400, 0, 20000, 40, 40, 10},
                      Mix{"shrinking", 3000, 0, 8000, 30, 60, 5}, Mix{"tiny", 12, 0, 5000, 45, 45, 5},
                      Mix{"ascending", 0, 1, 4000, 50, 50, 0}, Mix{"descending", 0, -1, 4000, 50, 50, 0}),
    [](const ::testing::TestParamInfo<Mix> &info) { return std::string(info.param.name); });

} // namespace
