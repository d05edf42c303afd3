// Information items, the header of the log and the hexadecimal dump.
#include "logtest.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <string>
#include <unistd.h>

namespace {

// What `body` writes through a formatter whose sink keeps the text.
template <typename Body> std::string Format(Body body)
{
    std::string text;
    ZULSS_format_t *f;
    EXPECT_EQ(BSS1_BeginFormat(&f, &text, +[](void *argument, char *data, uint32_t count) {
        if (data != nullptr)
            static_cast<std::string *>(argument)->append(data, count);
        return 0;
    }), STC1_Success);
    body(f);
    BSS1_EndFormat(f);
    return text;
}

// Without a buffer the full length; with one, as much as fits, and the
// NUL only when there is room for it; behind the bytes copied the buffer
// is untouched.  Unknown items give nothing.
TEST(Info, ItemsCopyWithinBoundsAndDescribeThisProcess)
{
    std::string pid = std::to_string(getpid());
    uint32_t n = static_cast<uint32_t>(pid.size());
    struct { bool buffer; uint32_t size, result; std::string copied; } cases[] = {
        {false, 2, n, ""}, {true, 64, n, pid + '\0'}, {true, n, n, pid}, {true, 1, 1, pid.substr(0, 1)}, {true, 0, 0, ""}};
    char buffer[64];
    for (const auto &c : cases) {
        std::memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(BSS1_Info(BSS1_INFO_PROCESSID, c.buffer ? buffer : nullptr, c.size), c.result) << c.size;
        EXPECT_EQ(std::string(buffer, c.copied.size() + 1), c.copied + '#') << c.size;
    }
    for (uint32_t item : {18u, 0xFFFFFFFFu, uint32_t(BSS1_INFO_JOB)})
        EXPECT_EQ(BSS1_Info(item, buffer, sizeof buffer), 0u) << item;
    auto item = [&](uint32_t i) { return std::string(buffer, BSS1_Info(i, buffer, sizeof buffer)); };
    EXPECT_EQ(item(BSS1_INFO_TASK), "zul_test_log"); // no name given to BSS1_Main
    EXPECT_EQ(item(BSS1_INFO_SYSTEMTYPE), item(BSS1_INFO_OSNAME) + ";" + item(BSS1_INFO_OSVERSION));
}

// Short items (up to 20 characters) stand two to a line, in columns of 38
// and 2; longer ones have a line each, behind them; the two settings close.
TEST(Info, HeaderPairsShortItemsAndGivesLongOnesALine)
{
    static char arg0[] = "prog", arg1[] = "abcdefghijklmnop";
    char *argv[] = {arg0, arg1, nullptr};
    int argc = 2;
    BSS1_Main(&argc, argv, "T2345678901234567890");
    unsetenv("ZUL_RAS1");
    setenv("ZUL_ENVPATH", "/etc/zul", 1);
    std::string text = Format([](ZULSS_format_t *f) { EXPECT_EQ(BSS1_DisplayEnvironment(f), 0); });
    std::regex shortItem("[ A-Za-z0-9_]{16}: .{1,20} *"), longItem("[ A-Za-z0-9_]{16}: .{21,}");
    auto lines = SplitLines(text);
    ASSERT_GE(lines.size(), 4u);
    size_t i = 0;
    for (int phase = 0; i + 2 < lines.size(); i++) { // pairs, then one lone short item, then long ones
        const std::string &l = lines[i];
        int kind = l.size() > 56 && l.substr(38, 2) == "  " && l[56] == ':' ? 0 : l.size() == 38 ? 1 : 2;
        EXPECT_TRUE(kind >= phase && (kind != 1 || phase == 0)) << l;
        phase = kind;
        EXPECT_TRUE(std::regex_match(kind == 2 ? l : l.substr(0, 38), kind == 2 ? longItem : shortItem)) << l;
    }
    EXPECT_NE(text.find("       Task Name: T2345678901234567890"), std::string::npos) << text;
    EXPECT_NE(text.find("\n    Command Line: prog abcdefghijklmnop\n"), std::string::npos) << text;
    EXPECT_EQ(lines[i], "        ZUL_RAS1: <not specified>");
    EXPECT_EQ(lines[i + 1], "     ZUL_ENVPATH: /etc/zul");
}

// Runs of equal lines fold; a short tail equal to the start of the line
// before does not.  A dump starts on a fresh line; zero bytes do nothing.
TEST(Dump, FoldsRunsOfEqualLinesAndStartsOnAFreshLine)
{
    const std::string A16 = "    00000000   41414141 41414141  41414141 41414141   AAAAAAAAAAAAAAAA\n";
    std::string text = Format([](ZULSS_format_t *f) { BSS1_Dump(f, std::string(40, 'A').data(), 40); });
    EXPECT_EQ(text, A16 + "    **************  00000010 - 00000020: Same as above  **************\n"
                          "    00000020   41414141 41414141                      AAAAAAAA        \n");
    text = Format([](ZULSS_format_t *f) { BSS1_Dump(f, std::string(20, 'A').data(), 20); });
    EXPECT_EQ(text, A16 + "    00000010   41414141                               AAAA            \n");
    text = Format([](ZULSS_format_t *f) {
        BSS1_PrintFormat(f, "abc");
        EXPECT_EQ(BSS1_Dump(f, "x", 0), 0); // no flush: the line stays open
        BSS1_PrintFormat(f, "def ");
        BSS1_Dump(f, "\xFF", 1);
    });
    EXPECT_EQ(text, "abcdef \n    00000000   FF                                     .               \n");
    EXPECT_EQ(BSS1_Dump(nullptr, "x", 1), 0);
}

} // namespace
