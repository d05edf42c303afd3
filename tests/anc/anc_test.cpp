// Anchors: creators racing on one name get one anchor, names compare
// exactly, two modules meet through anchors; aliases: refused once
// released, when stale or forged, or when of another class.
#include <zul/anc1.h>
#include <zul/res1.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

extern "C" int module_1_meet(void **area, void **peer), module_2_meet(void **area, void **peer);
extern "C" int module_1_data, module_2_data;

TEST(Anchors, RacingCreatorsGetOneAnchorThatCanBeForgotten)
{
    void *got = nullptr;
    for (int round = 0; round < 50; round++) {
        void *all[8];
        std::atomic<int> created{0};
        for (std::vector<std::jthread> threads; threads.size() < 8;) // joined as the loop ends
            threads.emplace_back([&, g = &all[threads.size()]] { created += ANC1_LocateCreateAnchor(ZULAN_Name(("race" + std::to_string(round)).c_str(), 0), 64, g, nullptr) == STC1_Warning; });
        EXPECT_EQ(created * 10 + std::count(all, all + 8, all[0]), 18);
    }
    EXPECT_EQ(ANC1_ForgetAnchorAddress(ZULAN_Name("race25", 0), nullptr), STC1_Success); // from the middle
    for (const char *name : {"race24", "race25", "race26", "Race24"})
        EXPECT_EQ(ANC1_LocateAnchorAddress(ZULAN_Name(name, 0), &got, nullptr), name[5] == '5' || name[0] == 'R' ? 5 : 0) << name;
}

TEST(Anchors, TwoModulesFindEachOthersData)
{
    void *area1 = nullptr, *peer1 = nullptr, *area2 = nullptr, *peer2 = nullptr;
    ASSERT_EQ(module_1_meet(&area1, &peer1), STC1_Warning); // module 1 creates the area, finds no peer
    ASSERT_EQ(module_2_meet(&area2, &peer2), STC1_Success); // module 2 locates it
    EXPECT_TRUE(area2 == area1 && *static_cast<int *>(area2) == 1 && peer2 == &module_1_data);
    EXPECT_TRUE(module_1_meet(&area1, &peer1) == STC1_Success && peer1 == &module_2_data); // now it does
}

TEST(Aliases, RefusedOnceReleasedStaleForgedOrForeign)
{
    int objects[2];
    uint32_t alias = 0, other = 0, cls = 0, foreign = 0;
    void *got = nullptr;
    ASSERT_EQ(ANC1_ReserveAlias(&alias, &objects[0]) + RES1_Register(&cls, nullptr, "other", 0) +
                  RES1_Create(&foreign, cls, 0, &objects[1]), STC1_Success);
    // The same block again, in a later life: `alias` is now stale.
    ASSERT_TRUE(ANC1_ReleaseAlias(alias) + ANC1_ReserveAlias(&other, &objects[1]) == 0 && ((other ^ alias) & 0xFFFFFu) == 0);
    for (uint32_t h : {alias, other ^ 0x100000u, other + 0x200000u, 0u, foreign}) // none is released, or followed
        EXPECT_TRUE(ANC1_ConvertAlias(h, &got) == (h == foreign ? STC1_Authority : STC1_NotThere) && !got &&
                    ANC1_ReleaseAlias(h) == (h == foreign ? STC1_Authority : STC1_NotThere)) << std::hex << h;
    EXPECT_TRUE(RES1_Use(foreign, cls, &got) == STC1_Success && got == &objects[1]); // left alone
    EXPECT_TRUE(ANC1_ConvertAlias(other, &got) == STC1_Success && got == &objects[1]);
}
