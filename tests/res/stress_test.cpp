// Threads on a shared set of handles: uses and drops, creations with and
// without owners, and destructions, all at once.  Then: every object has
// ended exactly once, never while a use of it was held, no use succeeded
// after its end, and every control block is free again.
#include "restest.h"
#include "res/zulre.h"

#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <random>

namespace {

// The creator's use of a resource in the set belongs to the set: whoever
// takes a handle out destroys the resource and drops that use.
void Retire(uint32_t h)
{
    if (h == 0)
        return;
    int status = RES1_Destroy(h);
    ASSERT_TRUE(status == STC1_Success || status == STC1_Warning) << status;
    ASSERT_EQ(RES1_Drop(h), STC1_Success);
}

TEST(ResStress, SharedSetUnderUseCreationAndDestruction)
{
    constexpr int kSlots = 32, kThreads = 4, kOps = 20000;
    uint32_t cls = TestClass();
    std::array<std::atomic<uint32_t>, kSlots> set{};
    std::vector<std::deque<Obj>> objs(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([&, t] {
            std::mt19937 rng(unsigned(t) + 1);
            for (int n = 0; n < kOps && !testing::Test::HasFailure(); n++) {
                std::atomic<uint32_t> &slot = set[rng() % kSlots];
                uint32_t h = slot.load();
                unsigned r = t == 0 ? 9 : rng() % 10; // thread 0 only destroys
                void *data = nullptr;
                if (r < 5) {
                    int status = RES1_Use(h, cls, &data);
                    ASSERT_TRUE(status == STC1_Success || status == STC1_NotThere);
                    if (status == STC1_Success) {
                        Obj *o = static_cast<Obj *>(data);
                        o->users++;
                        EXPECT_EQ(o->ended.load(), 0);
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
                } else {
                    int status = RES1_Destroy(h);
                    ASSERT_TRUE(status != STC1_BadObject && status != STC1_BadArgument) << status;
                }
            }
        });
    }
    for (std::thread &t : threads)
        t.join();
    for (std::atomic<uint32_t> &slot : set)
        Retire(slot.exchange(0));

    size_t made = 0;
    for (auto &mine : objs) {
        for (Obj &o : mine) {
            made++;
            ASSERT_EQ(o.ended.load(), 1);
            ASSERT_EQ(o.usersAtEnd.load(), 0);
        }
    }
    EXPECT_GT(made, size_t(kOps / 2));
    ZULRE_rvt_t *rvt = ZULRE_Rvt();
    RES1_Class *c = rvt->classes;
    EXPECT_EQ(c->activeResources, 0u);
    EXPECT_EQ(c->pendingDestroy, 0u);
    size_t free = 0;
    for (ZULRE_rcb_t *r = rvt->free; r != nullptr; r = r->next)
        free++;
    EXPECT_EQ(free, size_t(rvt->pageCount) * rvt->rcbsPerPage - 1); // all but the class's
}

} // namespace
