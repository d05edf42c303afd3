// Families of resources: children end before their owner whatever the
// order of the drops, an owner under destruction takes no children, and
// destructors run once, on the thread of the last drop, free to call
// RES1_ themselves.
#include "restest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <set>
#include <random>

namespace {

// A tree given as the owner index of each node (-1: the root, node 0).
struct Tree {
    uint32_t cls = TestClass();
    std::deque<Obj> objs;
    std::vector<uint32_t> handles;
    std::vector<int> owners;

    explicit Tree(std::vector<int> ownerOf) : objs(ownerOf.size()), handles(ownerOf.size()), owners(ownerOf)
    {
        for (size_t i = 0; i < owners.size(); i++) {
            objs[i].id = int(i);
            uint32_t owner = owners[i] < 0 ? 0 : handles[size_t(owners[i])];
            EXPECT_EQ(RES1_Create(&handles[i], cls, owner, &objs[i]), STC1_Success);
        }
    }
    // Every node ended once, and after all nodes below it.
    void ExpectEndedDeepestFirst(const std::vector<int> &order)
    {
        ASSERT_EQ(order.size(), objs.size());
        std::map<int, size_t> at;
        for (size_t i = 0; i < order.size(); i++)
            at[order[i]] = i;
        for (size_t i = 0; i < objs.size(); i++) {
            EXPECT_EQ(objs[i].destroyed.load(), 1) << i;
            if (owners[i] >= 0)
                EXPECT_LT(at[int(i)], at[owners[i]]) << "node " << i << " ended after its owner";
        }
    }
};

// 0 has children 1, 2, 3; 1 has 4, 5; 4 has 6; 3 has 7, 8, 9; 9 has 10.
const std::vector<int> kShape = {-1, 0, 0, 0, 1, 1, 4, 3, 3, 3, 9};

TEST(ResFamily, DestroyingAnOwnerEndsItsFamilyDeepestFirst)
{
    std::mt19937 rng(7);
    for (int round = 0; round < 40; round++) {
        endLog.order.clear();
        Tree t(kShape);
        std::vector<size_t> drops(t.handles.size());
        for (size_t i = 0; i < drops.size(); i++)
            drops[i] = i;
        if (round == 1)
            std::reverse(drops.begin(), drops.end());
        else if (round > 1)
            std::shuffle(drops.begin(), drops.end(), rng);
        // Some creators drop before the destruction, the rest after it.
        size_t before = round % 2 ? 0 : size_t(rng() % drops.size());
        for (size_t i = 0; i < before; i++)
            ASSERT_EQ(RES1_Drop(t.handles[drops[i]]), STC1_Success);
        ASSERT_EQ(RES1_Destroy(t.handles[0]), STC1_Success);
        for (size_t i = before; i < drops.size(); i++) {
            EXPECT_EQ(t.objs[0].destroyed.load(), 0) << "the owner ended early";
            ASSERT_EQ(RES1_Drop(t.handles[drops[i]]), STC1_Success);
        }
        t.ExpectEndedDeepestFirst(endLog.Order());
        for (uint32_t h : t.handles)
            EXPECT_EQ(RES1_Use(h, t.cls, nullptr), STC1_NotThere);
    }
}

TEST(ResFamily, DestroyingAChildLeavesItsOwnerAndSiblings)
{
    Tree t(kShape);
    for (uint32_t h : t.handles)
        ASSERT_EQ(RES1_Drop(h), STC1_Success);
    ASSERT_EQ(RES1_Destroy(t.handles[1]), STC1_Success); // ends 6, 4, 5, 1
    std::vector<int> first = endLog.Order();
    EXPECT_EQ(std::set<int>(first.begin(), first.end()), (std::set<int>{1, 4, 5, 6}));
    EXPECT_EQ(first.back(), 1);
    for (int i : {0, 2, 3, 7, 8, 9, 10})
        EXPECT_EQ(t.objs[size_t(i)].destroyed.load(), 0) << i;
    // A new child joins the ring the first one left.
    Obj late;
    late.id = 11;
    uint32_t h = 0;
    ASSERT_EQ(RES1_Create(&h, t.cls, t.handles[0], &late), STC1_Success);
    ASSERT_EQ(RES1_Drop(h), STC1_Success);
    ASSERT_EQ(RES1_Destroy(t.handles[0]), STC1_Success);
    EXPECT_EQ(late.destroyed.load(), 1);
    std::vector<int> order = endLog.Order();
    EXPECT_EQ(order.back(), 0);
    order.erase(std::find(order.begin(), order.end(), 11));
    t.ExpectEndedDeepestFirst(order);
}

TEST(ResFamily, AnOwnerUnderDestructionTakesNoChildren)
{
    uint32_t cls = TestClass();
    Obj owner, child;
    uint32_t o = 0, c = 0;
    ASSERT_EQ(RES1_Create(&o, cls, 0, &owner), STC1_Success);
    ASSERT_EQ(RES1_Destroy(o), STC1_Success); // the creator's use keeps it
    ASSERT_EQ(RES1_Create(&c, cls, o, &child), STC1_Success);
    EXPECT_EQ(RES1_Destroy(c), STC1_Warning); // scheduled at its creation
    // The owner ends without waiting for the child, which holds nothing.
    ASSERT_EQ(RES1_Drop(o), STC1_Success);
    EXPECT_EQ(owner.destroyed.load(), 1);
    EXPECT_EQ(child.destroyed.load(), 0);
    ASSERT_EQ(RES1_Drop(c), STC1_Success);
    EXPECT_EQ(child.destroyed.load(), 1);
}

TEST(ResFamily, TheLastDropRunsTheDestructorOnItsThread)
{
    uint32_t cls = TestClass();
    Obj obj;
    uint32_t h = 0;
    ASSERT_EQ(RES1_Create(&h, cls, 0, &obj), STC1_Success);
    std::mutex m;
    std::condition_variable cv;
    int stage = 0;
    std::thread::id user;
    std::thread t([&] {
        user = std::this_thread::get_id();
        void *data = nullptr;
        EXPECT_EQ(RES1_Use(h, cls, &data), STC1_Success);
        static_cast<Obj *>(data)->users++;
        std::unique_lock<std::mutex> lock(m);
        stage = 1;
        cv.notify_all();
        cv.wait(lock, [&] { return stage == 2; });
        static_cast<Obj *>(data)->users--;
        EXPECT_EQ(RES1_Drop(h), STC1_Success);
    });
    {
        std::unique_lock<std::mutex> lock(m);
        cv.wait(lock, [&] { return stage == 1; });
    }
    ASSERT_EQ(RES1_Destroy(h), STC1_Success);
    ASSERT_EQ(RES1_Drop(h), STC1_Success);
    EXPECT_EQ(obj.destroyed.load(), 0); // the other thread still uses it
    EXPECT_EQ(RES1_Use(h, cls, nullptr), STC1_Success); // and a use still works
    EXPECT_EQ(RES1_Drop(h), STC1_Success);
    {
        std::lock_guard<std::mutex> lock(m);
        stage = 2;
    }
    cv.notify_all();
    t.join();
    EXPECT_EQ(obj.destroyed.load(), 1);
    EXPECT_EQ(obj.endedOn, user);
    EXPECT_EQ(obj.usersAtEnd.load(), 0);
}

// A destructor that works with resources itself: it makes one, uses and
// destroys it, and ends the last use of another.
uint32_t gCls, gOther;
std::atomic<int> innerEnded{0};
void EndInner(void *) { innerEnded++; }
void EndReentrant(void *data)
{
    int before = innerEnded.load();
    uint32_t inner = 0, mine = 0;
    EXPECT_EQ(RES1_Register(&inner, EndInner, "inner", 5), STC1_Success);
    EXPECT_EQ(RES1_Create(&mine, inner, 0, nullptr), STC1_Success);
    EXPECT_EQ(RES1_Use(mine, inner, nullptr), STC1_Success);
    EXPECT_EQ(RES1_Destroy(mine), STC1_Success);
    EXPECT_EQ(RES1_Drop(mine), STC1_Success);
    EXPECT_EQ(RES1_Drop(mine), STC1_Success);
    EXPECT_EQ(innerEnded.load(), before + 1);
    uint32_t other = *static_cast<uint32_t *>(data);
    if (other != 0)
        EXPECT_EQ(RES1_Drop(other), STC1_Success); // ends it, from inside a destructor
}

TEST(ResFamily, DestructorsMayCallTheFamily)
{
    ASSERT_EQ(RES1_Register(&gCls, EndReentrant, "reentrant", 0), STC1_Success);
    Obj other;
    uint32_t zero = 0;
    ASSERT_EQ(RES1_Create(&gOther, TestClass(), 0, &other), STC1_Success);
    ASSERT_EQ(RES1_Destroy(gOther), STC1_Success);
    uint32_t a = 0, b = 0;
    ASSERT_EQ(RES1_Create(&a, gCls, 0, &gOther), STC1_Success);
    ASSERT_EQ(RES1_Create(&b, gCls, a, &zero), STC1_Success);
    ASSERT_EQ(RES1_Destroy(a), STC1_Success);
    ASSERT_EQ(RES1_Drop(b), STC1_Success); // b ends; a still has its creator's use
    EXPECT_EQ(innerEnded.load(), 1);
    EXPECT_EQ(other.destroyed.load(), 0);
    ASSERT_EQ(RES1_Drop(a), STC1_Success); // a ends, and its destructor ends `other`
    EXPECT_EQ(innerEnded.load(), 2);
    EXPECT_EQ(other.destroyed.load(), 1);
}

// A chain of owners far deeper than any stack: it ends from the bottom up
// without recursion.
TEST(ResFamily, ADeepChainEndsFromTheBottom)
{
    const int depth = 100000;
    uint32_t cls = TestClass();
    std::deque<Obj> objs(depth);
    std::vector<uint32_t> h(depth);
    for (int i = 0; i < depth; i++) {
        objs[size_t(i)].id = i;
        ASSERT_EQ(RES1_Create(&h[size_t(i)], cls, i ? h[size_t(i - 1)] : 0, &objs[size_t(i)]),
                  STC1_Success);
        ASSERT_EQ(RES1_Drop(h[size_t(i)]), STC1_Success);
    }
    endLog.order.reserve(depth);
    ASSERT_EQ(RES1_Destroy(h[0]), STC1_Success);
    std::vector<int> order = endLog.Order();
    ASSERT_EQ(order.size(), size_t(depth));
    for (int i = 0; i < depth; i++)
        ASSERT_EQ(order[size_t(i)], depth - 1 - i);
}

} // namespace
