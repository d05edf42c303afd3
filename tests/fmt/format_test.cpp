// The format engine: the directive dialect, records built from text,
// batches, margins, flushes, the text sink, bad input, and the
// compile-time check of formats against argument types.
#include <zul/bss1.h>
#include "bss/zulssfmt.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <string>
#include <vector>

// The program is linked with --wrap=malloc: allocations of fmtFailSize
// bytes fail (SIZE_MAX: all of them), to drive the out-of-memory paths.
static size_t fmtFailSize = 0;
extern "C" void *__real_malloc(size_t size);
extern "C" void *__wrap_malloc(size_t size)
{
    if (fmtFailSize != 0 && (fmtFailSize == SIZE_MAX || fmtFailSize == size))
        return nullptr;
    return __real_malloc(size);
}

namespace {

// Record sink.  It fills each record's margin with '<', as a real sink
// fills it with its own header, and keeps:
//   dump:   each record's text then "+" (continued) or "." (ended), and
//           "|" after each batch;
//   joined: the texts alone;  lines: the texts, "\n" after ended records.
// Capture::Text is a text sink and keeps each call's text in `texts`.
struct Capture {
    uint32_t margin = 0;
    int batches = 0, closings = 0, result = 0, closeResult = 0;
    std::string dump, joined, lines;
    std::vector<std::string> texts;
    static int Text(void *argument, char *data, uint32_t count)
    {
        Capture *c = static_cast<Capture *>(argument);
        data ? (void)c->texts.emplace_back(data, count) : (void)c->closings++;
        return 0;
    }
    static int Sink(void *argument, char *data, uint32_t count)
    {
        Capture *c = static_cast<Capture *>(argument);
        if (data == nullptr) {
            EXPECT_EQ(count, 0u);
            return c->closings++, c->closeResult;
        }
        EXPECT_EQ(c->closings, 0) << "records after the closing call";
        for (uint32_t i = 0, n; i < count; ++i, data += n + 1) {
            n = *data & 0x7Fu;
            bool continued = (*data & 0x80u) != 0;
            memset(data + 1, '<', std::min(c->margin, n));
            std::string text(data + 1, n);
            c->dump += text + (continued ? "+" : ".");
            c->joined += text;
            c->lines += text + (continued ? "" : "\n");
        }
        EXPECT_EQ(*data, 0) << "no zero byte behind the last record";
        c->dump += "|";
        return c->batches++, c->result;
    }
};

ZULSS_format_t *Open(Capture &c, uint32_t size = 0, uint32_t margin = 0)
{
    ZULSS_format_t *object = nullptr;
    EXPECT_EQ(BSS1_NewFormat(&object, &c, Capture::Sink, size, margin), STC1_Success);
    c.margin = margin < 127 ? margin : 0; // larger margins are ignored
    return object;
}

// Formats once into a fresh record object with the given margin.
Capture Format(uint32_t margin, const char *format, ...)
{
    Capture c;
    ZULSS_format_t *object = Open(c, 0, margin);
    va_list arguments;
    va_start(arguments, format);
    EXPECT_EQ(BSS1_ProcessFormat(object, format, arguments), STC1_Success);
    va_end(arguments);
    EXPECT_EQ(BSS1_EndFormat(object), 0);
    return c;
}
#define Render(...) Format(0, __VA_ARGS__).joined

std::string X(size_t n) { return std::string(n, 'x'); }

TEST(FormatDirectives, Table)
{
    struct Row { std::string got, expected; const char *call; };
    const std::string t300 = X(300);
    const char bytes[3] = {'a', 'b', 'c'}; // no terminator: a precision keeps the read inside
    void *const hex = reinterpret_cast<void *>(0xABCDEF);
#define F(expected, ...) Row{Render(__VA_ARGS__), expected, #__VA_ARGS__}
    const Row rows[] = {
        // Integers: precision, prefixes of zero, the zero flag working alone.
        F("0", "%.0d", 0), F("ff", "%x", 255), F("FF", "%X", 255), F("0x0", "%#x", 0), F("0XFF", "%#X", 255),
        F("010", "%#o", 8), F("00", "%#o", 0), F("10", "%o", 8), F("-0042", "%05d", -42), F("00042", "%-05d", 42),
        F("  +42", "%+5d", 42), F(" 42", "% d", 42), F("-42", "% d", -42), F("+42", "%+ d", 42), F("00042", "%.5d", 42),
        F("   00042", "%8.5d", 42), F("00000042", "%08.5d", 42), F("42", "%+u", 42), F("2a", "% x", 42),
        F("42   ", "%5-d", 42), F("5     |", "%-6d|", 5), F("70000", "%hd", 70000), F("-1", "%ld", -1),
        F("4294967295", "%Lu", -1), F("-2147483648", "%d", INT32_MIN), F("ffffffff", "%x", -1), F("  0x1", "%#5x", 1),
        F("0x001", "%#05x", 1), F("010   |", "%#-6o|", 8), F("+0007", "%+05d", 7), F("   -3", "% 5d", -3),
        F("-007", "%.3d", -7), F(std::string(299, '0') + "5", "%.300d", 5), F(std::string(199, ' ') + "1", "%200d", 1),
        // `*` takes a 32-bit word for the number in progress.
        F("   42", "%*d", 5, 42), F("0007", "%.*d", 4, 7), F("1  |", "%-*d|", 3, 1), F("   005", "%*.3d", 6, 5),
        // Characters and percent signs ignore width and flags.
        F("a", "%5c", 'a'), F("b|", "%-03c|", 'b'), F("%", "%5%"), F("100%", "100%%"),
        // Unknown conversions vanish and take no argument; a `*` in one does.
        F("7", "%y%d", 7), F("7", "%F%d", 7), F("7", "%a%A%d", 7), F("7", "%\x80%d", 7), F("7", "%\x01%d", 7),
        F("7", "%*y%d", 5, 7),
        // A format that ends inside a directive ends there.
        F("abc", "abc%"), F("abc", "abc%5"), F("", "%-#"),
        // Texts.
        F("NULL", "%s", nullptr), F("NULL", "%10s", nullptr), F("ab", "%.2s", "abc"), F("|", "%.0s|", "abc"),
        F("abc", "%.10s", "abc"), F("ab   |", "%-5s|", "ab"), F("   ab", "%05s", "ab"), F("abcdefg", "%5s", "abcdefg"),
        F("[   ]", "[%3s]", ""), F("abc|ab", "%.3s|%.2s", bytes, bytes),
        F(std::string(10, ' ') + t300, "%310s", t300.c_str()),
        F(t300 + std::string(10, ' ') + "|", "%-310s|", t300.c_str()),
        // Pointers: upper-case digits without leading zeros, padded as numbers.
        F("NULL", "%p", nullptr), F("NULL", "%10p", nullptr), F("ABCDEF", "%p", hex), F("0XABCDEF", "%#p", hex),
        F("    ABCDEF", "%10p", hex), F("00000000AB", "%010p", (void *)0xAB), F("1", "%+p", (void *)1),
        F("FFFFFFFFFFFFFFFF", "%p", (void *)UINTPTR_MAX),
        // Floating values go through the runtime, size letters dropped.
        F("1.500000", "%f", 1.5), F("1.500000", "%Lf", 1.5), F("3.14", "%.2f", 3.14159),
        F("1.234500E+03", "%E", 1234.5), F("1E-10", "%G", 1e-10), F("+2", "%+g", 2.0), F("-0001.50", "%08.2f", -1.5),
        F("2.5     |", "%-8.1f|", 2.5), F(" 2.0", "% .1f", 2.0), F("3.", "%#.0f", 3.0),
        F("   3.1", "%*.*f", 6, 1, 3.14159),
    };
#undef F
    for (const Row &r : rows)
        EXPECT_EQ(r.got, r.expected) << r.call;
}

TEST(FormatDirectives, CountOfCharactersPutOut)
{
    int32_t n = -1;
    EXPECT_EQ(Render("abc%n", &n), "abc");
    EXPECT_EQ(n, 3);
    EXPECT_EQ(Render("a\r\nb\n%5d%n", 1, &n), "ab    1"); // line ends count
    EXPECT_EQ(n, 10);
    int16_t halves[2] = {-1, -1}; // %hn writes 16 bits only
    Render("abc%hn", &halves[0]);
    EXPECT_TRUE(halves[0] == 3 && halves[1] == -1);
    Render("abcd%lhn", &n); // short and long: 32 bits
    EXPECT_EQ(n, 4);
    EXPECT_EQ(Render("x%ny", static_cast<int32_t *>(nullptr)), "xy");

    Capture c; // the count starts again with each call
    ZULSS_format_t *object = Open(c);
    BSS1_PrintFormat(object, "hello");
    BSS1_PrintFormat(object, "ab%n", &n);
    BSS1_EndFormat(object);
    EXPECT_EQ(n, 2);
}

TEST(FormatRecords, Layout)
{
    const std::string m(126, '<');
    struct Case { std::string format; const char *argument; uint32_t margin; std::string dump; } cases[] = {
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
        // A margin counts in each record's length and an empty line is the
        // margin alone; from the limit on margins are ignored.
        {"ab\n\n", nullptr, 3, "<<<ab.<<<.|"},
        {X(130) + "\n", nullptr, 3, "<<<" + X(124) + "+<<<" + X(6) + ".|"},
        {"abc\n", nullptr, 126, m + "a+" + m + "b+" + m + "c+" + m + ".|"},
        {"ab\n", nullptr, 127, "ab.|"},
        {"ab\n", nullptr, 1000, "ab.|"},
    };
    for (const Case &k : cases)
        EXPECT_EQ(Format(k.margin, k.format.c_str(), k.argument).dump, k.dump) << k.format << " " << k.margin;
}

TEST(FormatRecords, FlushesAndEnd)
{
    Capture c;
    c.result = 42;
    c.closeResult = 17;
    ZULSS_format_t *object = Open(c);
    BSS1_PrintFormat(object, "ab");
    BSS1_PrintFormat(object, "c"); // a line goes on across calls
    EXPECT_EQ(BSS1_FlushFormat(object), 42);
    EXPECT_EQ(BSS1_FlushFormat(object), 0); // nothing gathered: no call
    BSS1_PrintFormat(object, "def\nghi");
    EXPECT_EQ(BSS1_EndFormat(object), 17); // the last batch's answer is dropped
    EXPECT_EQ(c.dump, "abc+|def.ghi.|"); // flushed open, then ended by the final flush
    EXPECT_EQ(c.closings, 1);

    Capture quiet; // never any output: the sink is called once
    quiet.closeResult = 5;
    EXPECT_EQ(BSS1_EndFormat(Open(quiet)), 5);
    EXPECT_EQ(quiet.dump + std::to_string(quiet.closings), "1");
}

TEST(FormatRecords, BatchesComeWhenTheAreaIsNearlyFull)
{
    int calls[2];
    for (uint32_t k : {0u, 1u}) {
        Capture c;
        ZULSS_format_t *object = Open(c, k * 8000);
        std::string expected;
        for (int i = 0; i < 1000; ++i) {
            std::string line(static_cast<size_t>(i * 7 % 300), static_cast<char>('A' + i % 26));
            BSS1_PrintFormat(object, "%d%s\n", i % 10, line.c_str());
            expected += std::to_string(i % 10) + line + "\n";
        }
        calls[k] = c.batches;
        BSS1_EndFormat(object);
        EXPECT_EQ(c.lines, expected);
    }
    // a batch, not a line, per call; more room asked for, fewer calls
    EXPECT_TRUE(calls[0] > 10 && calls[0] < 500 && calls[1] < calls[0]) << calls[0] << " " << calls[1];
}

TEST(FormatRecords, BadArgumentsAndNoMemory)
{
    Capture c;
    Capture t;
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
    int r2 = BSS1_BeginFormat(&begun, &t, Capture::Text);
    int r3 = ZULSS_PrintText(&t, Capture::Text, "%d\n", 1);
    fmtFailSize = 16384; // the floating conversion's buffer: that field is left out
    std::string floating = Render("[%f|%d]", 1.0, 7);
    fmtFailSize = 0;
    EXPECT_EQ(std::vector<int>({r1, r2, r3}), std::vector<int>(3, STC1_Shortage));
    EXPECT_EQ(made, nullptr);    // NewFormat stores null
    EXPECT_EQ(begun, untouched); // BeginFormat stores on success only
    EXPECT_TRUE(t.texts.empty() && t.closings == 0);
    EXPECT_EQ(floating, "[|7]");
}

TEST(FormatText, EveryRecordEndsALine)
{
    Capture t;
    ZULSS_format_t *object = nullptr;
    ASSERT_EQ(BSS1_BeginFormat(&object, &t, Capture::Text), STC1_Success);
    BSS1_PrintFormat(object, "%s", X(300).c_str());
    BSS1_FlushFormat(object);
    BSS1_PrintFormat(object, "one\r\n\ntw");
    BSS1_FlushFormat(object); // an open line flushed still ends a line of text
    BSS1_PrintFormat(object, "o\n");
    EXPECT_EQ(BSS1_EndFormat(object), 0);
    std::vector<std::string> expected = {X(127) + "\n" + X(127) + "\n" + X(46) + "\n", "one\n\ntw\n", "o\n"};
    EXPECT_EQ(t.texts, expected);
    EXPECT_EQ(t.closings, 1);

    Capture once;
    EXPECT_EQ(ZULSS_PrintText(&once, Capture::Text, "%s=\"%s\"\n", "ZUL_RAS1", "ERROR"), 0);
    EXPECT_EQ(once.texts, std::vector<std::string>{"ZUL_RAS1=\"ERROR\"\n"});
    EXPECT_EQ(once.closings, 1);
}

enum Plain { kPlain = 1 };
enum class Scoped : uint32_t { Value };
enum class Narrow : uint8_t { Value };

// The library's own formats with the types their callers pass.
static_assert(ZULSS_FormatFits<uint32_t, uint32_t, uint32_t>("(%08lX.%08lX-%lX:"));
static_assert(ZULSS_FormatFits<int, const char *, int, const char *>("%.*s,%d,\"%s\") "));
// Wider than 32 bits is caught whatever the size letter says.
static_assert(!ZULSS_FormatFits<uint64_t>("%lX"));
static_assert(!ZULSS_FormatFits<size_t, const char *>("%.*s"));
// Counts must agree; `*` takes a word, unknown conversions nothing.
static_assert(!ZULSS_FormatFits<int>("%d %d"));
static_assert(!ZULSS_FormatFits<int, int>("%d"));
static_assert(ZULSS_FormatFits<int, int>("%*y%d%"));
static_assert(ZULSS_FormatFits<int, int, int>("%-*.*5d 100%%"));
// Each conversion's kind of argument.
static_assert(ZULSS_FormatFits<char, short, bool, Plain, Scoped>("%c%d%u%x%X"));
static_assert(!ZULSS_FormatFits<Narrow>("%d")); // not promoted on the way
static_assert(ZULSS_FormatFits<void *, const int *, std::nullptr_t>("%p%p%p"));
static_assert(!ZULSS_FormatFits<uintptr_t>("%p"));
static_assert(ZULSS_FormatFits<std::nullptr_t, unsigned char *>("%s%s"));
static_assert(!ZULSS_FormatFits<int *>("%s"));
static_assert(ZULSS_FormatFits<int32_t *, uint32_t *, int16_t *, int32_t *>("%n%ln%hn%lhn"));
static_assert(!ZULSS_FormatFits<int32_t *>("%hn"));
static_assert(!ZULSS_FormatFits<int16_t *>("%n"));
static_assert(ZULSS_FormatFits<double, float>("%f%Lg"));
static_assert(!ZULSS_FormatFits<long double>("%Lf"));
static_assert(!ZULSS_FormatFits<double>("%d"));

TEST(FormatCheck, CheckedCallsFormat)
{
    Capture c;
    ZULSS_format_t *object = Open(c);
    uint32_t seconds = 0x1234, nanoseconds = 5000000, thread = 0xABC;
    EXPECT_EQ(ZULSS_PRINT(object, "(%08lX.%08lX-%lX:", seconds, nanoseconds, thread), 0);
    EXPECT_EQ(ZULSS_Print(object, "%.*s,%d,\"%s\") \n", 7, "zulssfo.cpp", 42, "BSS1_Format"), 0);
    BSS1_EndFormat(object);
    EXPECT_EQ(c.lines, "(00001234.004C4B40-ABC:zulssfo,42,\"BSS1_Format\") \n");
}

} // namespace
