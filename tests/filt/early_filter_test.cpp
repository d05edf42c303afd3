// A filter made before the trace has started is put in the form of unit
// names by the filter call itself, so it selects its unit whatever the
// order of start-up.
#include <zul/ras1.h>

#include <cstring>

#include <gtest/gtest.h>

RAS1_DECLARE_UNIT_EX("src/MyUnit.c", RAS1_APPLICATION, "1", "EARLY", 0);
RAS1_DECLARE_ENTRY(early_entry, "early", RAS1_PUBLIC);

namespace {

int Discard(void *, const char *, uint32_t, ZULRA_entry_t *, uint32_t) { return 0; }

} // namespace

TEST(EarlyFilter, FilterBeforeTheStartIsNormalizedAndSelects)
{
    // Nothing traced yet in this process: the trace has not started.
    char text[] = "src/MyUnit.c";
    ZULRA_elem_t element = {text, 12, RAS1_FILTER_UNIT};
    uint32_t id = 0;
    ASSERT_EQ(RAS1_NewFilter(&id, RAS1_FLOW, &element, 1, 0, 0), STC1_Warning);
    EXPECT_EQ(element.length, 8u);
    EXPECT_EQ(std::string(element.text, element.length), "myunit.c");

    // The first traced call starts the trace; the filter selects the unit.
    ASSERT_EQ(RAS1_RegisterStore("EARLY", 5, nullptr, Discard, RAS1_ANY), STC1_Success);
    EXPECT_TRUE(RAS1_WANTS(RAS1_ReadClass(&early_entry), RAS1_FLOW));
    EXPECT_STREQ(early_entry.unit->file, "myunit.c");
}
