// RES1_DEBUG, from the environment or the console, switches debug lines
// on for new resources of the classes it names, and an empty value
// silences all at once; the res1 command lists the classes, and the live
// resources of the classes it names.
#include <zul/crf1.h>
#include <zul/ras1.h>
#include <zul/res1.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>

static std::string logText;   // one thread writes here
static std::string errorText; // the ERROR lines of logText
static std::string Line(uint32_t console, const std::string &line)
{
    char out[2048];
    uint32_t count = 0;
    return CRF1_Execute(console, line.data(), uint32_t(line.size()), nullptr),
           std::string(out, CRF1_Fetch(console, out, sizeof out, &count) == CRF1_OK ? count : 0);
}
static std::string Hex(uint32_t h)
{
    char text[16];
    return std::string(text, snprintf(text, sizeof text, "0x%08X::", h));
}

class Res1Debug : public testing::TestWithParam<bool> {}; // true: from the environment

TEST_P(Res1Debug, NamedClassesWriteLinesForNewResourcesOnly)
{
    if (GetParam())
        setenv("RES1_DEBUG", "loud other", 1); // before the first use of RES1
    auto keep = [](void *, const char *text, uint32_t length, ZULRA_entry_t *, uint32_t flags) {
        if (RAS1_WRITE_KIND(flags) == RAS1_ERROR)
            errorText.append(text, length);
        return logText.append(text, length), 0;
    };
    uint32_t loud = 0, quiet = 0, console = 0, h[6] = {}; // before, after, other, kept, off, overdrawn
    ASSERT_EQ(RAS1_RegisterStore("test", 4, nullptr, keep, RAS1_ANY) + RES1_Register(&loud, nullptr, "Loud", 0) +
                  RES1_Register(&quiet, nullptr, "Quiet", 0) + RES1_Create(&h[0], loud, 0, nullptr) + CRF1_New(&console), 0);
    if (!GetParam())
        Line(console, "bss1 config RES1_DEBUG=LOUD");
    RES1_Create(&h[1], loud, 0, nullptr), RES1_Create(&h[2], quiet, 0, nullptr), RES1_Create(&h[3], loud, 0, nullptr);
    const std::string listings[][2] = { // newest class first; names without case, whole
        {"res1", "^Quiet::" + Hex(quiet) + "00000004::[0-9A-F]+, debug=0, pendingDestroy=0, activeResources=1\nLoud::" + Hex(loud) + "00000004::[0-9A-F]+, debug=1, pendingDestroy=0, activeResources=3\n"},
        {"res1 quiet Loud Lou", "^Quiet::" + Hex(h[2]) + "00000008::NULL\nQuiet::" + Hex(quiet) + "00000004::[0-9A-F]+\nLoud::" + Hex(h[3]) + "0000000A::NULL\n(.*\n){3}Lou not found\n$"},
    };
    for (const auto &row : listings)
        EXPECT_TRUE(std::regex_search(Line(console, row[0]), std::regex(row[1]))) << Line(console, row[0]);
    RES1_Destroy(h[1]), RES1_Drop(h[1]); // its end is written, with the handle it moved on to
    RES1_Create(&h[5], loud, 0, nullptr), RES1_Drop(h[5]), RES1_Drop(h[5]); // one drop too many
    Line(console, "bss1 config RES1_DEBUG=\"\"");
    RES1_Create(&h[4], loud, 0, nullptr), RES1_Use(h[3], loud, nullptr); // silenced at once
    const struct { uint32_t handle; const char *event; bool written; } rows[] = {
        {h[1], ", created, owner=00000000\n", true}, {h[1] + 0x100000, ", destroyed\n", true}, {h[0], ", created", GetParam()},
        {h[2], ", created", false}, {h[3], ", created", true}, {h[3], ", use", false}, {h[4], ", created", false},
        {h[5], ", use count error\n", true}}; // the handle as the caller overdrew it
    for (const auto &row : rows)
        EXPECT_EQ(std::regex_search(logText, std::regex(Hex(row.handle) + "[0-9A-F]{8}::.*" + row.event)), row.written)
            << Hex(row.handle) << row.event << "\n" << logText;
    // The drop too many is the caller's error, and its line says so by its
    // kind; the events of a resource's life are details.
    EXPECT_TRUE(std::regex_search(errorText, std::regex(Hex(h[5]) + "[0-9A-F]{8}::.*, use count error\n"))) << errorText;
    EXPECT_EQ(errorText.find(", created"), std::string::npos) << errorText;
}

INSTANTIATE_TEST_SUITE_P(From, Res1Debug, testing::Bool());

// Once any tracing is configured, each setting of the variable says so in
// the log, under the unit and function that took it.
TEST(Res1DebugSetting, IsLoggedWhileAnyTracingIsOn)
{
    auto keep = [](void *, const char *text, uint32_t length, ZULRA_entry_t *, uint32_t) { return logText.append(text, length), 0; };
    uint32_t old = 0, loud = 0;
    ASSERT_EQ(RAS1_RegisterStore("test", 4, nullptr, keep, RAS1_ANY) + RAS1_SetClass(&old, 0xFFFFFE80u) +
                  RES1_Register(&loud, nullptr, "Loud", 0) + BSS1_ConfigSet("RES1_DEBUG", "loud", 4), 0);
    EXPECT_TRUE(std::regex_search(logText, std::regex(R"(:zulre0i,\d+,"set_debug"\) RES1_DEBUG is now "loud", RVT=)")))
        << logText;
}
