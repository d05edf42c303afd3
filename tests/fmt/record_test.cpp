// The record area: records from text, batches, margins, the text adapter
// and the life of an object.  Capture::Dump shows records as text then
// "+" (continued) or "." (ended), and batches ended by "|".
#include "fmt_support.h"

#include "bss/zulssfmt.h"

#include <cstring>

namespace {

// Formats with one optional text argument into a fresh object (margin m).
Capture Format1(const std::string &format, const char *argument = nullptr, uint32_t m = 0)
{
    Capture c;
    ZULSS_format_t *object = nullptr;
    EXPECT_EQ(BSS1_NewFormat(&object, &c, Capture::Sink, 0, m), STC1_Success);
    BSS1_PrintFormat(object, format.c_str(), argument);
    BSS1_EndFormat(object);
    return c;
}

std::string X(size_t n) { return std::string(n, 'x'); }

TEST(FormatRecords, Layout)
{
    struct Case {
        std::string format;
        const char *argument;
        uint32_t margin;
        std::string dump;
    } cases[] = {
        {X(300) + "\n", nullptr, 0, X(127) + "+" + X(127) + "+" + X(46) + ".|"},
        {X(127) + "\n", nullptr, 0, X(127) + "+.|"},          // LF after a full record
        {X(127), nullptr, 0, X(127) + ".|"},                  // continued only if more follows
        {X(127) + "%s", "ab", 0, X(127) + "+ab.|"},
        {X(127) + "%s", "", 0, X(127) + ".|"},
        {X(126) + "\r\n", nullptr, 0, X(126) + "\r+.|"},     // CR and LF in two stretches
        {"ab\r\ncd\n\n", nullptr, 0, "ab.cd..|"},            // CR LF ends a line
        {"a\rb\n", nullptr, 0, "a\rb.|"},                    // a lone CR is text
        {"%s\n", "ab\r", 0, "ab\r.|"},                       // CR ending a piece, LF the next
        {"%s", "ab\r\n", 0, "ab.|"},
        {"ab\n", nullptr, 127, "ab.|"},                      // margins from the limit on:
        {"ab\n", nullptr, 1000, "ab.|"},                     // ignored
    };
    for (const Case &k : cases)
        EXPECT_EQ(Format1(k.format, k.argument, k.margin).Dump(), k.dump) << k.format;

    // A margin counts in each record's length and an empty line is the
    // margin alone; with 126, each record holds one byte of text.  Each
    // record below is twice its length, plus 1 when it is continued.
    auto lengths = [](const Capture &c) {
        std::vector<size_t> v;
        for (const Record &r : c.All())
            v.push_back(r.text.size() * 2 + r.continued);
        return v;
    };
    EXPECT_EQ(lengths(Format1("ab\n\n", nullptr, 3)), (std::vector<size_t>{10, 6}));
    EXPECT_EQ(lengths(Format1("abc\n", nullptr, 126)), (std::vector<size_t>{255, 255, 255, 252}));
}

TEST(FormatRecords, FlushesAndEnd)
{
    Capture c;
    c.result = 42;
    c.closeResult = 17;
    ZULSS_format_t *object = nullptr;
    ASSERT_EQ(BSS1_NewFormat(&object, &c, Capture::Sink, 0, 0), STC1_Success);
    BSS1_PrintFormat(object, "ab");
    BSS1_PrintFormat(object, "c"); // a line goes on across calls
    EXPECT_EQ(BSS1_FlushFormat(object), 42);
    EXPECT_EQ(BSS1_FlushFormat(object), 0); // nothing gathered: no call
    BSS1_PrintFormat(object, "def\nghi");
    EXPECT_EQ(BSS1_EndFormat(object), 17); // the last batch's answer is dropped
    EXPECT_EQ(c.Dump(), "abc+|def.ghi.|"); // flushed open, then ended by the final flush
    EXPECT_EQ(c.closings, 1);

    Capture quiet; // never any output: the sink is called once
    quiet.closeResult = 5;
    ASSERT_EQ(BSS1_NewFormat(&object, &quiet, Capture::Sink, 0, 0), STC1_Success);
    EXPECT_EQ(BSS1_EndFormat(object), 5);
    EXPECT_EQ(quiet.Dump() + std::to_string(quiet.closings), "1");
}

TEST(FormatRecords, BatchesComeWhenTheAreaIsNearlyFull)
{
    size_t calls[2];
    for (uint32_t k : {0u, 1u}) {
        Capture c;
        ZULSS_format_t *object = nullptr;
        ASSERT_EQ(BSS1_NewFormat(&object, &c, Capture::Sink, k * 8000, 0), STC1_Success);
        std::string expected;
        for (int i = 0; i < 1000; ++i) {
            std::string line(static_cast<size_t>(i * 7 % 300), static_cast<char>('A' + i % 26));
            BSS1_PrintFormat(object, "%d%s\n", i % 10, line.c_str());
            expected += std::to_string(i % 10) + line + "\n";
        }
        calls[k] = c.batches.size();
        BSS1_EndFormat(object);
        EXPECT_EQ(c.Joined(true), expected);
    }
    EXPECT_GT(calls[0], 10u); // a batch, not a line, per call
    EXPECT_LT(calls[0], 500u);
    EXPECT_LT(calls[1], calls[0]); // more room asked for, fewer calls
}

TEST(FormatRecords, MarginBytesBelongToTheSink)
{
    // The sink fills the margin of each record; the engine never writes it.
    auto fill = [](void *argument, char *data, uint32_t count) {
        for (uint32_t i = 0, n; data != nullptr && i < count; ++i, data += n + 1) {
            n = static_cast<unsigned char>(*data) & 0x7Fu;
            memcpy(data + 1, "<M>", 3);
            static_cast<std::string *>(argument)->append(data + 1, n) += '|';
        }
        return 0;
    };
    std::string seen;
    ZULSS_format_t *object = nullptr;
    ASSERT_EQ(BSS1_NewFormat(&object, &seen, fill, 0, 3), STC1_Success);
    BSS1_PrintFormat(object, "ab\n\n%s\n", X(130).c_str());
    BSS1_EndFormat(object);
    EXPECT_EQ(seen, "<M>ab|<M>|<M>" + X(124) + "|<M>xxxxxx|");
}

TEST(FormatRecords, BadArgumentsAndNoMemory)
{
    Capture c;
    TextCapture t;
    ZULSS_format_t *object = nullptr;
    EXPECT_EQ(BSS1_PrintFormat(nullptr, "%s", "unread"), STC1_BadArgument);
    EXPECT_EQ(BSS1_FlushFormat(nullptr), STC1_BadArgument);
    EXPECT_EQ(BSS1_EndFormat(nullptr), STC1_BadArgument);
    EXPECT_EQ(BSS1_NewFormat(nullptr, &c, Capture::Sink, 0, 0), STC1_BadArgument);
    EXPECT_EQ(BSS1_BeginFormat(&object, &c, nullptr), STC1_BadArgument);
    EXPECT_EQ(BSS1_NewFormat(&object, &c, Capture::Sink, UINT32_MAX, 0), STC1_Shortage);
    EXPECT_EQ(object, nullptr);

    ZULSS_format_t *const untouched = reinterpret_cast<ZULSS_format_t *>(&c);
    ZULSS_format_t *made = untouched, *begun = untouched;
    fmtFailSize = SIZE_MAX;
    int r1 = BSS1_NewFormat(&made, &c, Capture::Sink, 0, 0);
    int r2 = BSS1_BeginFormat(&begun, &t, TextCapture::Sink);
    int r3 = ZULSS_PrintText(&t, TextCapture::Sink, "%d\n", 1);
    fmtFailSize = 0;
    EXPECT_EQ(std::vector<int>({r1, r2, r3}), std::vector<int>(3, STC1_Shortage));
    EXPECT_EQ(made, nullptr);    // NewFormat stores null
    EXPECT_EQ(begun, untouched); // BeginFormat stores on success only
    EXPECT_TRUE(t.texts.empty() && t.closings == 0);
}

TEST(FormatText, EveryRecordEndsALine)
{
    TextCapture t;
    ZULSS_format_t *object = nullptr;
    ASSERT_EQ(BSS1_BeginFormat(&object, &t, TextCapture::Sink), STC1_Success);
    BSS1_PrintFormat(object, "%s", X(300).c_str());
    BSS1_FlushFormat(object);
    BSS1_PrintFormat(object, "one\r\n\ntw");
    BSS1_FlushFormat(object); // an open line flushed still ends a line of text
    BSS1_PrintFormat(object, "o\n");
    EXPECT_EQ(BSS1_EndFormat(object), 0);
    std::vector<std::string> expected = {X(127) + "\n" + X(127) + "\n" + X(46) + "\n", "one\n\ntw\n", "o\n"};
    EXPECT_EQ(t.texts, expected);
    EXPECT_EQ(t.closings, 1);

    TextCapture once;
    EXPECT_EQ(ZULSS_PrintText(&once, TextCapture::Sink, "%s=\"%s\"\n", "ZUL_RAS1", "ERROR"), 0);
    EXPECT_EQ(once.texts, std::vector<std::string>{"ZUL_RAS1=\"ERROR\"\n"});
    EXPECT_EQ(once.closings, 1);
}

} // namespace
