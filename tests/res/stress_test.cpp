// Many threads on a shared set of handles: uses, drops, creations with
// and without owners, and destructions, all at once.  At the end every
// object has ended exactly once, never while a use of it was held, no
// use succeeded after its end, and every control block is free again.
#include "restest.h"
#include "res/zulre.h"

#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <random>

namespace {

// Free RCBs now, and RCBs in all pages.
std::pair<size_t, size_t> CountFree()
{
    ZULRE_rvt_t *rvt = ZULRE_Rvt();
    BSS1_GetLock(&rvt->lock);
    size_t n = 0;
    for (ZULRE_rcb_t *r = rvt->free; r != nullptr; r = r->next)
        n++;
    size_t all = size_t(rvt->pageCount) * rvt->rcbsPerPage;
    BSS1_ReleaseLock(&rvt->lock);
    return {n, all};
}

RES1_Class *Descriptor(uint32_t cls)
{
    ZULRE_rcb_t *rcb = ZULRE_DisableRCB(ZULRE_Rvt(), cls, 1);
    ZULRE_Drop(ZULRE_Rvt(), rcb, 1);
    return static_cast<RES1_Class *>(rcb->data);
}

// A use as the tests make it: the object must be whole from the use to
// the drop.
void CheckedUse(uint32_t h, uint32_t cls)
{
    void *data = nullptr;
    int status = RES1_Use(h, cls, &data);
    if (status != STC1_Success) {
        ASSERT_EQ(status, STC1_NotThere);
        ASSERT_EQ(data, nullptr);
        return;
    }
    Obj *o = static_cast<Obj *>(data);
    o->users++;
    ASSERT_EQ(o->destroyed.load(), 0) << "a use succeeded on an ended object";
    std::this_thread::yield();
    ASSERT_EQ(o->destroyed.load(), 0) << "an object ended while in use";
    o->users--;
    ASSERT_EQ(RES1_Drop(h), STC1_Success);
}

// The creator's use of a resource in the shared set belongs to the set:
// whoever takes a handle out of it destroys it and drops that use.
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
    constexpr int kSlots = 48, kWorkers = 3, kDestroyers = 1, kOps = 20000;
    uint32_t cls = TestClass();
    std::array<std::atomic<uint32_t>, kSlots> set{};
    std::vector<std::deque<Obj>> objs(kWorkers + kDestroyers);
    std::vector<std::thread> threads;

    for (int t = 0; t < kWorkers + kDestroyers; t++) {
        threads.emplace_back([&, t] {
            std::mt19937 rng(unsigned(t) * 7919u + 1);
            std::deque<Obj> &mine = objs[size_t(t)];
            bool destroyer = t >= kWorkers;
            for (int n = 0; n < kOps && !testing::Test::HasFatalFailure(); n++) {
                std::atomic<uint32_t> &slot = set[rng() % kSlots];
                uint32_t h = slot.load();
                unsigned r = destroyer ? 9 : rng() % 10;
                if (r < 5) {
                    CheckedUse(h, cls);
                } else if (r < 8) {
                    Obj &o = mine.emplace_back();
                    uint32_t owner = r == 7 ? set[rng() % kSlots].load() : 0;
                    uint32_t made = 0;
                    int status = RES1_Create(&made, cls, owner, &o);
                    if (status == STC1_BadArgument) { // the owner has ended
                        ASSERT_NE(owner, 0u);
                        status = RES1_Create(&made, cls, 0, &o);
                    }
                    ASSERT_EQ(status, STC1_Success);
                    Retire(slot.exchange(made));
                } else {
                    int status = RES1_Destroy(h);
                    ASSERT_TRUE(status == STC1_Success || status == STC1_Warning ||
                                status == STC1_NotThere)
                        << status;
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
            ASSERT_EQ(o.destroyed.load(), 1);
            ASSERT_EQ(o.usersAtEnd.load(), 0);
        }
    }
    EXPECT_GT(made, size_t(kWorkers * kOps / 5));
    RES1_Class *d = Descriptor(cls);
    EXPECT_EQ(d->activeResources, 0u);
    EXPECT_EQ(d->pendingDestroy, 0u);
    auto [free, all] = CountFree();
    EXPECT_EQ(free, all - 1); // all but the class's own
}

// Threads use one handle over and over while it is destroyed: the object
// ends once, when no thread holds a use, and after that every use is
// refused.  A thread that never finds a gap stops when told to; its last
// drop then ends the object.
TEST(ResStress, UsesRaceTheDestructionOfOneHandle)
{
    constexpr int kThreads = 3;
    uint32_t cls = TestClass();
    for (int round = 0; round < 20; round++) {
        Obj obj;
        uint32_t h = 0;
        ASSERT_EQ(RES1_Create(&h, cls, 0, &obj), STC1_Success);
        std::atomic<bool> stop{false};
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; t++) {
            threads.emplace_back([&] {
                while (!stop.load()) {
                    void *data = nullptr;
                    if (RES1_Use(h, cls, &data) != STC1_Success) {
                        // Refused from the moment the last use went, which
                        // is before the destructor has run.
                        EXPECT_EQ(RES1_Use(h, cls, &data), STC1_NotThere); // for good
                        return;
                    }
                    obj.users++;
                    EXPECT_EQ(obj.destroyed.load(), 0);
                    obj.users--;
                    EXPECT_EQ(RES1_Drop(h), STC1_Success);
                }
            });
        }
        std::this_thread::yield();
        ASSERT_EQ(RES1_Destroy(h), STC1_Success);
        ASSERT_EQ(RES1_Drop(h), STC1_Success);
        for (int wait = 0; wait < 500 && obj.destroyed.load() == 0; wait++)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        stop = true;
        for (std::thread &t : threads)
            t.join();
        EXPECT_EQ(obj.destroyed.load(), 1);
        EXPECT_EQ(obj.usersAtEnd.load(), 0);
    }
}

} // namespace
