// The build records that syncs meet: each build is entered once.
#include "rastest.h"

namespace {

// Build records as link units lay them down.  A build is known by its
// component code (value 15), serial number (16) and driver name (17).
struct Build {
    const char *values[18];
    ZULRA_build_t record;
} builds[] = {
    {{"d", "t", "", "", "", "", "", "", "", "", "", "", "", "", "7", "ZUL", "0042", "drv"}, {18, 0, nullptr, nullptr}},
    // Another record of the same build: other date, same identity.
    {{"x", "y", "", "", "", "", "", "", "", "", "", "", "", "", "8", "ZUL", "0042", "drv"}, {18, 0, nullptr, nullptr}},
    // Too few values: the identity reads as empty texts.
    {{"d", "t"}, {2, 0, nullptr, nullptr}},
};

int infoCalls = 0;
// Hands out build i; a unit whose index is past the table gives none.
template <size_t i> void Info(ZULRA_build_t **b)
{
    infoCalls++;
    if (i < std::size(builds))
        builds[i].record.values = builds[i].values, *b = &builds[i].record;
}

TEST(RasBuild, EachBuildIsKeptOnce)
{
    static ZULRA_unit_t units[] = {
        MakeUnit(RAS1_LIBRARY, Info<0>), MakeUnit(RAS1_LIBRARY, Info<0>), MakeUnit(RAS1_LIBRARY, Info<1>),
        MakeUnit(RAS1_LIBRARY, Info<2>), MakeUnit(RAS1_LIBRARY, Info<3>),
        MakeUnit(RAS1_LIBRARY, Info<2>, 179), // too old a format: not asked
    };
    static ZULRA_entry_t entries[2 * std::size(units)];
    AddStore();
    for (size_t i = 0; i < std::size(units); i++) {
        entries[2 * i] = MakeEntry(&units[i], RAS1_PUBLIC, "a");
        entries[2 * i + 1] = MakeEntry(&units[i], RAS1_PUBLIC, "b");
        RAS1_Sync(&entries[2 * i]);
        RAS1_Sync(&entries[2 * i + 1]); // the unit is known: not asked again
    }
    EXPECT_EQ(infoCalls, 5);
    // Builds 0 and 2, newest first, then the library's own record, entered
    // when the trace started with the first sync.
    std::vector<void *> list = List(RAS1_LIST_BUILDS);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0], &builds[2].record);
    EXPECT_EQ(list[1], &builds[0].record);
    EXPECT_STREQ(static_cast<ZULRA_build_t *>(list[2])->values[15], "zul");
}

} // namespace
