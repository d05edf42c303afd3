// Information items, the header of the log and the hexadecimal dump.
#include "logtest.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

// A text sink that keeps what it is given.
int Keep(void *argument, char *data, uint32_t count)
{
    if (data != nullptr)
        static_cast<std::string *>(argument)->append(data, count);
    return 0;
}

TEST(Info, ItemsCopyWithinBounds)
{
    std::string pid = std::to_string(getpid());
    uint32_t n = static_cast<uint32_t>(pid.size());
    EXPECT_EQ(BSS1_Info(BSS1_INFO_PROCESSID, nullptr, 0), n);
    EXPECT_EQ(BSS1_Info(BSS1_INFO_PROCESSID, nullptr, 2), n); // no buffer: full length

    char buffer[64];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(BSS1_Info(BSS1_INFO_PROCESSID, buffer, sizeof buffer), n);
    EXPECT_EQ(std::string(buffer), pid);

    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(BSS1_Info(BSS1_INFO_PROCESSID, buffer, n), n); // exactly: no NUL
    EXPECT_EQ(std::string(buffer, n), pid);
    EXPECT_EQ(buffer[n], '#');

    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(BSS1_Info(BSS1_INFO_PROCESSID, buffer, 1), 1u); // cut: no NUL
    EXPECT_EQ(buffer[0], pid[0]);
    EXPECT_EQ(buffer[1], '#');
    EXPECT_EQ(BSS1_Info(BSS1_INFO_PROCESSID, buffer, 0), 0u);

    for (uint32_t item : {18u, 19u, 1000u, 0xFFFFFFFFu})
        EXPECT_EQ(BSS1_Info(item, buffer, sizeof buffer), 0u) << item;
    EXPECT_EQ(BSS1_Info(BSS1_INFO_JOB, buffer, sizeof buffer), 0u);
}

TEST(Info, ItemsDescribeThisMachineAndProcess)
{
    char text[256];
    auto item = [&](uint32_t i) {
        uint32_t n = BSS1_Info(i, text, sizeof text - 1);
        return std::string(text, n);
    };
    EXPECT_EQ(item(BSS1_INFO_PROGRAM), "zul_test_log");
    EXPECT_EQ(item(BSS1_INFO_TASK), "zul_test_log"); // no name given to BSS1_Main
    EXPECT_EQ(item(BSS1_INFO_SYSTEMTYPE), item(BSS1_INFO_OSNAME) + ";" + item(BSS1_INFO_OSVERSION));
    EXPECT_EQ(item(BSS1_INFO_OSNAME), "Linux");
    EXPECT_EQ(item(BSS1_INFO_MACROENV), "0x4C64");
    EXPECT_EQ(item(BSS1_INFO_PAGESIZE), std::to_string((sysconf(_SC_PAGESIZE) + 1023) / 1024) + "K");
    EXPECT_EQ(item(BSS1_INFO_CPUCOUNT), std::to_string(sysconf(_SC_NPROCESSORS_ONLN)));
    EXPECT_EQ(item(BSS1_INFO_VIRTMEMORY), "134217728M");
    EXPECT_EQ(item(BSS1_INFO_STARTDATE).size(), 10u);
    EXPECT_EQ(item(BSS1_INFO_STARTTIME).size(), 8u);
    EXPECT_EQ(item(BSS1_INFO_PHYSMEMORY).back(), 'M');
}

