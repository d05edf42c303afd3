// RAS1_EnumInfo over the lists of units, entries and build records, and
// the library's own build record.
#include <string.h>

#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <zul/bss1.h>
#include <zul/ras1.h>

namespace {

// Reads a whole list in batches of `batch`, as a program would.
std::vector<void *> Walk(uint32_t list, uint32_t batch, int *last = nullptr)
{
    std::vector<void *> all;
    std::vector<void *> buf(batch);
    uint32_t index = 0;
    for (;;) {
        uint32_t count = batch;
        int status = RAS1_EnumInfo(list, buf.data(), &index, &count);
        if (status != 0) {
            EXPECT_EQ(count, 0u);
            if (last)
                *last = status;
            break;
        }
        EXPECT_LE(count, batch);
        all.insert(all.end(), buf.begin(), buf.begin() + count);
        EXPECT_EQ(index, all.size());
        if (count == 0)
            break; // only with a batch of 0
    }
    return all;
}

TEST(EnumInfo, ArgumentsAndEmptyLists)
{
    void *buf[4];
    uint32_t index = 0, count = 4;
    EXPECT_EQ(RAS1_EnumInfo(3, buf, &index, &count), STC1_BadArgument);
    EXPECT_EQ(count, 0u);
    count = 4;
    EXPECT_EQ(RAS1_EnumInfo(UINT32_MAX, buf, &index, &count), STC1_BadArgument);
    count = 4;
    EXPECT_EQ(RAS1_EnumInfo(0, nullptr, &index, &count), STC1_BadArgument);
    EXPECT_EQ(RAS1_EnumInfo(0, buf, nullptr, &count), STC1_BadArgument);
    EXPECT_EQ(RAS1_EnumInfo(0, buf, &index, nullptr), STC1_BadArgument);

    // Nothing has been traced in this process: every list is empty.
    for (uint32_t list = 0; list < 3; list++) {
        index = 0;
        count = 4;
        EXPECT_EQ(RAS1_EnumInfo(list, buf, &index, &count), STC1_NotThere) << list;
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(index, 0u);
    }
}

// 1,500 entries of one unit: more than one chunk holds.
constexpr int kMembers = 1500;
RAS1_DECLARE_UNIT(RAS1_APPLICATION, "1", "TEST");
ZULRA_entry_t entries[kMembers];

void RegisterEntries()
{
    for (int i = 0; i < kMembers; i++) {
        entries[i] = ZULRA_entry_t{&ZULRA_unit_, "f", 1, (uint32_t)i, &ZULRA_unitStart_,
                                   RAS1_PUBLIC, 0, 0};
        RAS1_Sync(&entries[i]);
    }
}

TEST(EnumInfo, BatchesOf128AcrossTwoChunksWithoutLossOrRepeat)
{
    RegisterEntries();
    int last = 0;
    std::vector<void *> all = Walk(RAS1_LIST_ENTRIES, 128, &last);
    EXPECT_EQ(last, STC1_NotThere);
    ASSERT_EQ(all.size(), (size_t)kMembers);
    // Newest first: position k holds the entry registered k-th from last,
    // also where a batch crosses from the first chunk into the second.
    for (int k = 0; k < kMembers; k++)
        ASSERT_EQ(all[k], &entries[kMembers - 1 - k]) << "position " << k;
    std::set<void *> distinct(all.begin(), all.end());
    EXPECT_EQ(distinct.size(), all.size());
    // The one unit came in once.
    EXPECT_EQ(Walk(RAS1_LIST_UNITS, 128), std::vector<void *>{&ZULRA_unit_});
}

TEST(EnumInfo, AnyBatchSizeGivesTheSameWalk)
{
    RegisterEntries();
    std::vector<void *> reference = Walk(RAS1_LIST_ENTRIES, 128);
    for (uint32_t batch : {1u, 7u, 1020u, 1021u, 1022u, 1500u, 4000u}) {
        SCOPED_TRACE(batch);
        EXPECT_EQ(Walk(RAS1_LIST_ENTRIES, batch), reference);
    }
}

TEST(EnumInfo, StartAnywhereAndShortLastBatch)
{
    RegisterEntries();
    void *buf[128];
    struct Case {
        uint32_t index, room, stored;
        int status;
    } cases[] = {
        {0, 0, 0, 0},             // no room inside the list: 0, nothing stored
        {1020, 2, 2, 0},          // across the chunk boundary
        {1021, 128, 128, 0},      // the second chunk from its first slot
        {1499, 128, 1, 0},        // fewer than asked: the end was reached
        {1500, 128, 0, STC1_NotThere},
        {1500, 0, 0, STC1_NotThere},
        {99999, 5, 0, STC1_NotThere},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.index);
        uint32_t index = c.index, count = c.room;
        EXPECT_EQ(RAS1_EnumInfo(RAS1_LIST_ENTRIES, buf, &index, &count), c.status);
        EXPECT_EQ(count, c.stored);
        EXPECT_EQ(index, c.index + c.stored);
        for (uint32_t i = 0; i < c.stored; i++)
            EXPECT_EQ(buf[i], &entries[kMembers - 1 - c.index - i]);
    }
}

TEST(BuildRecord, LibraryRecordEntersWithTheFirstTracedCall)
{
    BSS1_GetEnv("ZUL_TEST_SOME_NAME", nullptr);
    std::vector<void *> builds = Walk(RAS1_LIST_BUILDS, 128);
    ASSERT_EQ(builds.size(), 1u);
    auto *build = static_cast<ZULRA_build_t *>(builds[0]);
    ASSERT_EQ(build->valueCount, 18u);
    EXPECT_EQ(build->commentCount, 44u);
    for (uint32_t i = 0; i < build->valueCount; i++)
        ASSERT_NE(build->values[i], nullptr) << i;
    for (uint32_t i = 0; i < build->commentCount; i++)
        ASSERT_NE(build->comments[i], nullptr) << i;
    EXPECT_STREQ(build->values[3], "");          // environment filename
    EXPECT_STREQ(build->values[15], "zul");      // component code
    EXPECT_STREQ(build->values[16], "0100");     // build serial number
    EXPECT_EQ(strncmp(build->values[17], "zul-", 4), 0); // driver name
    EXPECT_TRUE(std::regex_match(build->values[0], std::regex("[0-9]{4}/[0-9]{2}/[0-9]{2}")))
        << build->values[0];
    EXPECT_TRUE(std::regex_match(build->values[1], std::regex("[0-9]{2}:[0-9]{2}:[0-9]{2}")))
        << build->values[1];
    EXPECT_STREQ(build->values[2], "ZULRA_BuildInfo.c");

    // The record is met once, whatever else runs.
    BSS1_GetEnv("ZUL_TEST_OTHER_NAME", "x");
    EXPECT_EQ(Walk(RAS1_LIST_BUILDS, 128).size(), 1u);
    std::vector<void *> units = Walk(RAS1_LIST_UNITS, 128);
    ASSERT_EQ(units.size(), 1u);
    EXPECT_STREQ(static_cast<ZULRA_unit_t *>(units[0])->file, "zulssge");
}

} // namespace
