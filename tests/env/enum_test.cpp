// RAS1_EnumInfo over the lists of units, entries and build records, the
// library's own build record, and the lines BSS1_GetEnv writes by class.
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <zul/bss1.h>
#include <zul/ras1.h>

namespace {

// Reads a whole list in batches of `batch`, as a program would.
std::vector<void *> Walk(uint32_t list, uint32_t batch, int *last = nullptr)
{
    std::vector<void *> all, buf(batch);
    for (uint32_t index = 0;;) {
        uint32_t count = batch;
        int status = RAS1_EnumInfo(list, buf.data(), &index, &count);
        EXPECT_LE(count, status ? 0 : batch);
        all.insert(all.end(), buf.begin(), buf.begin() + count);
        EXPECT_EQ(index, all.size());
        if (status != 0 || count == 0) {
            if (last)
                *last = status;
            return all;
        }
    }
}

TEST(EnumInfo, ArgumentsAndEmptyLists)
{
    void *buf[4];
    uint32_t index = 0, count;
    auto call = [&](uint32_t list, void **records, uint32_t *i, uint32_t *n) { return count = 4, RAS1_EnumInfo(list, records, i, n); };
    EXPECT_EQ(call(3, buf, &index, &count), STC1_BadArgument);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(call(0, nullptr, &index, &count), STC1_BadArgument);
    EXPECT_EQ(call(0, buf, nullptr, &count), STC1_BadArgument);
    EXPECT_EQ(call(0, buf, &index, nullptr), STC1_BadArgument);
    for (uint32_t list = 0; list < 3; list++) { // nothing traced yet: all empty
        int last = 0;
        EXPECT_TRUE(Walk(list, 4, &last).empty());
        EXPECT_EQ(last, STC1_NotThere);
    }
}

// 1,500 entries of one unit, more than one piece of storage holds.
constexpr int kMembers = 1500;
RAS1_DECLARE_UNIT(RAS1_APPLICATION, "1", "TEST");
ZULRA_entry_t entries[kMembers];

TEST(EnumInfo, AnyBatchWalksEveryMemberOnceNewestFirst)
{
    for (int i = 0; i < kMembers; i++) {
        entries[i] = ZULRA_entry_t{&ZULRA_unit_, "f", 1, uint32_t(i), &ZULRA_unitStart_, RAS1_PUBLIC, 0, 0};
        RAS1_Sync(&entries[i]);
    }
    for (uint32_t batch : {1u, 7u, 128u, 1500u, 4000u}) {
        int last = 0;
        std::vector<void *> all = Walk(RAS1_LIST_ENTRIES, batch, &last);
        EXPECT_EQ(last, STC1_NotThere);
        ASSERT_EQ(all.size(), size_t(kMembers)) << batch;
        for (int k = 0; k < kMembers; k++)
            ASSERT_EQ(all[k], &entries[kMembers - 1 - k]) << "batch " << batch << " position " << k;
    }
    EXPECT_EQ(Walk(RAS1_LIST_UNITS, 128), std::vector<void *>{&ZULRA_unit_});
    // Starting anywhere: no room inside the list, a short last batch, the end.
    void *buf[128];
    struct { uint32_t index, room, stored; int status; } cases[] = {
        {0, 0, 0, 0}, {1499, 128, 1, 0}, {1500, 128, 0, STC1_NotThere}, {99999, 5, 0, STC1_NotThere}};
    for (const auto &c : cases) {
        uint32_t index = c.index, count = c.room;
        EXPECT_EQ(RAS1_EnumInfo(RAS1_LIST_ENTRIES, buf, &index, &count), c.status) << c.index;
        EXPECT_EQ(count, c.stored);
        EXPECT_EQ(index, c.index + c.stored);
    }
}

TEST(BuildRecord, LibraryRecordEntersOnceWithTheFirstTracedCall)
{
    BSS1_GetEnv("ZUL_TEST_SOME_NAME", nullptr);
    BSS1_GetEnv("ZUL_TEST_OTHER_NAME", "x");
    std::vector<void *> builds = Walk(RAS1_LIST_BUILDS, 128);
    ASSERT_EQ(builds.size(), 1u);
    auto *build = static_cast<ZULRA_build_t *>(builds[0]);
    ASSERT_GE(build->valueCount, 18u);
    for (uint32_t i = 0; i < build->valueCount + build->commentCount; i++)
        ASSERT_NE(i < build->valueCount ? build->values[i] : build->comments[i - build->valueCount], nullptr) << i;
    EXPECT_TRUE(std::regex_match(build->values[0], std::regex("[0-9]{4}/[0-9]{2}/[0-9]{2}"))) << build->values[0];
    EXPECT_STREQ(build->values[15], "zul");
    std::vector<void *> units = Walk(RAS1_LIST_UNITS, 128);
    ASSERT_EQ(units.size(), 1u);
    EXPECT_STREQ(static_cast<ZULRA_unit_t *>(units[0])->file, "zulssge");
}

std::string captured;

TEST(GetEnvTrace, MessagesFollowTheClasses)
{
    setenv("ZUL_TEST_FOUND", "v", 1);
    ASSERT_EQ(RAS1_RegisterStore("CAPTURE", 7, nullptr, [](void *, const char *text, uint32_t length, ZULRA_entry_t *,
                                                          uint32_t) { return captured.append(text, length), 0; },
                                 RAS1_ANY), 0);
    // Which lines appear: found, fallback, absent, entry and exit.
    const char *lines[] = {"ZUL_TEST_FOUND=\"v\"\n", "ZUL_TEST_UNSET=\"fb\" (default)\n", "ZUL_TEST_UNSET=\"\"\n",
                           "Entry\n", "Exit: 0x"};
    struct { const char *classes; bool shown[5]; } cases[] = {
        {"ERROR", {1, 0, 0, 0, 0}}, {"DETAIL", {1, 1, 0, 0, 0}}, {"STATE", {1, 0, 0, 0, 0}},
        {"STATE DETAIL", {1, 1, 1, 0, 0}}, {"FLOW", {1, 0, 0, 1, 1}},
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
}

} // namespace