TEST(Info, HeaderPairsShortItemsAndGivesLongOnesALine)
{
    // A task name of exactly 20 characters is short; a command line of 21
    // is long.
    static char arg0[] = "prog", arg1[] = "abcdefghijklmnop";
    char *argv[] = {arg0, arg1, nullptr};
    int argc = 2;
    BSS1_Main(&argc, argv, "T2345678901234567890");
    unsetenv("ZUL_RAS1");
    setenv("ZUL_ENVPATH", "/etc/zul", 1);

    std::string text;
    ZULSS_format_t *f;
    ASSERT_EQ(BSS1_BeginFormat(&f, &text, Keep), STC1_Success);
    EXPECT_EQ(BSS1_DisplayEnvironment(f), 0);
    BSS1_EndFormat(f);
    auto lines = SplitLines(text);

    // Which labelled items are short, in item order.
    static const char *const labels[] = {"System Name", nullptr, nullptr, "Process ID",
        "Program Name", "User Name", "Job Name", "Task Name", "System Type", "Command Line",
        "MAC1_ENV Macro", "Start Date", "Start Time", "CPU Count", "Page Size", "Phys Memory",
        "Virt Memory", "Page Space"};
    std::vector<std::string> shortItems, longItems;
    char v[256];
    for (uint32_t i = 0; i < 18; i++) {
        uint32_t n = labels[i] ? BSS1_Info(i, v, 255) : 0;
        std::string label = labels[i] ? labels[i] : "";
        std::string padded = std::string(16 - label.size(), ' ') + label + ": " + std::string(v, n);
        if (n >= 1 && n <= 20)
            shortItems.push_back(padded);
        else if (n > 20)
            longItems.push_back(padded);
    }
    ASSERT_EQ(BSS1_Info(BSS1_INFO_TASK, v, 255), 20u);
    ASSERT_EQ(BSS1_Info(BSS1_INFO_COMMANDLINE, v, 255), 21u);

    size_t at = 0;
    for (size_t i = 0; i < shortItems.size(); i += 2, at++) {
        ASSERT_LT(at, lines.size());
        std::string first = shortItems[i];
        std::string expect = first + std::string(18 + 20 - first.size(), ' ');
        if (i + 1 < shortItems.size())
            expect += "  " + shortItems[i + 1]; // "%18s": two more columns of label
        EXPECT_EQ(lines[at], expect);
    }
    for (const std::string &item : longItems)
        EXPECT_EQ(lines[at++], item);
    EXPECT_EQ(lines[at++], "        ZUL_RAS1: <not specified>");
    EXPECT_EQ(lines[at++], "     ZUL_ENVPATH: /etc/zul");
    EXPECT_EQ(at, lines.size());
    EXPECT_NE(text.find("       Task Name: T2345678901234567890"), std::string::npos);
    EXPECT_NE(text.find("    Command Line: prog abcdefghijklmnop\n"), std::string::npos);
}

std::string Dump(const std::string &bytes)
{
    std::string text;
    ZULSS_format_t *f;
    BSS1_BeginFormat(&f, &text, Keep);
    BSS1_Dump(f, bytes.data(), static_cast<uint32_t>(bytes.size()));
    BSS1_EndFormat(f);
    return text;
}

std::string Fold(const char *from, const char *to)
{
    return std::string("    **************  ") + from + " - " + to +
           ": Same as above  **************\n";
}

TEST(Dump, FoldsRunsOfEqualLines)
{
    const std::string A16 = "    00000000   41414141 41414141  41414141 41414141   AAAAAAAAAAAAAAAA\n";
    struct Case {
        std::string bytes, text;
    } cases[] = {
        {std::string(16, 'A'), A16},
        {std::string(17, 'A'),
         A16 + "    00000010   41                                     A               \n"},
        {std::string(40, 'A'),
         A16 + Fold("00000010", "00000020") +
             "    00000020   41414141 41414141                      AAAAAAAA        \n"},
        {std::string(64, 'A'), A16 + Fold("00000010", "00000040")},
        {std::string(64, 'A') + std::string(16, 'B'),
         A16 + Fold("00000010", "00000040") +
             "    00000040   42424242 42424242  42424242 42424242   BBBBBBBBBBBBBBBB\n"},
        {std::string("\x00\x01 a\x7F\xFF", 6),
         "    00000000   00012061 7FFF                          ...a..          \n"},
        // A short tail equal to the start of the line before is not folded.
        {std::string(20, 'A'),
         A16 + "    00000010   41414141                               AAAA            \n"},
    };
    for (const Case &c : cases)
        EXPECT_EQ(Dump(c.bytes), c.text) << c.bytes.size();
}

TEST(Dump, StartsOnAFreshLineAndZeroBytesDoNothing)
{
    std::string text;
    ZULSS_format_t *f;
    BSS1_BeginFormat(&f, &text, Keep);
    BSS1_PrintFormat(f, "abc");
    EXPECT_EQ(BSS1_Dump(f, "x", 0), 0); // no flush: the line stays open
    BSS1_PrintFormat(f, "def ");
    BSS1_Dump(f, "Z", 1);
    BSS1_EndFormat(f);
    EXPECT_EQ(text, "abcdef \n    00000000   5A                                     Z               \n");
    EXPECT_EQ(BSS1_Dump(nullptr, "x", 1), 0);
    EXPECT_EQ(BSS1_DisplayEnvironment(nullptr), 0);
}

} // namespace
