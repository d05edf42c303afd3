// Handles: their figures, what each call answers through a resource's
// life, and what stale, foreign, forged and random words get.
#include "restest.h"
#include "res/zulre.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <set>

// The program is linked with --wrap=malloc; the n-th malloc after
// FailMallocAfter(n) fails.
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

// Each test runs in a process of its own, so the first RES1 call of a test
// gets the first handle of the process.
TEST(ResHandle, HandlesFollowSlotPageAndGeneration)
{
    uint32_t cls = TestClass();
    EXPECT_EQ(cls, 0x001000FFu);
    std::deque<Obj> objs(300);
    std::vector<uint32_t> h(300);
    for (int i = 0; i < 300; i++)
        ASSERT_EQ(RES1_Create(&h[i], cls, 0, &objs[i]), STC1_Success);
    EXPECT_EQ(h[0], 0x001000FEu);
    EXPECT_EQ(h[254], 0x00100000u); // the 256th handle of the process
    EXPECT_EQ(h[255], 0x001001FFu); // the 257th opens page 1
    EXPECT_EQ(h[256], 0x001001FEu);

    // A freed slot comes back two generations on.
    ASSERT_EQ(RES1_Destroy(h[0]), STC1_Success);
    ASSERT_EQ(RES1_Drop(h[0]), STC1_Success);
    uint32_t again = 0;
    Obj o;
    ASSERT_EQ(RES1_Create(&again, cls, 0, &o), STC1_Success);
    EXPECT_EQ(again, 0x003000FEu);
}

// One step of a script on one resource: the call, its status, and how
// often the destructor has run after it.
enum Op { Use, Drop, Destroy };
struct Step {
    Op op;
    int status;
    int ended;
};
struct Script {
    const char *name;
    std::vector<Step> steps;
};

int Call(Op op, uint32_t h, uint32_t cls)
{
    void *data = nullptr;
    switch (op) {
    case Use: return RES1_Use(h, cls, &data);
    case Drop: return RES1_Drop(h);
    case Destroy: return RES1_Destroy(h);
    }
    return -1;
}

TEST(ResHandle, LifeOfAResource)
{
    const Script scripts[] = {
        {"destructor runs in Destroy after the creator's drop",
         {{Drop, STC1_Success, 0}, {Destroy, STC1_Success, 1}}},
        {"destructor runs in the last Drop after Destroy",
         {{Destroy, STC1_Success, 0}, {Drop, STC1_Success, 1}}},
        {"uses keep a scheduled resource alive",
         {{Use, STC1_Success, 0}, {Use, STC1_Success, 0}, {Destroy, STC1_Success, 0},
          {Drop, STC1_Success, 0}, {Use, STC1_Success, 0}, {Drop, STC1_Success, 0},
          {Drop, STC1_Success, 0}, {Drop, STC1_Success, 1}}},
        {"a second Destroy while a use is held warns",
         {{Destroy, STC1_Success, 0}, {Destroy, STC1_Warning, 0}, {Drop, STC1_Success, 1}}},
        {"a live resource with no use stays until Destroy",
         {{Drop, STC1_Success, 0}, {Use, STC1_Success, 0}, {Drop, STC1_Success, 0},
          {Destroy, STC1_Success, 1}}},
        {"after its end every call finds nothing",
         {{Destroy, STC1_Success, 0}, {Drop, STC1_Success, 1}, {Use, STC1_NotThere, 1},
          {Drop, STC1_NotThere, 1}, {Destroy, STC1_NotThere, 1}}},
    };
    uint32_t cls = TestClass();
    for (const Script &s : scripts) {
        Obj o;
        uint32_t h = 0;
        ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
        int i = 0;
        for (const Step &step : s.steps) {
            EXPECT_EQ(Call(step.op, h, cls), step.status) << s.name << ", step " << i;
            EXPECT_EQ(o.destroyed.load(), step.ended) << s.name << ", step " << i;
            i++;
        }
    }
}

TEST(ResHandle, UseHandsBackTheObjectOfItsClassOnly)
{
    uint32_t cls = TestClass(), other = TestClass("other");
    Obj o;
    uint32_t h = 0;
    ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
    void *data = &data;
    EXPECT_EQ(RES1_Use(h, other, &data), STC1_Authority);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(RES1_Use(h, 0, &data), STC1_Authority);
    EXPECT_EQ(RES1_Use(h, cls, &data), STC1_Success);
    EXPECT_EQ(data, &o);
    EXPECT_EQ(RES1_Use(h, cls, nullptr), STC1_Success); // the object need not be wanted
    // The refused uses took nothing: three drops end it after Destroy.
    ASSERT_EQ(RES1_Destroy(h), STC1_Success);
    EXPECT_EQ(RES1_Drop(h), STC1_Success);
    EXPECT_EQ(RES1_Drop(h), STC1_Success);
    EXPECT_EQ(o.destroyed.load(), 0);
    EXPECT_EQ(RES1_Drop(h), STC1_Success);
    EXPECT_EQ(o.destroyed.load(), 1);
}

