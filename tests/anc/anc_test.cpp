// Anchors: answers of each call by name, creators racing on one name, two
// modules meeting through anchors; aliases: refused once released, when
// stale or forged, or when of another class.
#include <zul/anc1.h>
#include <zul/res1.h>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <thread>
#include <vector>

extern "C" int module_1_meet(void **area, void **peer);
extern "C" int module_1_data;

TEST(Anchors, CallsAnswerByExactName)
{
    static int kept[3];
    struct Step { char op; const char *text; int16_t length; int tag, status, reason, expect; };
    const Step steps[] = {
        {'S', "Key", 3, 1, STC1_Success, RSN1_NoError, -1},
        {'S', "Key", 3, 2, STC1_Duplicate, RSN1_Prior, -1},   // the first address stays
        {'L', "Key", 3, 0, STC1_Success, RSN1_NoError, 1},
        {'L', "key", 3, 0, STC1_NotThere, RSN1_NotFound, -1}, // case counts
        {'L', "Ke", 2, 0, STC1_NotThere, RSN1_NotFound, -1},  // no prefix
        {'C', "Key", 3, 16, STC1_Success, RSN1_NoError, 1},   // a saved one is located
        {'S', "a\0b", 3, 0, STC1_Success, RSN1_NoError, -1},
        {'L', "a\0c", 3, 0, STC1_NotThere, RSN1_NotFound, -1}, // zero bytes count
        {'S', "", 0, 2, STC1_Success, RSN1_NoError, -1},
        {'L', "", 0, 0, STC1_Success, RSN1_NoError, 2},
        {'C', "z", 1, 0, STC1_Warning, RSN1_NotFound, 0},     // no area: null
        {'C', "z", 1, 8, STC1_Success, RSN1_NoError, 0},
        {'F', "Key", 3, 0, STC1_Success, RSN1_NoReason, -1},
        {'F', "Key", 3, 0, STC1_NotThere, RSN1_NotFound, -1},
        {'L', "Key", 3, 0, STC1_NotThere, RSN1_NotFound, -1},
        {'S', "Key", 3, 2, STC1_Success, RSN1_NoError, -1},
        {'L', "Key", 3, 0, STC1_Success, RSN1_NoError, 2},
        {'L', "x", -1, 0, STC1_BadArgument, RSN1_Arguments, -1},
    };
    for (const Step &s : steps) {
        ZULAN_name_t name = {s.text, 0, s.length};
        void *got = &got;
        int reason = -1, status = s.op == 'S'   ? ANC1_SaveAnchorAddress(name, &kept[s.tag], &reason)
                                  : s.op == 'L' ? ANC1_LocateAnchorAddress(name, &got, &reason)
                                  : s.op == 'C' ? ANC1_LocateCreateAnchor(name, s.tag, &got, &reason)
                                                : ANC1_ForgetAnchorAddress(name, &reason);
        SCOPED_TRACE(testing::Message() << s.op << " " << std::string(s.text, s.length > 0 ? s.length : 0));
        EXPECT_EQ(status, s.status);
        EXPECT_EQ(reason, s.reason);
        if (s.expect >= 0)
            EXPECT_EQ(got, s.expect ? &kept[s.expect] : nullptr);
    }
}

TEST(Anchors, RacingCreatorsGetOneAnchor)
{
    for (int round = 0; round < 50; round++) {
        const std::string text = "race" + std::to_string(round);
        std::vector<void *> got(8);
        std::vector<int> status(8);
        std::vector<std::thread> threads;
        for (size_t t = 0; t < got.size(); t++)
            threads.emplace_back([&, t] { status[t] = ANC1_LocateCreateAnchor(ZULAN_Name(text.c_str(), 0), 64, &got[t], nullptr); });
        for (std::thread &t : threads)
            t.join();
        EXPECT_EQ(std::count(status.begin(), status.end(), STC1_Warning), 1);
        EXPECT_EQ(std::count(status.begin(), status.end(), STC1_Success), 7);
        EXPECT_EQ(std::count(got.begin(), got.end(), got[0]), 8);
    }
}

TEST(Anchors, TwoModulesFindEachOthersData)
{
    void *area1 = nullptr, *peer1 = nullptr, *area2 = nullptr, *peer2 = nullptr;
    ASSERT_EQ(module_1_meet(&area1, &peer1), STC1_Warning); // module 1 creates the area
    EXPECT_EQ(peer1, nullptr);
    void *module2 = dlopen(ZUL_ANC_MODULE_2, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module2, nullptr) << dlerror();
    auto meet2 = reinterpret_cast<int (*)(void **, void **)>(dlsym(module2, "module_2_meet"));
    ASSERT_EQ(meet2(&area2, &peer2), STC1_Success); // module 2 locates it
    EXPECT_EQ(area2, area1);
    EXPECT_EQ(*static_cast<int *>(area2), 1);
    EXPECT_EQ(peer2, &module_1_data);
    ASSERT_EQ(module_1_meet(&area1, &peer1), STC1_Success);
    EXPECT_EQ(peer1, dlsym(module2, "module_2_data"));
}

TEST(Aliases, RefusedOnceReleasedStaleForgedOrForeign)
{
    int objects[2];
    uint32_t alias = 0, other = 0, cls = 0, foreign = 0;
    void *got = nullptr;
    ASSERT_EQ(ANC1_ReserveAlias(&alias, &objects[0]), STC1_Success);
    ASSERT_EQ(RES1_Register(&cls, nullptr, "other", 0), STC1_Success);
    ASSERT_EQ(RES1_Create(&foreign, cls, 0, &objects[1]), STC1_Success);
    EXPECT_EQ(ANC1_ConvertAlias(alias, &got), STC1_Success);
    EXPECT_EQ(got, &objects[0]);
    EXPECT_EQ(ANC1_ConvertAlias(foreign, &got), STC1_Authority);
    EXPECT_EQ(ANC1_ReleaseAlias(foreign), STC1_Authority);
    EXPECT_EQ(RES1_Use(foreign, cls, &got), STC1_Success); // left alone

    ASSERT_EQ(ANC1_ReleaseAlias(alias), STC1_Success);
    ASSERT_EQ(ANC1_ReserveAlias(&other, &objects[1]), STC1_Success);
    EXPECT_EQ(other & 0xFFFFFu, alias & 0xFFFFFu); // the same block, a later life
    const uint32_t refused[] = {alias, other ^ 0x100000u, other + 0x200000u, 0, cls};
    for (uint32_t h : refused) {
        got = &got;
        EXPECT_EQ(ANC1_ConvertAlias(h, &got), h == cls ? STC1_Authority : STC1_NotThere) << std::hex << h;
        EXPECT_EQ(got, nullptr);
    }
    EXPECT_EQ(ANC1_ReleaseAlias(alias), STC1_NotThere);
    EXPECT_EQ(ANC1_ConvertAlias(other, &got), STC1_Success);
    EXPECT_EQ(got, &objects[1]);
}
