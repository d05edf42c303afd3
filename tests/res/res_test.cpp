// Resources: the answers of each call through a resource's life, what
// stale, foreign and random words get, shortage, families that end
// children first, destructors run once on the thread of the last drop
// with no lock held, and threads at work on one set of kept.
#include <zul/res1.h>
#include "res/zulre.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <deque>
#include <mutex>
#include <random>
#include <set>
#include <thread>

// Linked with --wrap=malloc: the n-th malloc after `countdown` = n fails.
extern "C" void *__real_malloc(size_t size);
static std::atomic<int> countdown{0};
extern "C" void *__wrap_malloc(size_t size) { return countdown > 0 && --countdown == 0 ? nullptr : __real_malloc(size); }

namespace {

// An object whose destructor records how often, in which order and on
// which thread it ran, and how many uses a test held then.
struct Obj {
    int id = 0;
    std::atomic<int> ended{0}, users{0}, usersAtEnd{0};
    std::thread::id endedOn;
};
std::mutex endMutex;
std::vector<int> endOrder;

void EndObj(void *data)
{
    Obj *o = static_cast<Obj *>(data);
    o->usersAtEnd += o->users.load();
    o->endedOn = std::this_thread::get_id();
    o->ended++;
    std::lock_guard<std::mutex> hold(endMutex);
    endOrder.push_back(o->id);
}

uint32_t TestClass(const char *name = "test", ZULRE_destructor_t destructor = EndObj)
{
    uint32_t cls = 0;
    EXPECT_EQ(RES1_Register(&cls, destructor, name, 0), STC1_Success);
    return cls;
}

// Scripts of calls on one resource: u Use, d Drop, x Destroy, each with
// its status (+ Success, w Warning, n NotThere) and the destructor's runs
// after it.  The last drops one use more than was held: the resource is
// written off and its destructor never runs.
TEST(ResHandle, LifeOfAResource)
{
    const char *const kScripts[] = {"d+0 x+1", "x+0 d+1", "u+0 x+0 xw0 u+0 d+0 d+0 d+1 un1 dn1 xn1", "d+0 u+0 d+0 x+1",
                                    "d+0 d+0 un0 xn0"};
    uint32_t cls = TestClass();
    for (const char *script : kScripts) {
        Obj o;
        uint32_t h = 0;
        ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
        for (const char *s = script; s < script + strlen(script); s += 4) {
            void *data = nullptr;
            int status = *s == 'u' ? RES1_Use(h, cls, &data) : *s == 'd' ? RES1_Drop(h) : RES1_Destroy(h),
                want = s[1] == '+' ? STC1_Success : s[1] == 'w' ? STC1_Warning : STC1_NotThere;
            EXPECT_TRUE(status == want && o.ended == s[2] - '0' && data == (status || *s != 'u' ? nullptr : &o))
                << script << " at " << s - script;
        }
    }
}

TEST(ResHandle, RefusalsChangeNothing)
{
    uint32_t cls = TestClass(), other = TestClass("other"), h = 0, out = 1;
    Obj o;
    void *data = &data;
    ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
    const int kCases[][2] = {
        {RES1_Use(h, other, &data), STC1_Authority},         {RES1_Destroy(cls), STC1_BadObject},
        {RES1_Drop(cls), STC1_BadObject},                    {RES1_Create(&out, h, 0, &o), STC1_BadObject},
        {RES1_Create(&out, 0, 0, &o), STC1_BadObject},       {RES1_Create(&out, cls, 0x7FF00123u, &o), STC1_BadArgument},
        {RES1_Create(nullptr, cls, 0, &o), STC1_BadArgument}, {RES1_Register(nullptr, EndObj, "x", 0), STC1_BadArgument},
        {RES1_Register(&out, EndObj, nullptr, 3), STC1_BadArgument},
    };
    for (const auto &k : kCases)
        EXPECT_EQ(k[0], k[1]) << &k - kCases;
    // Nothing stored, and the resource still holds only its creator's use.
    EXPECT_TRUE(out == 0 && data == nullptr && RES1_Destroy(h) == STC1_Success && RES1_Drop(h) == STC1_Success);
    EXPECT_EQ(o.ended.load(), 1);
}

// Words near live kept, old kept of a slot used 500 times over, and
// random words: none is followed, and the live resources keep exactly
// their creator's use.
TEST(ResHandle, RandomAndStaleWordsAreRefused)
{
    uint32_t cls = TestClass();
    std::deque<Obj> objs(300);
    std::set<uint32_t> live{cls};
    std::vector<uint32_t> kept, words;
    Obj spare;
    for (Obj &o : objs)
        ASSERT_TRUE(RES1_Create(&kept.emplace_back(), cls, 0, &o) == STC1_Success && live.insert(kept.back()).second);
    for (int life = 0; life < 500; life++) {
        ASSERT_EQ(RES1_Create(&words.emplace_back(), cls, 0, &spare), STC1_Success);
        ASSERT_TRUE(RES1_Destroy(words.back()) == STC1_Success && RES1_Drop(words.back()) == STC1_Success);
    }
    std::mt19937 rng(12345);
    for (int i = 0; i < 100000; i++) // odd i: in the two pages there are
        if (uint32_t w = i % 2 ? (rng() & 0xFFF001FFu) | (i % 4 == 1 ? 0x00100000u : 0) : rng(); live.count(w) == 0)
            words.push_back(w);
    for (uint32_t w : words) {
        void *data = &data;
        uint32_t out = 0;
        ASSERT_TRUE(RES1_Use(w, cls, &data) == STC1_NotThere && data == nullptr && RES1_Drop(w) == STC1_NotThere &&
                    RES1_Destroy(w) == STC1_NotThere && RES1_Create(&out, w, 0, &spare) == STC1_BadObject &&
                    RES1_Create(&out, cls, w, &spare) == (w ? STC1_BadArgument : STC1_Success)) << std::hex << w;
    }
    for (size_t i = 0; i < kept.size(); i++)
        ASSERT_TRUE(RES1_Destroy(kept[i]) == STC1_Success && objs[i].ended == 0 &&
                    RES1_Drop(kept[i]) == STC1_Success && objs[i].ended == 1);
}

// Without memory, and with every page in use: Shortage, nothing kept, and
// the use taken of the owner given back.
TEST(ResHandle, ShortageLeavesNothingBehind)
{
    uint32_t cls = TestClass(), out = 1, h = 0, owner = 0;
    Obj o, ownerObj;
    countdown = 1;
    EXPECT_TRUE(RES1_Register(&out, EndObj, "x", 0) == STC1_Shortage && out == 0);
    ASSERT_EQ(RES1_Create(&owner, cls, 0, &ownerObj), STC1_Success);
    while (ZULRE_Rvt()->free != nullptr)
        ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
    countdown = 1; // the next page
    EXPECT_EQ(RES1_Create(&h, cls, owner, &o), STC1_Shortage);
    while (RES1_Create(&h, cls, 0, &o) == STC1_Success)
        ;
    EXPECT_TRUE(RES1_Create(&h, cls, owner, &o) == STC1_Shortage && RES1_Register(&out, EndObj, "x", 0) == STC1_Shortage);
    EXPECT_TRUE(RES1_Destroy(owner) == STC1_Success && RES1_Drop(owner) == STC1_Success && ownerObj.ended == 1);
}

// Owner of each node: 0 has 1, 2, 3; 1 has 4, 5; 4 has 6; 3 has 7, 8, 9;
// 9 has 10.  Each round destroys the subtree of node 1 or not, and has
// some creators drop before the root is destroyed and the rest after, in
// a random order.  Every node ends once, after all nodes below it.
TEST(ResFamily, OwnersEndAfterAllTheyOwn)
{
    const std::vector<int> kOwner = {-1, 0, 0, 0, 1, 1, 4, 3, 3, 3, 9};
    uint32_t cls = TestClass();
    std::mt19937 rng(7);
    for (int round = 0; round < 40; round++) {
        std::deque<Obj> objs(kOwner.size());
        std::vector<uint32_t> h(kOwner.size());
        std::vector<size_t> drops;
        for (size_t i = 0; i < h.size(); drops.push_back(i), i++) {
            objs[i].id = int(i);
            ASSERT_EQ(RES1_Create(&h[i], cls, kOwner[i] < 0 ? 0 : h[size_t(kOwner[i])], &objs[i]), STC1_Success);
        }
        std::shuffle(drops.begin(), drops.end(), rng);
        endOrder.clear();
        ASSERT_TRUE(round % 2 == 0 || RES1_Destroy(h[1]) == STC1_Success);
        for (size_t i = 0, before = rng() % drops.size(); i < drops.size(); i++)
            ASSERT_TRUE((i != before || RES1_Destroy(h[0]) == STC1_Success) && objs[0].ended == 0 &&
                        RES1_Drop(h[drops[i]]) == STC1_Success);
        ASSERT_EQ(endOrder.size(), kOwner.size());
        auto at = [&](int id) { return std::find(endOrder.begin(), endOrder.end(), id); };
        for (size_t i = 1; i < kOwner.size(); i++)
            EXPECT_TRUE(at(int(i)) < at(kOwner[i]) && RES1_Use(h[i], cls, nullptr) == STC1_NotThere) << i << " " << round;
    }
}

// A child made under an owner whose destruction is scheduled is scheduled
// at its creation and holds nothing of the owner; a chain of owners deeper
// than any stack ends from the bottom, without recursion.
TEST(ResFamily, LateChildrenAndDeepChains)
{
    uint32_t cls = TestClass(), o = 0, c = 0, h = 0, root = 0;
    Obj owner, child;
    ASSERT_TRUE(RES1_Create(&o, cls, 0, &owner) == STC1_Success && RES1_Destroy(o) == STC1_Success);
    ASSERT_TRUE(RES1_Create(&c, cls, o, &child) == STC1_Success && RES1_Destroy(c) == STC1_Warning);
    EXPECT_TRUE(RES1_Drop(o) == STC1_Success && owner.ended == 1 && child.ended == 0);
    EXPECT_TRUE(RES1_Drop(c) == STC1_Success && child.ended == 1);

    std::deque<Obj> objs(100000);
    endOrder.clear();
    for (size_t i = 0; i < objs.size(); i++, root = root ? root : h) {
        objs[i].id = int(i);
        ASSERT_TRUE(RES1_Create(&h, cls, h, &objs[i]) == STC1_Success && RES1_Drop(h) == STC1_Success);
    }
    ASSERT_EQ(RES1_Destroy(root), STC1_Success);
    EXPECT_TRUE(endOrder.size() == objs.size() && std::is_sorted(endOrder.rbegin(), endOrder.rend()));
}

// A destructor that makes, uses and destroys a resource of its own (whose
// end runs EndObj) and ends the last use of the resource `id`, if any.
uint32_t gInner;
void EndReentrant(void *data)
{
    uint32_t mine = 0;
    Obj *o = static_cast<Obj *>(data);
    EXPECT_TRUE(RES1_Create(&mine, gInner, 0, o) == STC1_Success && RES1_Use(mine, gInner, nullptr) == STC1_Success);
    EXPECT_TRUE(RES1_Destroy(mine) == STC1_Success && RES1_Drop(mine) == STC1_Success && RES1_Drop(mine) == STC1_Success);
    EXPECT_TRUE(o->id == 0 || RES1_Drop(uint32_t(o->id)) == STC1_Success);
}

// The destructor runs once, when the last use ends, on the thread that
// drops it, with no lock of the family held: it may call the family.
TEST(ResFamily, TheLastDropRunsTheDestructorOnItsThreadWithNoLock)
{
    gInner = TestClass("inner");
    uint32_t cls = TestClass("reentrant", EndReentrant), other = 0, h = 0, child = 0;
    Obj obj, otherObj, childObj;
    ASSERT_TRUE(RES1_Create(&other, gInner, 0, &otherObj) == STC1_Success && RES1_Destroy(other) == STC1_Success);
    obj.id = int(other);
    ASSERT_TRUE(RES1_Create(&h, cls, 0, &obj) == STC1_Success && RES1_Create(&child, cls, h, &childObj) == STC1_Success &&
                RES1_Drop(child) == STC1_Success);
    std::atomic<int> stage{0};
    std::thread user([&] {
        EXPECT_EQ(RES1_Use(h, cls, nullptr), STC1_Success);
        for (stage = 1; stage != 2;)
            std::this_thread::yield();
        EXPECT_EQ(RES1_Drop(h), STC1_Success);
    });
    while (stage != 1)
        std::this_thread::yield();
    ASSERT_TRUE(RES1_Destroy(h) == STC1_Success && RES1_Drop(h) == STC1_Success); // the child ends here
    EXPECT_TRUE(childObj.ended == 1 && childObj.endedOn == std::this_thread::get_id());
    EXPECT_TRUE(RES1_Use(h, cls, nullptr) == STC1_Success && RES1_Drop(h) == STC1_Success && obj.ended == 0); // whole
    std::thread::id userId = user.get_id();
    stage = 2;
    user.join();
    EXPECT_TRUE(obj.ended == 1 && obj.endedOn == userId && otherObj.ended == 1);
}

// Threads on a shared set of kept: uses and drops, creations with and
// without owners, and destructions, all at once.  Then every object has
// ended exactly once, never while a use of it was held, and every control
// block is free again.  The creator's use of a resource in the set belongs
// to the set: whoever takes a handle out destroys it and drops that use.
void Retire(uint32_t h)
{
    int status = RES1_Destroy(h);
    ASSERT_TRUE(h == 0 || ((status == STC1_Success || status == STC1_Warning) && RES1_Drop(h) == STC1_Success)) << status;
}

TEST(ResStress, SharedSetUnderUseCreationAndDestruction)
{
    constexpr int kSlots = 32, kThreads = 4, kOps = 20000;
    uint32_t cls = TestClass();
    std::array<std::atomic<uint32_t>, kSlots> set{};
    std::vector<std::deque<Obj>> objs(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++)
        threads.emplace_back([&, t] {
            std::mt19937 rng(unsigned(t) + 1);
            for (int n = 0; n < kOps && !testing::Test::HasFailure(); n++) {
                std::atomic<uint32_t> &slot = set[rng() % kSlots];
                uint32_t h = slot.load(), r = t == 0 ? 9 : rng() % 10; // thread 0 only destroys
                void *data = nullptr;
                if (r < 5) {
                    int status = RES1_Use(h, cls, &data);
                    ASSERT_TRUE(status == STC1_Success || status == STC1_NotThere);
                    if (Obj *o = static_cast<Obj *>(data); status == STC1_Success) {
                        o->users++;
                        std::this_thread::yield();
                        EXPECT_EQ(o->ended.load(), 0);
                        o->users--;
                        ASSERT_EQ(RES1_Drop(h), STC1_Success);
                    }
                } else if (r < 8) {
                    Obj &o = objs[size_t(t)].emplace_back();
                    uint32_t owner = r == 7 ? set[rng() % kSlots].load() : 0, made = 0;
                    int status = RES1_Create(&made, cls, owner, &o);
                    if (status == STC1_BadArgument && owner != 0) // the owner has ended
                        status = RES1_Create(&made, cls, 0, &o);
                    ASSERT_EQ(status, STC1_Success);
                    Retire(slot.exchange(made));
                } else if (int status = RES1_Destroy(h); status == STC1_BadObject || status == STC1_BadArgument) {
                    FAIL() << status;
                }
            }
        });
    for (std::thread &t : threads)
        t.join();
    for (std::atomic<uint32_t> &slot : set)
        Retire(slot.exchange(0));
    size_t made = 0, free = 0; // blocks of classes and of other classes' resources are not free
    for (RES1_Class *c = ZULRE_Rvt()->classes; c != nullptr; c = c->next)
        free += 1 + (c->handle == cls ? 0 : c->activeResources);
    for (auto &mine : objs)
        for (Obj &o : mine)
            ASSERT_TRUE(o.ended == 1 && o.usersAtEnd == 0 && ++made);
    ZULRE_rvt_t *rvt = ZULRE_Rvt();
    for (ZULRE_rcb_t *r = rvt->free; r != nullptr; r = r->next)
        free++;
    EXPECT_TRUE(made > kOps / 2 && free == size_t(rvt->pageCount) * rvt->rcbsPerPage && !rvt->classes->activeResources);
}

} // namespace