TEST(ResHandle, BadArgumentsAndClassHandles)
{
    uint32_t cls = TestClass();
    Obj o, p;
    uint32_t h = 0, stale = 0, out = 1;
    ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
    ASSERT_EQ(RES1_Create(&stale, cls, 0, &p), STC1_Success);
    ASSERT_EQ(RES1_Destroy(stale), STC1_Success);
    ASSERT_EQ(RES1_Drop(stale), STC1_Success);

    struct Case {
        const char *name;
        int status;
        int got;
    } cases[] = {
        {"Destroy on a class", STC1_BadObject, RES1_Destroy(cls)},
        {"Drop on a class", STC1_BadObject, RES1_Drop(cls)},
        {"Create with a resource as class", STC1_BadObject, RES1_Create(&out, h, 0, &o)},
        {"Create with class 0", STC1_BadObject, RES1_Create(&out, 0, 0, &o)},
        {"Create with a stale owner", STC1_BadArgument, RES1_Create(&out, cls, stale, &o)},
        {"Create with a forged owner", STC1_BadArgument, RES1_Create(&out, cls, 0x7FF00123u, &o)},
        {"Create without a place for the handle", STC1_BadArgument, RES1_Create(nullptr, cls, 0, &o)},
        {"Register without a place for the handle", STC1_BadArgument,
         RES1_Register(nullptr, EndObj, "x", 0)},
        {"Register without a name", STC1_BadArgument, RES1_Register(&out, EndObj, nullptr, 3)},
    };
    for (const Case &k : cases)
        EXPECT_EQ(k.got, k.status) << k.name;
    EXPECT_EQ(out, 0u); // every failed call cleared it
    // The class still works, and so does the resource, whose count the
    // refused calls left alone.
    EXPECT_EQ(RES1_Destroy(h), STC1_Success);
    EXPECT_EQ(o.destroyed.load(), 0);
    EXPECT_EQ(RES1_Drop(h), STC1_Success);
    EXPECT_EQ(o.destroyed.load(), 1);
}

// Any 32-bit word may be handed in: none but a live handle is followed,
// and the live resources are untouched by the barrage.
TEST(ResHandle, RandomWordsAreRefused)
{
    uint32_t cls = TestClass();
    std::deque<Obj> objs(600);
    std::set<uint32_t> live{cls};
    std::vector<uint32_t> handles;
    for (Obj &o : objs) {
        uint32_t h = 0;
        ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
        handles.push_back(h);
        live.insert(h);
    }
    // Half of them end, so their handles are stale.
    std::vector<uint32_t> stale;
    for (size_t i = 0; i < handles.size(); i += 2) {
        ASSERT_EQ(RES1_Destroy(handles[i]), STC1_Success);
        ASSERT_EQ(RES1_Drop(handles[i]), STC1_Success);
        live.erase(handles[i]);
        stale.push_back(handles[i]);
    }

    std::mt19937 rng(12345);
    std::vector<uint32_t> words(stale);
    for (int i = 0; i < 200000; i++) {
        uint32_t w = rng();
        switch (i % 4) {
        case 0: break;                                    // anything at all
        case 1: w &= 0xFFF001FFu; break;                  // in the two pages there are
        case 2: w = (w & 0xFFF00000u) | 0x00100000u | (w & 0x1FFu); break; // live generation bit too
        case 3: w = stale[w % stale.size()] + 0x00200000u * (1 + w % 7); break; // later lives of a slot
        }
        if (live.count(w) == 0)
            words.push_back(w);
    }
    words.push_back(0);
    Obj spare; // made and ended again when the owner word is 0
    for (uint32_t w : words) {
        void *data = &data;
        ASSERT_EQ(RES1_Use(w, cls, &data), STC1_NotThere) << std::hex << w;
        ASSERT_EQ(data, nullptr);
        ASSERT_EQ(RES1_Drop(w), STC1_NotThere) << std::hex << w;
        ASSERT_EQ(RES1_Destroy(w), STC1_NotThere) << std::hex << w;
        uint32_t out = 1;
        ASSERT_EQ(RES1_Create(&out, w, 0, &spare), STC1_BadObject) << std::hex << w;
        ASSERT_EQ(RES1_Create(&out, cls, w, &spare), w ? STC1_BadArgument : STC1_Success)
            << std::hex << w;
        if (w == 0) {
            ASSERT_EQ(RES1_Drop(out), STC1_Success);
            ASSERT_EQ(RES1_Destroy(out), STC1_Success);
        }
    }
    // Every live resource still holds exactly its creator's use.
    for (size_t i = 1; i < handles.size(); i += 2) {
        ASSERT_EQ(RES1_Destroy(handles[i]), STC1_Success);
        EXPECT_EQ(objs[i].destroyed.load(), 0);
        ASSERT_EQ(RES1_Drop(handles[i]), STC1_Success);
    }
    for (Obj &o : objs)
        EXPECT_EQ(o.destroyed.load(), 1);
}

