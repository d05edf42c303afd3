// Families: children end before their owner whatever the order of the
// drops; destructors run once, on the thread of the last drop, and may
// call RES1_ themselves.
#include "restest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>

namespace {

// Owner of each node: 0 has 1, 2, 3; 1 has 4, 5; 4 has 6; 3 has 7, 8, 9;
// 9 has 10.
const std::vector<int> kOwner = {-1, 0, 0, 0, 1, 1, 4, 3, 3, 3, 9};

// Each round builds the tree, destroys the subtree of node 1 or not, has
// some creators drop before destroying the root and the rest after, in a
// random order.  Every node ends once, after all nodes below it.
TEST(ResFamily, OwnersEndAfterAllTheyOwn)
{
    uint32_t cls = TestClass();
    std::mt19937 rng(7);
    for (int round = 0; round < 40; round++) {
        std::deque<Obj> objs(kOwner.size());
        std::vector<uint32_t> h(kOwner.size());
        std::vector<size_t> drops;
        for (size_t i = 0; i < h.size(); i++) {
            objs[i].id = int(i);
            ASSERT_EQ(RES1_Create(&h[i], cls, kOwner[i] < 0 ? 0 : h[size_t(kOwner[i])], &objs[i]),
                      STC1_Success);
            drops.push_back(i);
        }
        std::shuffle(drops.begin(), drops.end(), rng);
        endOrder.clear();
        if (round % 2)
            ASSERT_EQ(RES1_Destroy(h[1]), STC1_Success);
        size_t before = rng() % drops.size();
        for (size_t i = 0; i < drops.size(); i++) {
            if (i == before)
                ASSERT_EQ(RES1_Destroy(h[0]), STC1_Success);
            EXPECT_EQ(objs[0].ended.load(), 0);
            ASSERT_EQ(RES1_Drop(h[drops[i]]), STC1_Success);
        }
        ASSERT_EQ(endOrder.size(), kOwner.size());
        for (size_t i = 1; i < kOwner.size(); i++) {
            auto at = [&](int id) { return std::find(endOrder.begin(), endOrder.end(), id); };
            EXPECT_LT(at(int(i)), at(kOwner[i])) << "node " << i << ", round " << round;
            EXPECT_EQ(RES1_Use(h[i], cls, nullptr), STC1_NotThere);
        }
    }
}

TEST(ResFamily, AnOwnerUnderDestructionTakesNoChildren)
{
    uint32_t cls = TestClass(), o = 0, c = 0;
    Obj owner, child;
    ASSERT_EQ(RES1_Create(&o, cls, 0, &owner), STC1_Success);
    ASSERT_EQ(RES1_Destroy(o), STC1_Success);
    ASSERT_EQ(RES1_Create(&c, cls, o, &child), STC1_Success);
    EXPECT_EQ(RES1_Destroy(c), STC1_Warning); // scheduled at its creation
    ASSERT_EQ(RES1_Drop(o), STC1_Success);     // the child holds nothing of it
    EXPECT_EQ(owner.ended.load(), 1);
    ASSERT_EQ(RES1_Drop(c), STC1_Success);
    EXPECT_EQ(child.ended.load(), 1);
}

TEST(ResFamily, TheLastDropRunsTheDestructorOnItsThread)
{
    uint32_t cls = TestClass(), h = 0;
    Obj obj;
    ASSERT_EQ(RES1_Create(&h, cls, 0, &obj), STC1_Success);
    std::atomic<int> stage{0};
    std::thread user([&] {
        EXPECT_EQ(RES1_Use(h, cls, nullptr), STC1_Success);
        obj.users++;
        stage = 1;
        while (stage != 2)
            std::this_thread::yield();
        obj.users--;
        EXPECT_EQ(RES1_Drop(h), STC1_Success);
    });
    while (stage != 1)
        std::this_thread::yield();
    ASSERT_EQ(RES1_Destroy(h), STC1_Success);
    ASSERT_EQ(RES1_Drop(h), STC1_Success);
    EXPECT_EQ(RES1_Use(h, cls, nullptr), STC1_Success); // still whole
    EXPECT_EQ(RES1_Drop(h), STC1_Success);
    EXPECT_EQ(obj.ended.load(), 0);
    std::thread::id userId = user.get_id();
    stage = 2;
    user.join();
    EXPECT_EQ(obj.ended.load(), 1);
    EXPECT_EQ(obj.endedOn, userId);
    EXPECT_EQ(obj.usersAtEnd.load(), 0);
}

// A destructor that makes, uses and destroys a resource of its own, and
// ends the last use of another: no lock of the family is held.
uint32_t gInner;
void EndReentrant(void *data)
{
    uint32_t mine = 0;
    Obj *o = static_cast<Obj *>(data);
    EXPECT_EQ(RES1_Create(&mine, gInner, 0, o), STC1_Success);
    EXPECT_EQ(RES1_Use(mine, gInner, nullptr), STC1_Success);
    EXPECT_EQ(RES1_Destroy(mine), STC1_Success);
    EXPECT_EQ(RES1_Drop(mine), STC1_Success);
    EXPECT_EQ(RES1_Drop(mine), STC1_Success); // ends: EndObj(o)
    if (o->id != 0)
        EXPECT_EQ(RES1_Drop(uint32_t(o->id)), STC1_Success);
}

TEST(ResFamily, DestructorsMayCallTheFamily)
{
    gInner = TestClass("inner");
    uint32_t cls = 0, other = 0, a = 0, b = 0;
    ASSERT_EQ(RES1_Register(&cls, EndReentrant, "reentrant", 0), STC1_Success);
    Obj otherObj, aObj, bObj;
    ASSERT_EQ(RES1_Create(&other, gInner, 0, &otherObj), STC1_Success);
    ASSERT_EQ(RES1_Destroy(other), STC1_Success);
    aObj.id = int(other); // a's destructor drops `other`'s last use
    ASSERT_EQ(RES1_Create(&a, cls, 0, &aObj), STC1_Success);
    ASSERT_EQ(RES1_Create(&b, cls, a, &bObj), STC1_Success);
    ASSERT_EQ(RES1_Drop(b), STC1_Success);
    ASSERT_EQ(RES1_Destroy(a), STC1_Success); // b ends here
    EXPECT_EQ(bObj.ended.load(), 1);
    ASSERT_EQ(RES1_Drop(a), STC1_Success);
    EXPECT_EQ(aObj.ended.load(), 1);
    EXPECT_EQ(otherObj.ended.load(), 1);
}

// A chain of owners deeper than any stack ends from the bottom, without
// recursion.
TEST(ResFamily, ADeepChainEndsFromTheBottom)
{
    const int depth = 100000;
    uint32_t cls = TestClass(), h = 0, root = 0;
    std::deque<Obj> objs(depth);
    for (int i = 0; i < depth; i++) {
        objs[size_t(i)].id = i;
        ASSERT_EQ(RES1_Create(&h, cls, h, &objs[size_t(i)]), STC1_Success);
        ASSERT_EQ(RES1_Drop(h), STC1_Success);
        root = i ? root : h;
    }
    ASSERT_EQ(RES1_Destroy(root), STC1_Success);
    ASSERT_EQ(endOrder.size(), size_t(depth));
    for (int i = 0; i < depth; i++)
        ASSERT_EQ(endOrder[size_t(i)], depth - 1 - i);
}

} // namespace
