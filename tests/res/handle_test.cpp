// Handles: their figures, the answers of each call through a resource's
// life, and what stale, foreign, forged and random words get.
#include "restest.h"
#include "res/zulre.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <set>

// Linked with --wrap=malloc: the n-th malloc after FailMallocAfter(n) fails.
extern "C" void *__real_malloc(size_t size);
static std::atomic<int> countdown{0};
extern "C" void *__wrap_malloc(size_t size)
{
    if (countdown.load() > 0 && --countdown == 0)
        return nullptr;
    return __real_malloc(size);
}

namespace {

// Each test is a process of its own: its first call gets the first handle.
TEST(ResHandle, SlotPageAndGeneration)
{
    uint32_t cls = TestClass();
    EXPECT_EQ(cls, 0x001000FFu);
    Obj o;
    std::vector<uint32_t> h(257);
    for (uint32_t &x : h)
        ASSERT_EQ(RES1_Create(&x, cls, 0, &o), STC1_Success);
    EXPECT_EQ(h[0], 0x001000FEu);
    EXPECT_EQ(h[254], 0x00100000u); // the 256th handle
    EXPECT_EQ(h[255], 0x001001FFu); // the 257th opens page 1
    ASSERT_EQ(RES1_Destroy(h[0]), STC1_Success);
    ASSERT_EQ(RES1_Drop(h[0]), STC1_Success);
    ASSERT_EQ(RES1_Create(&h[0], cls, 0, &o), STC1_Success);
    EXPECT_EQ(h[0], 0x003000FEu); // the freed slot, two generations on
}

enum Op { Use, Drop, Destroy };
struct Step {
    Op op;
    int status, ended; // the call's status, and the destructor's runs after it
};

TEST(ResHandle, LifeOfAResource)
{
    const std::vector<Step> scripts[] = {
        {{Drop, STC1_Success, 0}, {Destroy, STC1_Success, 1}},
        {{Destroy, STC1_Success, 0}, {Drop, STC1_Success, 1}},
        {{Use, STC1_Success, 0}, {Destroy, STC1_Success, 0}, {Destroy, STC1_Warning, 0},
         {Use, STC1_Success, 0}, {Drop, STC1_Success, 0}, {Drop, STC1_Success, 0},
         {Drop, STC1_Success, 1}, {Use, STC1_NotThere, 1}, {Drop, STC1_NotThere, 1},
         {Destroy, STC1_NotThere, 1}},
        {{Drop, STC1_Success, 0}, {Use, STC1_Success, 0}, {Drop, STC1_Success, 0},
         {Destroy, STC1_Success, 1}},
    };
    uint32_t cls = TestClass();
    int n = 0;
    for (const auto &script : scripts) {
        Obj o;
        uint32_t h = 0;
        ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
        for (const Step &s : script) {
            void *data = nullptr;
            int status = s.op == Use ? RES1_Use(h, cls, &data) : s.op == Drop ? RES1_Drop(h) : RES1_Destroy(h);
            EXPECT_EQ(status, s.status) << "script " << n;
            EXPECT_EQ(o.ended.load(), s.ended) << "script " << n;
            if (s.op == Use)
                EXPECT_EQ(data, status == STC1_Success ? &o : nullptr);
        }
        n++;
    }
}

TEST(ResHandle, RefusalsChangeNothing)
{
    uint32_t cls = TestClass(), other = TestClass("other");
    Obj o;
    uint32_t h = 0, out = 1;
    void *data = &data;
    ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
    const int cases[][2] = {
        {RES1_Use(h, other, &data), STC1_Authority},
        {RES1_Destroy(cls), STC1_BadObject},
        {RES1_Drop(cls), STC1_BadObject},
        {RES1_Create(&out, h, 0, &o), STC1_BadObject},
        {RES1_Create(&out, 0, 0, &o), STC1_BadObject},
        {RES1_Create(&out, cls, 0x7FF00123u, &o), STC1_BadArgument},
        {RES1_Create(nullptr, cls, 0, &o), STC1_BadArgument},
        {RES1_Register(nullptr, EndObj, "x", 0), STC1_BadArgument},
        {RES1_Register(&out, EndObj, nullptr, 3), STC1_BadArgument},
    };
    for (const auto &k : cases)
        EXPECT_EQ(k[0], k[1]) << &k - cases;
    EXPECT_EQ(out, 0u);
    EXPECT_EQ(data, nullptr);
    // The resource still holds only its creator's use.
    ASSERT_EQ(RES1_Destroy(h), STC1_Success);
    ASSERT_EQ(RES1_Drop(h), STC1_Success);
    EXPECT_EQ(o.ended.load(), 1);
}

// Any word may be handed in.  Words near live handles, old handles of
// slots used many times over, and random words: none is followed, and the
// live resources keep exactly their creator's use.
TEST(ResHandle, RandomAndStaleWordsAreRefused)
{
    uint32_t cls = TestClass();
    std::deque<Obj> objs(300);
    std::set<uint32_t> live{cls};
    std::vector<uint32_t> handles, words;
    for (Obj &o : objs) {
        uint32_t h = 0;
        ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
        handles.push_back(h);
        live.insert(h);
    }
    Obj spare;
    for (int life = 0; life < 500; life++) { // one slot, 500 lives
        uint32_t h = 0;
        ASSERT_EQ(RES1_Create(&h, cls, 0, &spare), STC1_Success);
        ASSERT_EQ(RES1_Destroy(h), STC1_Success);
        ASSERT_EQ(RES1_Drop(h), STC1_Success);
        words.push_back(h);
    }
    std::mt19937 rng(12345);
    for (int i = 0; i < 100000; i++) {
        uint32_t w = rng();
        if (i % 2) // inside the two pages there are
            w = (w & 0xFFF001FFu) | (i % 4 == 1 ? 0x00100000u : 0);
        if (live.count(w) == 0)
            words.push_back(w);
    }
    for (uint32_t w : words) {
        void *data = &data;
        ASSERT_EQ(RES1_Use(w, cls, &data), STC1_NotThere) << std::hex << w;
        ASSERT_EQ(data, nullptr);
        ASSERT_EQ(RES1_Drop(w), STC1_NotThere) << std::hex << w;
        ASSERT_EQ(RES1_Destroy(w), STC1_NotThere) << std::hex << w;
        uint32_t out = 0;
        ASSERT_EQ(RES1_Create(&out, w, 0, &spare), STC1_BadObject) << std::hex << w;
        ASSERT_EQ(RES1_Create(&out, cls, w, &spare), w ? STC1_BadArgument : STC1_Success);
    }
    for (size_t i = 0; i < handles.size(); i++) {
        ASSERT_EQ(RES1_Destroy(handles[i]), STC1_Success);
        EXPECT_EQ(objs[i].ended.load(), 0);
        ASSERT_EQ(RES1_Drop(handles[i]), STC1_Success);
        EXPECT_EQ(objs[i].ended.load(), 1);
    }
}

// One drop more than there were uses: the handle is refused from then
// on, the destructor never runs and the slot never comes back.
TEST(ResHandle, DroppingAUseNotHeldWritesTheResourceOff)
{
    uint32_t cls = TestClass();
    Obj o;
    uint32_t h = 0, n = 0;
    ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
    ASSERT_EQ(RES1_Drop(h), STC1_Success);
    EXPECT_EQ(RES1_Drop(h), STC1_Success);
    EXPECT_EQ(RES1_Use(h, cls, nullptr), STC1_NotThere);
    for (int i = 0; i < 300; i++) {
        ASSERT_EQ(RES1_Create(&n, cls, 0, &o), STC1_Success);
        ASSERT_NE(n & 0xFFFFFu, h & 0xFFFFFu);
    }
    EXPECT_EQ(o.ended.load(), 0);
}

// Without memory, and with all 4096 pages of 256 in use: Shortage, nothing
// kept, and the use taken of the owner given back.
TEST(ResHandle, ShortageLeavesNothingBehind)
{
    uint32_t cls = TestClass(), out = 1, h = 0, owner = 0;
    Obj o, ownerObj;
    countdown = 1;
    EXPECT_EQ(RES1_Register(&out, EndObj, "x", 0), STC1_Shortage);
    EXPECT_EQ(out, 0u);
    ASSERT_EQ(RES1_Create(&owner, cls, 0, &ownerObj), STC1_Success);
    while (ZULRE_Rvt()->free != nullptr)
        ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
    countdown = 1; // the next page
    EXPECT_EQ(RES1_Create(&h, cls, owner, &o), STC1_Shortage);
    int status;
    uint32_t last = 0;
    while ((status = RES1_Create(&h, cls, 0, &o)) == STC1_Success)
        last = h;
    EXPECT_EQ(status, STC1_Shortage);
    EXPECT_EQ(last, 0x001FFF00u); // the last handle of the last page
    EXPECT_EQ(RES1_Create(&h, cls, owner, &o), STC1_Shortage);
    EXPECT_EQ(RES1_Register(&out, EndObj, "x", 0), STC1_Shortage);
    ASSERT_EQ(RES1_Destroy(owner), STC1_Success);
    ASSERT_EQ(RES1_Drop(owner), STC1_Success);
    EXPECT_EQ(ownerObj.ended.load(), 1);
}

} // namespace