// A slot used many times over: every handle it had before stays refused.
TEST(ResHandle, OldHandlesOfAReusedSlotStayRefused)
{
    uint32_t cls = TestClass();
    std::vector<uint32_t> old;
    Obj o;
    for (int life = 0; life < 1000; life++) {
        uint32_t h = 0;
        ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
        ASSERT_EQ(h & 0xFFFFFu, 0xFEu); // the same slot each time
        for (uint32_t s : old)
            ASSERT_EQ(RES1_Use(s, cls, nullptr), STC1_NotThere) << life;
        ASSERT_EQ(RES1_Destroy(h), STC1_Success);
        ASSERT_EQ(RES1_Drop(h), STC1_Success);
        old.push_back(h);
    }
    EXPECT_EQ(o.destroyed.load(), 1000);
}

// One drop more than there were uses: the resource is written off; its
// handle is refused, its destructor never runs and its slot never comes
// back.
TEST(ResHandle, DroppingAUseNotHeldWritesTheResourceOff)
{
    uint32_t cls = TestClass();
    Obj o;
    uint32_t h = 0;
    ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
    ASSERT_EQ(RES1_Drop(h), STC1_Success);
    EXPECT_EQ(RES1_Drop(h), STC1_Success); // the caller gets no failure
    EXPECT_EQ(RES1_Use(h, cls, nullptr), STC1_NotThere);
    EXPECT_EQ(RES1_Destroy(h), STC1_NotThere);
    std::deque<Obj> more(600);
    for (Obj &m : more) {
        uint32_t n = 0;
        ASSERT_EQ(RES1_Create(&n, cls, 0, &m), STC1_Success);
        ASSERT_NE(n & 0xFFFFFu, h & 0xFFFFFu);
    }
    EXPECT_EQ(o.destroyed.load(), 0);
}

TEST(ResHandle, ShortageLeavesNothingBehind)
{
    TestClass(); // builds the table and its first page
    ZULRE_rvt_t *rvt = ZULRE_Rvt();
    ASSERT_NE(rvt, nullptr);

    // No memory for a class descriptor.
    uint32_t cls = 1;
    FailMallocAfter(1);
    EXPECT_EQ(RES1_Register(&cls, EndObj, "x", 0), STC1_Shortage);
    EXPECT_EQ(cls, 0u);

    // Use up page 0, then fail the allocation of page 1.
    cls = TestClass("full");
    Obj owner;
    uint32_t ownerHandle = 0;
    ASSERT_EQ(RES1_Create(&ownerHandle, cls, 0, &owner), STC1_Success);
    std::deque<Obj> objs;
    while (rvt->free != nullptr) {
        uint32_t h = 0;
        objs.emplace_back();
        ASSERT_EQ(RES1_Create(&h, cls, 0, &objs.back()), STC1_Success);
    }
    Obj o;
    uint32_t h = 1;
    FailMallocAfter(1);
    EXPECT_EQ(RES1_Create(&h, cls, ownerHandle, &o), STC1_Shortage);
    EXPECT_EQ(h, 0u);
    // The owner's use went back: its creator's use is its last.
    ASSERT_EQ(RES1_Destroy(ownerHandle), STC1_Success);
    ASSERT_EQ(RES1_Drop(ownerHandle), STC1_Success);
    EXPECT_EQ(owner.destroyed.load(), 1);
    // With memory again, page 1 comes.
    EXPECT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
}

// 4096 pages of 256: the handle after the last refuses, and so nothing
// stays held by the failed creation.
TEST(ResHandle, TheTableHoldsAMillionHandles)
{
    uint32_t cls = TestClass();
    Obj o, owner;
    uint32_t ownerHandle = 0, h = 0, last = 0;
    ASSERT_EQ(RES1_Create(&ownerHandle, cls, 0, &owner), STC1_Success);
    for (uint32_t n = 2; n < 4096u * 256u; n++) {
        ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success) << n;
        last = h;
    }
    EXPECT_EQ(last, 0x001FFF00u);
    EXPECT_EQ(RES1_Create(&h, cls, ownerHandle, &o), STC1_Shortage);
    uint32_t more = 1;
    EXPECT_EQ(RES1_Register(&more, EndObj, "more", 0), STC1_Shortage);
    ASSERT_EQ(RES1_Destroy(ownerHandle), STC1_Success);
    ASSERT_EQ(RES1_Drop(ownerHandle), STC1_Success);
    EXPECT_EQ(owner.destroyed.load(), 1);
    // The freed slot serves the next creation.
    EXPECT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
    EXPECT_EQ(h, 0x003000FEu);
}

} // namespace
