// The record area: how text becomes records, when batches reach the sink,
// margins, the text adapter and the life of an object.
#include "fmt_support.h"

#include "bss/zulssfmt.h"

#include <cstring>
#include <string>

namespace {

// An object on a Capture that ends itself at scope exit.
struct Records {
    Capture c;
    ZULSS_format_t *object = nullptr;
    explicit Records(uint32_t margin = 0, uint32_t size = 0)
    {
        EXPECT_EQ(BSS1_NewFormat(&object, &c, CaptureSink, size, margin), STC1_Success);
    }
    int End()
    {
        int r = BSS1_EndFormat(object);
        object = nullptr;
        return r;
    }
    ~Records()
    {
        if (object != nullptr)
            BSS1_EndFormat(object);
    }
};

struct Shape {
    uint32_t length;
    bool continued;
};

void ExpectShapes(const std::vector<Record> &records, std::initializer_list<Shape> shapes)
{
    ASSERT_EQ(records.size(), shapes.size());
    size_t i = 0;
    for (const Shape &s : shapes) {
        EXPECT_EQ(records[i].text.size(), s.length) << "record " << i;
        EXPECT_EQ(records[i].continued, s.continued) << "record " << i;
        ++i;
    }
}

TEST(FormatRecords, LongLineIsCutInto127ByteRecords)
{
    Records r;
    std::string line(300, 'a');
    line[0] = 'b';
    line[299] = 'z';
    BSS1_PrintFormat(r.object, "%s\n", line.c_str());
    r.End();
    auto all = r.c.All();
    ExpectShapes(all, {{127, true}, {127, true}, {46, false}});
    EXPECT_EQ(r.c.Joined(), line);
}

TEST(FormatRecords, LineOfExactly127)
{
    Records r;
    BSS1_PrintFormat(r.object, "%s\n", std::string(127, 'q').c_str());
    r.End();
    ExpectShapes(r.c.All(), {{127, true}, {0, false}});
}

TEST(FormatRecords, FullRecordIsContinuedOnlyWhenMoreFollows)
{
    std::string full(127, 'f');
    struct Case {
        const char *name;
        std::string format;
        const char *argument;
        std::initializer_list<Shape> shapes;
    } cases[] = {
        {"literal, then the end", full, nullptr, {{127, false}}},
        {"text, then the end", "%s", full.c_str(), {{127, false}}},
        {"literal, then a number", full + "%d", nullptr, {{127, true}, {1, false}}},
        {"literal, then text", full + "%s", "xy", {{127, true}, {2, false}}},
        {"literal, then a text of nothing", full + "%s", "", {{127, false}}},
        {"literal ending in CR, then LF", full.substr(1) + "\r\n", nullptr, {{127, true}, {0, false}}},
    };
    for (const Case &k : cases) {
        Records r;
        if (k.format.find("%d") != std::string::npos)
            BSS1_PrintFormat(r.object, k.format.c_str(), 5);
        else
            BSS1_PrintFormat(r.object, k.format.c_str(), k.argument);
        r.End();
        SCOPED_TRACE(k.name);
        ExpectShapes(r.c.All(), k.shapes);
    }
}

TEST(FormatRecords, LineEnds)
{
    struct Case {
        const char *name;
        const char *format;
        const char *argument;
        const char *lines; // Capture::Lines()
    } cases[] = {
        {"CR LF ends a line", "ab\r\ncd\n", nullptr, "ab\ncd\n"},
        {"lone CR stays", "a\rb\n", nullptr, "a\rb\n"},
        {"CR at the end of a piece stays", "%s\n", "ab\r", "ab\r\n"},
        {"CR LF within one argument", "%s", "ab\r\n", "ab\n"},
        {"empty lines", "\n\n", nullptr, "\n\n"},
        {"LF CR", "a\n\rb\n", nullptr, "a\n\rb\n"},
    };
    for (const Case &k : cases) {
        Records r;
        BSS1_PrintFormat(r.object, k.format, k.argument);
        r.End();
        EXPECT_EQ(r.c.Lines(), k.lines) << k.name;
    }
}

TEST(FormatRecords, LinesGoOnAcrossCalls)
{
    Records r;
    BSS1_PrintFormat(r.object, "ab");
    BSS1_PrintFormat(r.object, "cd\r");
    BSS1_PrintFormat(r.object, "\nef\n");
    r.End();
    EXPECT_EQ(r.c.Lines(), "abcd\r\nef\n");
}

TEST(FormatRecords, FlushHandsOverAnOpenLineAsContinued)
{
    Records r;
    r.c.result = 42;
    BSS1_PrintFormat(r.object, "abc");
    EXPECT_EQ(BSS1_FlushFormat(r.object), 42);
    ASSERT_EQ(r.c.batches.size(), 1u);
    ExpectShapes(r.c.batches[0], {{3, true}});

    // Nothing gathered: no call, result 0.
    EXPECT_EQ(BSS1_FlushFormat(r.object), 0);
    EXPECT_EQ(r.c.batches.size(), 1u);

    BSS1_PrintFormat(r.object, "def\n");
    EXPECT_EQ(BSS1_FlushFormat(r.object), 42);
    ASSERT_EQ(r.c.batches.size(), 2u);
    ExpectShapes(r.c.batches[1], {{3, false}});
    EXPECT_EQ(r.c.batches[1][0].text, "def");
}

TEST(FormatRecords, FinalFlushEndsAnOpenLine)
{
    Records r;
    r.c.result = 9;       // result of the last batch: dropped
    r.c.closeResult = 17; // result of the closing call: returned
    BSS1_PrintFormat(r.object, "one\ntwo");
    EXPECT_EQ(r.End(), 17);
    ASSERT_EQ(r.c.batches.size(), 1u);
    ExpectShapes(r.c.batches[0], {{3, false}, {3, false}});
    EXPECT_EQ(r.c.closings, 1);
}

TEST(FormatRecords, EndWithoutOutputCallsTheSinkOnce)
{
    Records r;
    r.c.closeResult = 5;
    EXPECT_EQ(r.End(), 5);
    EXPECT_TRUE(r.c.batches.empty());
    EXPECT_EQ(r.c.closings, 1);
}

TEST(FormatRecords, BatchesComeWhenTheAreaIsNearlyFull)
{
    // Short lines are gathered; the sink sees a batch, not a line.
    Records small;
    for (int i = 0; i < 1000; ++i)
        BSS1_PrintFormat(small.object, "%d\n", i % 10);
    size_t smallBatches = small.c.batches.size();
    EXPECT_GE(smallBatches, 2u);
    EXPECT_LE(smallBatches, 6u);
    small.End();
    EXPECT_EQ(small.c.All().size(), 1000u);
    for (size_t i = 0; i < 1000; ++i)
        ASSERT_EQ(small.c.All()[i].text, std::to_string(i % 10));

    // A larger area asked for gives larger batches.
    Records large(0, 8000);
    for (int i = 0; i < 1000; ++i)
        BSS1_PrintFormat(large.object, "%d\n", i % 10);
    EXPECT_LT(large.c.batches.size(), smallBatches);
}

TEST(FormatRecords, ManyLongLinesKeepTheirBytes)
{
    Records r;
    std::string expected;
    for (int i = 0; i < 200; ++i) {
        std::string line(static_cast<size_t>(i * 7 % 400), static_cast<char>('A' + i % 26));
        BSS1_PrintFormat(r.object, "%s\n", line.c_str());
        expected += line + "\n";
    }
    r.End();
    for (const Record &rec : r.c.All())
        ASSERT_LE(rec.text.size(), 127u);
    EXPECT_EQ(r.c.Lines(), expected);
}

TEST(FormatRecords, MarginIsLeftAloneAndCounted)
{
    // The sink owns the margin bytes: it may fill them before passing the
    // records on, and the engine never writes there.
    struct Filler {
        std::vector<std::string> records;
        static int Sink(void *argument, char *data, uint32_t count)
        {
            Filler *f = static_cast<Filler *>(argument);
            for (uint32_t i = 0; data != nullptr && i < count; ++i) {
                uint32_t n = static_cast<unsigned char>(*data) & 0x7Fu;
                memcpy(data + 1, "<M>", 3);
                f->records.emplace_back(data + 1, n);
                data += n + 1;
            }
            return 0;
        }
    } filler;
    ZULSS_format_t *object = nullptr;
    ASSERT_EQ(BSS1_NewFormat(&object, &filler, Filler::Sink, 0, 3), STC1_Success);
    BSS1_PrintFormat(object, "ab\n\n%s\n", std::string(130, 'x').c_str());
    BSS1_EndFormat(object);
    ASSERT_EQ(filler.records.size(), 4u);
    EXPECT_EQ(filler.records[0], "<M>ab");
    EXPECT_EQ(filler.records[1], "<M>"); // an empty line: the margin alone
    EXPECT_EQ(filler.records[2], "<M>" + std::string(124, 'x'));
    EXPECT_EQ(filler.records[3], "<M>" + std::string(6, 'x'));
}

TEST(FormatRecords, MarginNotBelowTheLimitIsIgnored)
{
    for (uint32_t margin : {127u, 128u, 1000u}) {
        Records r(margin);
        BSS1_PrintFormat(r.object, "ab\n");
        r.End();
        ASSERT_EQ(r.c.All().size(), 1u) << margin;
        EXPECT_EQ(r.c.All()[0].text, "ab") << margin;
    }
    // 126 is the largest that works: one byte of text per record, and the
    // line feed after a full record gives one more, of the margin alone.
    Records r(126);
    BSS1_PrintFormat(r.object, "abc\n");
    r.End();
    ExpectShapes(r.c.All(), {{127, true}, {127, true}, {127, true}, {126, false}});
}

TEST(FormatRecords, NullObjectAndBadCreation)
{
    EXPECT_EQ(BSS1_FlushFormat(nullptr), STC1_BadArgument);
    EXPECT_EQ(BSS1_EndFormat(nullptr), STC1_BadArgument);
    EXPECT_EQ(BSS1_PrintFormat(nullptr, "x"), STC1_BadArgument);

    Capture c;
    ZULSS_format_t *object = reinterpret_cast<ZULSS_format_t *>(&c);
    EXPECT_EQ(BSS1_NewFormat(nullptr, &c, CaptureSink, 0, 0), STC1_BadArgument);
    EXPECT_EQ(BSS1_NewFormat(&object, &c, nullptr, 0, 0), STC1_BadArgument);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(BSS1_BeginFormat(nullptr, &c, TextSink), STC1_BadArgument);
    EXPECT_EQ(BSS1_NewFormat(&object, &c, CaptureSink, UINT32_MAX, 0), STC1_Shortage);
    EXPECT_EQ(object, nullptr);
}

TEST(FormatRecords, NoMemoryForTheObject)
{
    Capture c;
    TextCapture t;
    ZULSS_format_t *object = reinterpret_cast<ZULSS_format_t *>(&c);
    ZULSS_format_t *untouched = object;
    fmtFailSize = SIZE_MAX;
    int created = BSS1_NewFormat(&object, &c, CaptureSink, 0, 0);
    ZULSS_format_t *afterNew = object;
    object = untouched;
    int begun = BSS1_BeginFormat(&object, &t, TextSink);
    int formatted = ZULSS_PrintText(&t, TextSink, "%d\n", 1);
    fmtFailSize = 0;
    EXPECT_EQ(created, STC1_Shortage);
    EXPECT_EQ(afterNew, nullptr);
    EXPECT_EQ(begun, STC1_Shortage);
    EXPECT_EQ(object, untouched); // stored on success only
    EXPECT_EQ(formatted, STC1_Shortage);
    EXPECT_TRUE(t.texts.empty());
    EXPECT_EQ(t.closings, 0);
}

TEST(FormatText, RecordsBecomeLines)
{
    TextCapture t;
    ZULSS_format_t *object = nullptr;
    ASSERT_EQ(BSS1_BeginFormat(&object, &t, TextSink), STC1_Success);
    BSS1_PrintFormat(object, "%s", std::string(300, 'x').c_str());
    EXPECT_EQ(BSS1_EndFormat(object), 0);
    ASSERT_EQ(t.texts.size(), 1u);
    EXPECT_EQ(t.texts[0], std::string(127, 'x') + "\n" + std::string(127, 'x') + "\n" +
                              std::string(46, 'x') + "\n");
    EXPECT_EQ(t.closings, 1);
}

TEST(FormatText, FlushedOpenLineEndsALineOfText)
{
    TextCapture t;
    ZULSS_format_t *object = nullptr;
    ASSERT_EQ(BSS1_BeginFormat(&object, &t, TextSink), STC1_Success);
    BSS1_PrintFormat(object, "one\r\n\ntw");
    BSS1_FlushFormat(object);
    BSS1_PrintFormat(object, "o\n");
    BSS1_EndFormat(object);
    ASSERT_EQ(t.texts.size(), 2u);
    EXPECT_EQ(t.texts[0], "one\n\ntw\n");
    EXPECT_EQ(t.texts[1], "o\n");
}

TEST(FormatText, FormatInOneCall)
{
    TextCapture t;
    EXPECT_EQ(ZULSS_PrintText(&t, TextSink, "%s=\"%s\"\n", "ZUL_RAS1", "ERROR"), STC1_Success);
    ASSERT_EQ(t.texts.size(), 1u);
    EXPECT_EQ(t.texts[0], "ZUL_RAS1=\"ERROR\"\n");
    EXPECT_EQ(t.closings, 1);

    // Nothing put out: only the closing call.
    TextCapture quiet;
    EXPECT_EQ(ZULSS_PrintText(&quiet, TextSink, ""), STC1_Success);
    EXPECT_TRUE(quiet.texts.empty());
    EXPECT_EQ(quiet.closings, 1);
}

TEST(FormatText, LargeOutputArrivesInBatchesOfWholeLines)
{
    TextCapture t;
    ZULSS_format_t *object = nullptr;
    ASSERT_EQ(BSS1_BeginFormat(&object, &t, TextSink), STC1_Success);
    std::string expected;
    for (int i = 0; i < 500; ++i) {
        BSS1_PrintFormat(object, "line %d of the text\n", i);
        expected += "line " + std::to_string(i) + " of the text\n";
    }
    BSS1_EndFormat(object);
    EXPECT_GT(t.texts.size(), 1u);
    std::string got;
    for (const std::string &s : t.texts) {
        EXPECT_EQ(s.back(), '\n');
        got += s;
    }
    EXPECT_EQ(got, expected);
}

} // namespace
