// The directive dialect: one table of directives, values and outputs, and
// the rules that a table cannot show (argument consumption, %n, floating
// conversions, allocation failure).
#include "fmt_support.h"

#include <climits>
#include <cstdint>
#include <string>

namespace {

enum class Args { None, Int, IntInt, Text, Pointer, Real, IntIntReal };

struct Row {
    const char *format;
    Args args;
    int32_t a;
    int32_t b;
    const char *text;
    uintptr_t pointer;
    double real;
    const char *expected;
};

std::string RenderRow(const Row &r)
{
    switch (r.args) {
    case Args::None:
        return Render(r.format);
    case Args::Int:
        return Render(r.format, r.a);
    case Args::IntInt:
        return Render(r.format, r.a, r.b);
    case Args::Text:
        return Render(r.format, r.text);
    case Args::Pointer:
        return Render(r.format, reinterpret_cast<void *>(r.pointer));
    case Args::Real:
        return Render(r.format, r.real);
    case Args::IntIntReal:
        return Render(r.format, r.a, r.b, r.real);
    }
    return "?";
}

Row I(const char *f, int32_t a, const char *e) { return {f, Args::Int, a, 0, nullptr, 0, 0, e}; }
Row II(const char *f, int32_t a, int32_t b, const char *e) { return {f, Args::IntInt, a, b, nullptr, 0, 0, e}; }
Row S(const char *f, const char *s, const char *e) { return {f, Args::Text, 0, 0, s, 0, 0, e}; }
Row P(const char *f, uintptr_t p, const char *e) { return {f, Args::Pointer, 0, 0, nullptr, p, 0, e}; }
Row N(const char *f, const char *e) { return {f, Args::None, 0, 0, nullptr, 0, 0, e}; }
Row R(const char *f, double d, const char *e) { return {f, Args::Real, 0, 0, nullptr, 0, d, e}; }
Row IIR(const char *f, int32_t a, int32_t b, double d, const char *e) { return {f, Args::IntIntReal, a, b, nullptr, 0, d, e}; }

const Row kRows[] = {
    // Integers: precision, prefixes of zero, the zero flag working alone.
    I("%.0d", 0, "0"),
    I("%d", 0, "0"),
    I("%x", 255, "ff"),
    I("%X", 255, "FF"),
    I("%#x", 0, "0x0"),
    I("%#X", 255, "0XFF"),
    I("%#o", 8, "010"),
    I("%#o", 0, "00"),
    I("%o", 8, "10"),
    I("%05d", -42, "-0042"),
    I("%-05d", 42, "00042"),
    I("%+5d", 42, "  +42"),
    I("% d", 42, " 42"),
    I("% d", -42, "-42"),
    I("%+ d", 42, "+42"),
    I("%.5d", 42, "00042"),
    I("%8.5d", 42, "   00042"),
    I("%08.5d", 42, "00000042"),
    I("%+u", 42, "42"),
    I("% x", 42, "2a"),
    I("%5-d", 42, "42   "),
    I("%-6d|", 5, "5     |"),
    I("%hd", 70000, "70000"),
    I("%ld", -1, "-1"),
    I("%Lu", -1, "4294967295"),
    I("%d", INT32_MIN, "-2147483648"),
    I("%i", INT32_MAX, "2147483647"),
    I("%x", -1, "ffffffff"),
    I("%#5x", 1, "  0x1"),
    I("%#05x", 1, "0x001"),
    I("%#-6o|", 8, "010   |"),
    I("%+05d", 7, "+0007"),
    I("% 5d", -3, "   -3"),
    I("%.3d", -7, "-007"),
    // `*` takes a 32-bit word for the number in progress.
    II("%*d", 5, 42, "   42"),
    II("%.*d", 4, 7, "0007"),
    II("%-*d|", 3, 1, "1  |"),
    II("%*.3d", 6, 5, "   005"),
    // Characters and percent signs ignore width and flags.
    I("%5c", 'a', "a"),
    I("%-03c|", 'b', "b|"),
    N("%5%", "%"),
    N("%%", "%"),
    N("100%%", "100%"),
    // Unknown conversions vanish and take no argument.
    I("%y%d", 7, "7"),
    I("%F%d", 7, "7"),
    I("%a%A%d", 7, "7"),
    I("%\x80%d", 7, "7"),
    I("%\x01%d", 7, "7"),
    II("%*y%d", 5, 7, "7"),
    // A format ending inside a directive ends there.
    N("abc%", "abc"),
    N("abc%5", "abc"),
    N("%-#", ""),
    // Texts.
    S("%s", nullptr, "NULL"),
    S("%10s", nullptr, "NULL"),
    S("%-10s|", nullptr, "NULL|"),
    S("%.2s", "abc", "ab"),
    S("%.0s|", "abc", "|"),
    S("%.10s", "abc", "abc"),
    S("%-5s|", "ab", "ab   |"),
    S("%05s", "ab", "   ab"),
    S("%5s", "abcdefg", "abcdefg"),
    S("%s|", "", "|"),
    S("[%3s]", "", "[   ]"),
    // Pointers: upper-case digits without leading zeros.
    P("%p", 0, "NULL"),
    P("%10p", 0, "NULL"),
    P("%p", 0xABCDEF, "ABCDEF"),
    P("%#p", 0xABCDEF, "0XABCDEF"),
    P("%10p", 0xABCDEF, "    ABCDEF"),
    P("%-10p|", 0xABCDEF, "ABCDEF    |"),
    P("%010p", 0xAB, "00000000AB"),
    P("%+p", 0x1, "1"),
    P("%p", UINTPTR_MAX, "FFFFFFFFFFFFFFFF"),
    // Floating values go through the runtime, size letters dropped.
    R("%f", 1.5, "1.500000"),
    R("%Lf", 1.5, "1.500000"),
    R("%lf", 1.5, "1.500000"),
    R("%.2f", 3.14159, "3.14"),
    R("%e", 1234.5, "1.234500e+03"),
    R("%E", 1234.5, "1.234500E+03"),
    R("%g", 0.0001, "0.0001"),
    R("%G", 1e-10, "1E-10"),
    R("%+g", 2.0, "+2"),
    R("%08.2f", -1.5, "-0001.50"),
    R("%-8.1f|", 2.5, "2.5     |"),
    R("% .1f", 2.0, " 2.0"),
    R("%#.0f", 3.0, "3."),
    R("%10f", 1.0, "  1.000000"),
    IIR("%*.*f", 6, 1, 3.14159, "   3.1"),
};

TEST(FormatDirectives, Table)
{
    for (const Row &r : kRows)
        EXPECT_EQ(RenderRow(r), r.expected) << "format \"" << r.format << "\"";
}

TEST(FormatDirectives, LongFieldsSpanRecords)
{
    std::string text(300, 'x');
    EXPECT_EQ(Render("%s", text.c_str()), text);
    EXPECT_EQ(Render("%310s", text.c_str()), std::string(10, ' ') + text);
    EXPECT_EQ(Render("%-310s|", text.c_str()), text + std::string(10, ' ') + "|");
    EXPECT_EQ(Render("%.300d", 5), std::string(299, '0') + "5");
    EXPECT_EQ(Render("%200d", 1), std::string(199, ' ') + "1");
}

TEST(FormatDirectives, PrecisionBoundsTheBytesRead)
{
    // Three bytes and no terminator: a precision keeps the read inside.
    const char bytes[3] = {'a', 'b', 'c'};
    EXPECT_EQ(Render("%.3s", bytes), "abc");
    EXPECT_EQ(Render("%.2s", bytes), "ab");
}

TEST(FormatDirectives, CountStoresCharactersPutOutByThisCall)
{
    int32_t n = -1;
    EXPECT_EQ(Render("abc%n", &n), "abc");
    EXPECT_EQ(n, 3);

    Render("%5d%n|%s%n", 1, &n, "xy", static_cast<int32_t *>(nullptr));
    EXPECT_EQ(n, 5);

    // Line ends count although they are not stored.
    Render("a\r\nb\n%n", &n);
    EXPECT_EQ(n, 5);

    // %hn writes 16 bits and leaves its neighbour alone; %lhn writes 32.
    int16_t halves[2] = {-1, -1};
    Render("abc%hn", &halves[0]);
    EXPECT_EQ(halves[0], 3);
    EXPECT_EQ(halves[1], -1);
    int32_t word = -1;
    Render("abcd%lhn", &word);
    EXPECT_EQ(word, 4);

    // A null target is skipped.
    EXPECT_EQ(Render("x%ny", static_cast<int32_t *>(nullptr)), "xy");
}

TEST(FormatDirectives, CountStartsAgainWithEachCall)
{
    Capture c;
    ZULSS_format_t *object = nullptr;
    ASSERT_EQ(BSS1_NewFormat(&object, &c, CaptureSink, 0, 0), STC1_Success);
    int32_t n = -1;
    BSS1_PrintFormat(object, "hello");
    BSS1_PrintFormat(object, "ab%n", &n);
    EXPECT_EQ(n, 2);
    BSS1_EndFormat(object);
    EXPECT_EQ(c.Joined(), "helloab");
}

TEST(FormatDirectives, FloatingWithoutMemoryPutsOutNothingAndGoesOn)
{
    fmtFailSize = 16384;
    std::string out = Render("[%f|%d]", 1.0, 7);
    fmtFailSize = 0;
    EXPECT_EQ(out, "[|7]");
}

TEST(FormatDirectives, NullObjectOrFormat)
{
    EXPECT_EQ(BSS1_PrintFormat(nullptr, "%s %d", "unread", 1), STC1_BadArgument);
    Capture c;
    ZULSS_format_t *object = nullptr;
    ASSERT_EQ(BSS1_NewFormat(&object, &c, CaptureSink, 0, 0), STC1_Success);
    EXPECT_EQ(BSS1_PrintFormat(object, nullptr), STC1_BadArgument);
    EXPECT_EQ(BSS1_EndFormat(object), 0);
    EXPECT_TRUE(c.batches.empty());
}

} // namespace
