// The format engine: the directive dialect, records built from text,
// batches, margins, flushes, and the compile-time check of formats
// against argument types.
#include <zul/bss1.h>
#include "bss/zulssfmt.h" // the compile-time format check, which has no public form

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Record sink.  It fills each record's margin with '<', as a real sink
// fills it with its own header, and keeps in `dump` each record's text
// then "+" (continued) or "." (ended), and "|" after each batch; in
// `lines` the texts, "\n" after ended records.  Capture::Text is a text
// sink and keeps each call's text in `texts`.
struct Capture {
    uint32_t margin = 0;
    int closings = 0, result = 0, closeResult = 0;
    std::string dump, lines;
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
        if (data == nullptr)
            return c->closings++, c->closeResult;
        EXPECT_EQ(c->closings, 0) << "records after the closing call";
        for (uint32_t i = 0, n; i < count; ++i, data += n + 1) {
            n = *data & 0x7Fu;
            bool continued = (*data & 0x80u) != 0;
            memset(data + 1, '<', std::min(c->margin, n));
            c->dump += std::string(data + 1, n) + (continued ? "+" : ".");
            c->lines += std::string(data + 1, n) + (continued ? "" : "\n");
        }
        EXPECT_EQ(*data, 0) << "no zero byte behind the last record";
        return c->dump += "|", c->result;
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
std::string Render(auto... arguments)
{
    std::string lines = Format(0, arguments...).lines;
    return lines.substr(0, lines.size() - 1);
}
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
        F("0", "%.0d", 0), F("0x0", "%#x", 0), F("010", "%#o", 8), F("-0042", "%05d", -42), F("00042", "%-05d", 42),
        F("+42", "%+ d", 42), F("00000042", "%08.5d", 42), F("70000", "%hd", 70000), F("4294967295", "%Lu", -1),
        // `*` takes a 32-bit word; characters and percent signs ignore width
        // and flags; unknown conversions vanish and take no argument, but a
        // `*` in one does; a format that ends inside a directive ends there.
        F("1  |", "%-*d|", 3, 1), F("a", "%5c", 'a'), F("%", "%5%"), F("7", "%*y%d", 5, 7), F("abc", "abc%5"),
        // Texts and pointers.
        F("NULL", "%10s", nullptr), F("abc|ab", "%.3s|%.2s", bytes, bytes), F("   ab", "%05s", "ab"),
        F(t300 + std::string(10, ' ') + "|", "%-310s|", t300.c_str()), F("NULL", "%p", nullptr),
        F("0XABCDEF", "%#p", hex), F("FFFFFFFFFFFFFFFF", "%p", (void *)UINTPTR_MAX),
        // Floating values go through the runtime, size letters dropped.
        F("1.500000", "%Lf", 1.5), F("   3.1", "%*.*f", 6, 1, 3.14159),
    };
#undef F
    for (const Row &r : rows)
        EXPECT_EQ(r.got, r.expected) << r.call;
}

TEST(FormatRecords, Layout)
{
    const std::string m(126, '<');
    struct Case { std::string format; const char *argument; uint32_t margin; std::string dump; } cases[] = {
        {X(300) + "\n", nullptr, 0, X(127) + "+" + X(127) + "+" + X(46) + ".|"},
        {X(127) + "\n", nullptr, 0, X(127) + "+.|"}, // LF after a full record
        {X(127) + "%s", "", 0, X(127) + ".|"},       // continued only if more follows
        {X(126) + "\r\n", nullptr, 0, X(126) + "\r+.|"}, // CR and LF in two stretches
        {"ab\r\ncd\n\na\rb", nullptr, 0, "ab.cd..a\rb.|"}, {"%s", "ab\r\n", 0, "ab.|"}, // a lone CR is text
        // A margin counts in each record's length and an empty line is the
        // margin alone; from the limit on margins are ignored.
        {"ab\n\n", nullptr, 3, "<<<ab.<<<.|"}, {X(130) + "\n", nullptr, 3, "<<<" + X(124) + "+<<<" + X(6) + ".|"},
        {"abc\n", nullptr, 126, m + "a+" + m + "b+" + m + "c+" + m + ".|"}, {"ab\n", nullptr, 127, "ab.|"},
    };
    for (const Case &k : cases)
        EXPECT_EQ(Format(k.margin, k.format.c_str(), k.argument).dump, k.dump) << k.format << " " << k.margin;
    // A number at the end of a record: whole where it fits, else broken
    // at the limit like any text.
    EXPECT_EQ(Format(0, (X(121) + "%d").c_str(), -12345).dump, X(121) + "-12345.|");
    EXPECT_EQ(Format(0, (X(123) + "%d").c_str(), -12345).dump, X(123) + "-123+45.|");
}

TEST(FormatRecords, FlushesBatchesAndEnd)
{
    Capture c, quiet;
    c.result = 42, c.closeResult = 17, quiet.closeResult = 5;
    ZULSS_format_t *object = Open(c);
    int32_t n = -1;
    BSS1_PrintFormat(object, "ab");
    BSS1_PrintFormat(object, "c%n", &n); // a line goes on across calls; the count starts anew
    EXPECT_EQ(n, 1);
    EXPECT_EQ(BSS1_FlushFormat(object), 42);
    EXPECT_EQ(BSS1_FlushFormat(object), 0); // nothing gathered: no call
    BSS1_PrintFormat(object, "def\nghi");
    EXPECT_EQ(BSS1_EndFormat(object), 17); // the last batch's answer is dropped
    EXPECT_EQ(c.dump + std::to_string(c.closings), "abc+|def.ghi.|1");
    EXPECT_EQ(BSS1_EndFormat(Open(quiet)), 5); // never any output: one call
    EXPECT_EQ(quiet.dump + std::to_string(quiet.closings), "1");
}

// The checker counts arguments, and catches what is wider than 32 bits
// whatever the size letter, and the wrong kind of pointer.
static_assert(ZULSS_FormatFits<int, const char *, int, const char *>("%.*s,%d,\"%s\") ") &&
              ZULSS_FormatFits<int, int>("%*y%d%") && !ZULSS_FormatFits<int>("%d %d") && !ZULSS_FormatFits<int, int>("%d"));
static_assert(!ZULSS_FormatFits<uint64_t>("%lX") && !ZULSS_FormatFits<uintptr_t>("%p") && !ZULSS_FormatFits<int *>("%s") &&
              !ZULSS_FormatFits<int16_t *>("%n") && !ZULSS_FormatFits<double>("%d"));

} // namespace
