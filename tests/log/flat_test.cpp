// A message of one line of plain values is put together flat, without the
// format object's records; any other goes through the records.  Both ways
// must give a store the same bytes and the capture ring the same records:
// each message below is written by RAS1_Printf, which takes the flat way
// where it can, and again through RAS1_BeginFormat and BSS1_PrintFormat,
// which always take the records.
#include "log/logtest.h"

#include <zul/crf1.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <functional>

namespace {

// What a console's `ras1 log` shows: the ring's records, oldest first.
std::vector<std::string> Ring()
{
    uint32_t console = 0;
    EXPECT_EQ(CRF1_New(&console), 0);
    CRF1_Execute(console, "ras1 log", 8, nullptr);
    std::string out;
    char buffer[512];
    uint32_t count = 0;
    while (CRF1_Fetch(console, buffer, sizeof buffer, &count) == 0)
        out.append(buffer, count);
    CRF1_Delete(console);
    std::vector<std::string> lines = SplitLines(out);
    while (!lines.empty() && lines.back().rfind("Default trace class", 0) != 0)
        lines.pop_back();
    if (!lines.empty())
        lines.pop_back(); // the command's closing lines
    if (!lines.empty() && lines.back().empty())
        lines.pop_back();
    return lines;
}

// The time in a head, "(SSSSSSSS.NNNNNNNN", differs from one write to the
// next; everything else must not.
std::string WithoutTime(std::string text)
{
    for (size_t at = 0; (at = text.find('(', at)) != std::string::npos; at++)
        if (text.size() >= at + 18 && text[at + 9] == '.')
            text.replace(at + 1, 17, 17, 'T');
    return text;
}

struct Case {
    const char *what;
    std::function<void(ZULRA_entry_t *, int line, bool flat)> write;
};

// Writes through RAS1_Printf, or the same through a format object.
#define BOTH(format, ...)                                                                    \
    [](ZULRA_entry_t *e, int line, bool flat) {                                              \
        if (flat) {                                                                          \
            RAS1_Printf(e, line, format, ##__VA_ARGS__);                                     \
        } else {                                                                             \
            ZULSS_format_t *f = nullptr;                                                     \
            ASSERT_EQ(RAS1_BeginFormat(e, line, RAS1_WRITE_FORMAT, &f), STC1_Success);       \
            BSS1_PrintFormat(f, format, ##__VA_ARGS__);                                      \
            BSS1_EndFormat(f);                                                               \
        }                                                                                    \
    }

} // namespace

TEST(FlatLine, StoreAndRingGetWhatTheRecordsWouldGive)
{
    Sink s;
    ASSERT_EQ(RAS1_RegisterStore("flat", 4, &s, Sink::Write, RAS1_ANY), STC1_Success);
    Record &r = Kept("flatunit", "flatfn");

    // Messages whose lines with their heads are one byte short of a
    // record, a record long and a record and one byte long, with and
    // without the line feed, test where the ring's records are cut.
    RAS1_Printf(&r.entry, 7, "measure\n");
    std::string first = AfterOpening(s.Text());
    size_t head = first.find(") ") + 2;
    static std::string fill126, fill127, fill128;
    fill126.assign(126 - head, 'a');
    fill127.assign(127 - head, 'b');
    fill128.assign(128 - head, 'c');

    // Some of the formats are wrong on purpose: they must fall back to
    // the records and come out as the engine makes them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
#pragma GCC diagnostic ignored "-Wformat-extra-args"
    const Case cases[] = {
        {"plain", BOTH("plain text\n")},
        {"ints", BOTH("%d %i %u %x %X|\n", INT_MIN, -1, UINT_MAX, 0xBEEFu, 0xBEEFu)},
        {"zero", BOTH("%d %u %x\n", 0, 0u, 0u)},
        {"wide", BOTH("%ld %lu %lx %zu %llX %jd\n", LONG_MIN, ULONG_MAX, 0x1234567890abcdefUL,
                      size_t{42}, 0xfedcba9876543210ULL, INTMAX_MAX)},
        {"texts", BOTH("[%s] [%s] [%s]\n", "abc", (const char *)nullptr, "")},
        {"chars", BOTH("%c%c%% 100%%\n", 'x', '\r')},
        {"no end", BOTH("no line feed %d", 5)},
        {"cr lf", BOTH("ends in a carriage return\r\n")},
        {"cr alone", BOTH("a carriage\rreturn inside\n")},
        {"feed in text", BOTH("[%s]\n", "two\nlines")},
        {"feed in char", BOTH("[%c]\n", '\n')},
        {"width", BOTH("[%5d] [%-3s]\n", 42, "ab")},
        {"half", BOTH("%hd %hhu\n", short{-2}, (unsigned char)200)},
        {"two lines", BOTH("first\nsecond\n")},
        {"percent at end", BOTH("trailing %")},
        {"unknown", BOTH("%y %d\n", 9)},
        {"126", BOTH("%s\n", fill126.c_str())},
        {"127", BOTH("%s\n", fill127.c_str())},
        {"127 no end", BOTH("%s", fill127.c_str())},
        {"128", BOTH("%s\n", fill128.c_str())},
        {"300", BOTH("%s%s%s|\n", std::string(100, 'x').c_str(), std::string(100, 'y').c_str(),
                     std::string(100, 'z').c_str())},
    };
#pragma GCC diagnostic pop
    for (const Case &c : cases) {
        std::string got[2];
        std::vector<std::string> ring[2];
        for (int flat = 0; flat < 2; flat++) {
            size_t before = s.Text().size();
            size_t ringBefore = Ring().size();
            c.write(&r.entry, 9, flat != 0);
            got[flat] = WithoutTime(s.Text().substr(before));
            std::vector<std::string> after = Ring();
            ring[flat].assign(after.begin() + std::min(ringBefore, after.size()), after.end());
            for (std::string &line : ring[flat])
                line = WithoutTime(line);
        }
        EXPECT_EQ(got[1], got[0]) << c.what;
        EXPECT_EQ(ring[1], ring[0]) << c.what;
        EXPECT_FALSE(got[0].empty() || ring[0].empty()) << c.what;
    }
}
