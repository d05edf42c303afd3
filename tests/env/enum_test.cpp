// RAS1_EnumInfo over the lists of units and entries.
#include <vector>

#include <gtest/gtest.h>

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
    void *buf[4];
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
}

} // namespace
