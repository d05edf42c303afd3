// The res1 command and RES1_DEBUG: the listing of classes and live
// resources through a console, and debug lines for the new resources of
// the classes that the variable names, set from the environment or from
// the console.
#include <zul/crf1.h>
#include <zul/ras1.h>
#include <zul/res1.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <regex>
#include <string>

namespace {

std::string Line(uint32_t console, const std::string &line)
{
    uint32_t count = 0, got = 0;
    CRF1_Execute(console, line.data(), uint32_t(line.size()), &count);
    std::string out(count, '\0');
    CRF1_Fetch(console, out.data(), count, &got);
    return out.substr(0, got);
}

std::mutex logMutex;
std::string logText;
int Keep(void *, const char *text, uint32_t length, ZULRA_entry_t *, uint32_t)
{
    std::lock_guard<std::mutex> hold(logMutex);
    logText.append(text, length);
    return 0;
}

std::string Hex(uint32_t h)
{
    char text[16];
    snprintf(text, sizeof text, "0x%08X", h);
    return text;
}

} // namespace

TEST(Res1Command, ListsClassesAndLiveResources)
{
    uint32_t widget = 0, empty = 0, h = 0, console = 0;
    ASSERT_EQ(RES1_Register(&widget, nullptr, "Widget", 0), STC1_Success);
    ASSERT_EQ(RES1_Register(&empty, nullptr, "Empty", 0), STC1_Success);
    ASSERT_EQ(RES1_Create(&h, widget, 0, reinterpret_cast<void *>(0x1234)), STC1_Success);
    ASSERT_EQ(CRF1_New(&console), CRF1_OK);
    const struct { const char *line; std::string pattern; } rows[] = {
        {"res1", "Widget::" + Hex(widget) + "::00000004::[0-9A-F]+, debug=0, pendingDestroy=0, activeResources=1\n"},
        {"res1", "^Empty::" + Hex(empty) + "::00000004::[0-9A-F]+, debug=0, pendingDestroy=0, activeResources=0\n"},
        {"res1 widget", "^Widget::" + Hex(h) + "::00000008::1234\nWidget::" + Hex(widget) + "::00000004::"},
        {"res1 Empty Widg", "^Empty has no active resources\nWidg not found\n$"},
    };
    for (const auto &row : rows) {
        std::string out = Line(console, row.line);
        EXPECT_TRUE(std::regex_search(out, std::regex(row.pattern))) << row.line << ":\n" << out;
    }
}

// true: RES1_DEBUG comes from the environment, before the first use of
// RES1; false: it is set through the console's bss1 command.
class Res1Debug : public testing::TestWithParam<bool> {};

TEST_P(Res1Debug, NamedClassesWriteLinesForNewResourcesOnly)
{
    const bool fromEnvironment = GetParam();
    if (fromEnvironment)
        setenv("RES1_DEBUG", "loud other", 1);
    ASSERT_EQ(RAS1_RegisterStore("test", 4, nullptr, Keep, RAS1_ANY), STC1_Success);
    uint32_t loud = 0, quiet = 0, console = 0, before = 0, after = 0, other = 0, kept = 0, off = 0;
    ASSERT_EQ(RES1_Register(&loud, nullptr, "Loud", 0), STC1_Success);
    ASSERT_EQ(RES1_Register(&quiet, nullptr, "Quiet", 0), STC1_Success);
    ASSERT_EQ(RES1_Create(&before, loud, 0, nullptr), STC1_Success);
    ASSERT_EQ(CRF1_New(&console), CRF1_OK);
    if (!fromEnvironment)
        Line(console, "bss1 config RES1_DEBUG=LOUD");
    auto cycle = [](uint32_t h, uint32_t cls) {
        void *data;
        RES1_Use(h, cls, &data);
        RES1_Drop(h);
        RES1_Destroy(h);
        RES1_Drop(h);
    };
    ASSERT_EQ(RES1_Create(&after, loud, 0, nullptr), STC1_Success);
    ASSERT_EQ(RES1_Create(&other, quiet, 0, nullptr), STC1_Success);
    ASSERT_EQ(RES1_Create(&kept, loud, 0, nullptr), STC1_Success);
    cycle(after, loud), cycle(other, quiet), cycle(before, loud);
    Line(console, "bss1 config RES1_DEBUG=\"\""); // silences `kept` at once
    ASSERT_EQ(RES1_Create(&off, loud, 0, nullptr), STC1_Success);
    cycle(kept, loud), cycle(off, loud);

    std::lock_guard<std::mutex> hold(logMutex);
    // A setting from the environment came before `before` was made.  The
    // lines of a resource's end show the handle it moved on to.
    const uint32_t kNext = 0x100000;
    const struct { uint32_t handle; const char *event; bool written; } rows[] = {
        {after, ", created, owner=00000000\n", true}, {after, ", use\n", true},
        {after, ", drop\n", true}, {after, ", destruction scheduled\n", true},
        {after + kNext, ", destruction underway\n", true}, {after + kNext, ", destroyed\n", true},
        {before, ", created", fromEnvironment}, {before + kNext, ", destroyed\n", fromEnvironment},
        {other, ", created", false}, {kept, ", created", true}, {kept, ", use", false},
        {off, ", created", false},
    };
    for (const auto &row : rows)
        EXPECT_EQ(std::regex_search(logText, std::regex(Hex(row.handle) + "::[0-9A-F]{8}::[^\n]*" + row.event)),
                  row.written) << Hex(row.handle) << row.event << "\n" << logText;
}

INSTANTIATE_TEST_SUITE_P(From, Res1Debug, testing::Bool());
