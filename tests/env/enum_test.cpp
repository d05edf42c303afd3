// RAS1_EnumInfo over the lists of units, entries and build records, the
// library's own build record, and the lines BSS1_GetEnv writes by class.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <zul/bss1.h>
#include <zul/ras1.h>

namespace {

// Reads a whole list in batches of `batch`, as a program would.
std::vector<void *> Walk(uint32_t list, uint32_t batch)
{
    std::vector<void *> all, buf(batch);
    for (uint32_t index = 0, count = batch;; count = batch) {
        int status = RAS1_EnumInfo(list, buf.data(), &index, &count);
        all.insert(all.end(), buf.begin(), buf.begin() + count);
        EXPECT_EQ(index, all.size());
        if (status != 0 || count == 0) {
            EXPECT_EQ(status, STC1_NotThere);
            return all;
        }
    }
}

constexpr int kMembers = 1500; // more than one piece of storage holds
RAS1_DECLARE_UNIT(RAS1_APPLICATION, "1", "TEST");
ZULRA_entry_t entries[kMembers];

TEST(EnumInfo, ArgumentsAndAnyBatchWalksEveryMemberOnceNewestFirst)
{
    void *buf[128];
    uint32_t index = 0, count = 4;
    EXPECT_EQ(RAS1_EnumInfo(3, buf, &index, &count), STC1_BadArgument);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(RAS1_EnumInfo(0, nullptr, &index, &(count = 4)), STC1_BadArgument);
    EXPECT_TRUE(Walk(RAS1_LIST_ENTRIES, 4).empty()); // nothing traced yet
    for (int i = 0; i < kMembers; i++) {
        entries[i] = ZULRA_entry_t{&ZULRA_unit_, "f", 1, uint32_t(i), &ZULRA_unitStart_, RAS1_PUBLIC, 0, 0};
        RAS1_Sync(&entries[i]);
    }
    for (uint32_t batch : {7u, 1500u, 4000u}) {
        std::vector<void *> all = Walk(RAS1_LIST_ENTRIES, batch);
        ASSERT_EQ(all.size(), size_t(kMembers)) << batch;
        for (int k = 0; k < kMembers; k++)
            ASSERT_EQ(all[k], &entries[kMembers - 1 - k]) << "batch " << batch << " position " << k;
    }
    EXPECT_EQ(Walk(RAS1_LIST_UNITS, 128), std::vector<void *>{&ZULRA_unit_});
    // Starting anywhere: a short last batch, the end, beyond it.
    struct { uint32_t index, stored; int status; } cases[] = {{1499, 1, 0}, {1500, 0, STC1_NotThere}, {99999, 0, STC1_NotThere}};
    for (const auto &c : cases) {
        index = c.index, count = 128;
        EXPECT_EQ(RAS1_EnumInfo(RAS1_LIST_ENTRIES, buf, &index, &count), c.status) << c.index;
        EXPECT_EQ(count, c.stored);
        EXPECT_EQ(index, c.index + c.stored);
    }
}

std::string captured;

// The library's build record enters once with the first traced call, and
// BSS1_GetEnv's lines follow the classes: found, fallback, absent, flow.
TEST(GetEnvTrace, BuildRecordAndMessagesFollowTheClasses)
{
    setenv("ZUL_TEST_FOUND", "v", 1);
    ASSERT_EQ(RAS1_RegisterStore("CAPTURE", 7, nullptr, [](void *, const char *text, uint32_t length, ZULRA_entry_t *,
                                                          uint32_t) { return captured.append(text, length), 0; },
                                 RAS1_ANY), 0);
    const char *lines[] = {"ZUL_TEST_FOUND=\"v\"\n", "ZUL_TEST_UNSET=\"fb\" (default)\n", "ZUL_TEST_UNSET=\"\"\n",
                           "Entry\n", "Exit: 0x"};
    struct { const char *classes; bool shown[5]; } cases[] = {
        {"ERROR", {1, 0, 0, 0, 0}}, {"DETAIL", {1, 1, 0, 0, 0}}, {"STATE DETAIL", {1, 1, 1, 0, 0}}, {"FLOW", {1, 0, 0, 1, 1}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.classes);
        uint32_t classes = 0;
        ASSERT_EQ(RAS1_QueryClassValue(&classes, c.classes, 0), 0);
        RAS1_SetClass(nullptr, classes);
        captured.clear();
        EXPECT_STREQ(BSS1_GetEnv("ZUL_TEST_FOUND", "fb"), "v");
        EXPECT_STREQ(BSS1_GetEnv("ZUL_TEST_UNSET", "fb"), "fb");
        EXPECT_EQ(BSS1_GetEnv("ZUL_TEST_UNSET", nullptr), nullptr);
        for (int i = 0; i < 5; i++)
            EXPECT_EQ(captured.find(lines[i]) != std::string::npos, c.shown[i]) << lines[i] << captured;
        EXPECT_NE(captured.find("zulssge,"), std::string::npos) << captured;
    }
    std::vector<void *> builds = Walk(RAS1_LIST_BUILDS, 128);
    ASSERT_EQ(builds.size(), 1u);
    auto *build = static_cast<ZULRA_build_t *>(builds[0]);
    ASSERT_GE(build->valueCount, 18u);
    EXPECT_STREQ(build->values[15], "zul");
}

} // namespace
