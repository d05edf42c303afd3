// Anchors: answers of each call by name, creators racing on one name, two
// modules meeting through anchors; aliases: refused once released, when
// stale or forged, or when of another class.
#include <zul/anc1.h>
#include <zul/res1.h>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <atomic>
#include <thread>
#include <vector>

extern "C" int module_1_meet(void **area, void **peer);
extern "C" int module_1_data;

TEST(Anchors, CallsAnswerByExactName)
{
    static int kept[3]; // op: Save &kept[size], Locate, Create with size, Forget; want: &kept[want], 0 null, -1 any
    const struct { char op; const char *text; int16_t length; int size, status, reason, want; } steps[] = {
        {'S', "Key", 3, 1, 0, 0, -1}, {'S', "Key", 3, 2, 4, 34, -1}, {'C', "Key", 3, 16, 0, 0, 1},
        {'L', "key", 3, 0, 5, 28, -1}, {'L', "Ke", 2, 0, 5, 28, -1}, {'L', "a\0c", 3, 0, 5, 28, -1},
        {'S', "a\0b", 3, 2, 0, 0, -1}, {'L', "a\0b", 3, 0, 0, 0, 2}, {'C', "", 0, 0, 10, 28, 0},
        {'F', "Key", 3, 0, 0, 26, -1}, {'F', "Key", 3, 0, 5, 28, -1}, {'L', "x", -1, 0, 1, 1, -1},
    };
    for (const auto &s : steps) {
        ZULAN_name_t name = {s.text, 0, s.length};
        void *got = &got;
        int reason = -1, status = s.op == 'S' ? ANC1_SaveAnchorAddress(name, &kept[s.size], &reason)
                                  : s.op == 'L' ? ANC1_LocateAnchorAddress(name, &got, &reason)
                                  : s.op == 'C' ? ANC1_LocateCreateAnchor(name, s.size, &got, &reason)
                                                : ANC1_ForgetAnchorAddress(name, &reason);
        EXPECT_TRUE(status == s.status && reason == s.reason && (s.want < 0 || got == (s.want ? &kept[s.want] : nullptr)))
            << s.op << " " << &s - steps << ": " << status << "/" << reason;
    }
}

TEST(Anchors, RacingCreatorsGetOneAnchor)
{
    for (int round = 0; round < 50; round++) {
        const std::string text = "race" + std::to_string(round);
        void *got[8];
        std::atomic<int> created{0};
        for (std::vector<std::jthread> threads; threads.size() < 8;) // joined as the loop ends
            threads.emplace_back([&, g = &got[threads.size()]] { created += ANC1_LocateCreateAnchor(ZULAN_Name(text.c_str(), 0), 64, g, nullptr) == STC1_Warning; });
        EXPECT_EQ(created * 10 + std::count(got, got + 8, got[0]), 18);
    }
}

TEST(Anchors, TwoModulesFindEachOthersData)
{
    void *area1 = nullptr, *peer1 = nullptr, *area2 = nullptr, *peer2 = nullptr;
    ASSERT_EQ(module_1_meet(&area1, &peer1), STC1_Warning); // module 1 creates the area, finds no peer
    void *module2 = dlopen(ZUL_ANC_MODULE_2, RTLD_NOW | RTLD_LOCAL);
    auto meet2 = reinterpret_cast<int (*)(void **, void **)>(dlsym(module2, "module_2_meet"));
    ASSERT_EQ(meet2(&area2, &peer2), STC1_Success); // module 2 locates it
    EXPECT_TRUE(area2 == area1 && *static_cast<int *>(area2) == 1 && peer2 == &module_1_data);
    ASSERT_EQ(module_1_meet(&area1, &peer1), STC1_Success);
    EXPECT_EQ(peer1, dlsym(module2, "module_2_data"));
}

TEST(Aliases, RefusedOnceReleasedStaleForgedOrForeign)
{
    int objects[2];
    uint32_t alias = 0, other = 0, cls = 0, foreign = 0;
    void *got = nullptr;
    ASSERT_EQ(ANC1_ReserveAlias(&alias, &objects[0]) + RES1_Register(&cls, nullptr, "other", 0) +
                  RES1_Create(&foreign, cls, 0, &objects[1]), STC1_Success);
    EXPECT_TRUE(ANC1_ReleaseAlias(foreign) == STC1_Authority && RES1_Use(foreign, cls, &got) == STC1_Success);
    ASSERT_EQ(ANC1_ReleaseAlias(alias) + ANC1_ReserveAlias(&other, &objects[1]), STC1_Success);
    EXPECT_EQ(other & 0xFFFFFu, alias & 0xFFFFFu); // the same block, a later life
    for (uint32_t h : {alias, other ^ 0x100000u, other + 0x200000u, 0u, foreign})
        EXPECT_TRUE(ANC1_ConvertAlias(h, &got) == (h == foreign ? STC1_Authority : STC1_NotThere) && !got) << std::hex << h;
    EXPECT_EQ(ANC1_ReleaseAlias(alias), STC1_NotThere);
    EXPECT_TRUE(ANC1_ConvertAlias(other, &got) == STC1_Success && got == &objects[1]);
}
