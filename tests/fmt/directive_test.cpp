// The directive dialect: a table of directives, values and outputs, then
// what a table cannot show.
#include "fmt_support.h"

#include <cstdint>

namespace {

enum class A { None, Int, IntInt, Text, Ptr, Real, IntIntReal };

struct Row {
    const char *format;
    A args;
    int32_t a, b;
    const char *text;
    uintptr_t pointer;
    double real;
    const char *expected;
};

Row N(const char *f, const char *e) { return {f, A::None, 0, 0, nullptr, 0, 0, e}; }
Row I(const char *f, int32_t a, const char *e) { return {f, A::Int, a, 0, nullptr, 0, 0, e}; }
Row II(const char *f, int32_t a, int32_t b, const char *e) { return {f, A::IntInt, a, b, nullptr, 0, 0, e}; }
Row S(const char *f, const char *s, const char *e) { return {f, A::Text, 0, 0, s, 0, 0, e}; }
Row P(const char *f, uintptr_t p, const char *e) { return {f, A::Ptr, 0, 0, nullptr, p, 0, e}; }
Row R(const char *f, double d, const char *e) { return {f, A::Real, 0, 0, nullptr, 0, d, e}; }

const Row kRows[] = {
    // Integers: precision, prefixes of zero, the zero flag working alone.
    I("%.0d", 0, "0"), I("%x", 255, "ff"), I("%X", 255, "FF"), I("%#x", 0, "0x0"),
    I("%#X", 255, "0XFF"), I("%#o", 8, "010"), I("%#o", 0, "00"), I("%o", 8, "10"),
    I("%05d", -42, "-0042"), I("%-05d", 42, "00042"), I("%+5d", 42, "  +42"),
    I("% d", 42, " 42"), I("% d", -42, "-42"), I("%+ d", 42, "+42"), I("%.5d", 42, "00042"),
    I("%8.5d", 42, "   00042"), I("%08.5d", 42, "00000042"), I("%+u", 42, "42"),
    I("% x", 42, "2a"), I("%5-d", 42, "42   "), I("%-6d|", 5, "5     |"), I("%hd", 70000, "70000"),
    I("%ld", -1, "-1"), I("%Lu", -1, "4294967295"), I("%d", INT32_MIN, "-2147483648"),
    I("%x", -1, "ffffffff"), I("%#5x", 1, "  0x1"), I("%#05x", 1, "0x001"),
    I("%#-6o|", 8, "010   |"), I("%+05d", 7, "+0007"), I("% 5d", -3, "   -3"), I("%.3d", -7, "-007"),
    // `*` takes a 32-bit word for the number in progress.
    II("%*d", 5, 42, "   42"), II("%.*d", 4, 7, "0007"), II("%-*d|", 3, 1, "1  |"),
    II("%*.3d", 6, 5, "   005"),
    // Characters and percent signs ignore width and flags.
    I("%5c", 'a', "a"), I("%-03c|", 'b', "b|"), N("%5%", "%"), N("100%%", "100%"),
    // Unknown conversions vanish and take no argument; a `*` in one does.
    I("%y%d", 7, "7"), I("%F%d", 7, "7"), I("%a%A%d", 7, "7"), I("%\x80%d", 7, "7"),
    I("%\x01%d", 7, "7"), II("%*y%d", 5, 7, "7"),
    // A format that ends inside a directive ends there.
    N("abc%", "abc"), N("abc%5", "abc"), N("%-#", ""),
    // Texts.
    S("%s", nullptr, "NULL"), S("%10s", nullptr, "NULL"), S("%.2s", "abc", "ab"),
    S("%.0s|", "abc", "|"), S("%.10s", "abc", "abc"), S("%-5s|", "ab", "ab   |"),
    S("%05s", "ab", "   ab"), S("%5s", "abcdefg", "abcdefg"), S("[%3s]", "", "[   ]"),
    // Pointers: upper-case digits without leading zeros, padded as numbers.
    P("%p", 0, "NULL"), P("%10p", 0, "NULL"), P("%p", 0xABCDEF, "ABCDEF"),
    P("%#p", 0xABCDEF, "0XABCDEF"), P("%10p", 0xABCDEF, "    ABCDEF"), P("%010p", 0xAB, "00000000AB"),
    P("%+p", 1, "1"), P("%p", UINTPTR_MAX, "FFFFFFFFFFFFFFFF"),
    // Floating values go through the runtime, size letters dropped.
    R("%f", 1.5, "1.500000"), R("%Lf", 1.5, "1.500000"), R("%.2f", 3.14159, "3.14"),
    R("%E", 1234.5, "1.234500E+03"), R("%G", 1e-10, "1E-10"), R("%+g", 2.0, "+2"),
    R("%08.2f", -1.5, "-0001.50"), R("%-8.1f|", 2.5, "2.5     |"), R("% .1f", 2.0, " 2.0"),
    R("%#.0f", 3.0, "3."), {"%*.*f", A::IntIntReal, 6, 1, nullptr, 0, 3.14159, "   3.1"},
};

TEST(FormatDirectives, Table)
{
    for (const Row &r : kRows) {
        std::string got;
        switch (r.args) {
        case A::None: got = Render(r.format); break;
        case A::Int: got = Render(r.format, r.a); break;
        case A::IntInt: got = Render(r.format, r.a, r.b); break;
        case A::Text: got = Render(r.format, r.text); break;
        case A::Ptr: got = Render(r.format, reinterpret_cast<void *>(r.pointer)); break;
        case A::Real: got = Render(r.format, r.real); break;
        case A::IntIntReal: got = Render(r.format, r.a, r.b, r.real); break;
        }
        EXPECT_EQ(got, r.expected) << "format \"" << r.format << "\"";
    }
}

TEST(FormatDirectives, LongFieldsAndUnterminatedText)
{
    std::string text(300, 'x');
    EXPECT_EQ(Render("%310s", text.c_str()), std::string(10, ' ') + text);
    EXPECT_EQ(Render("%-310s|", text.c_str()), text + std::string(10, ' ') + "|");
    EXPECT_EQ(Render("%.300d", 5), std::string(299, '0') + "5");
    EXPECT_EQ(Render("%200d", 1), std::string(199, ' ') + "1");
    const char bytes[3] = {'a', 'b', 'c'}; // a precision keeps the read inside
    EXPECT_EQ(Render("%.3s|%.2s", bytes, bytes), "abc|ab");
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
    EXPECT_EQ(halves[0], 3);
    EXPECT_EQ(halves[1], -1);
    Render("abcd%lhn", &n); // short and long: 32 bits
    EXPECT_EQ(n, 4);
    EXPECT_EQ(Render("x%ny", static_cast<int32_t *>(nullptr)), "xy");

    // The count starts again with each call.
    Capture c;
    ZULSS_format_t *object = nullptr;
    ASSERT_EQ(BSS1_NewFormat(&object, &c, Capture::Sink, 0, 0), STC1_Success);
    BSS1_PrintFormat(object, "hello");
    BSS1_PrintFormat(object, "ab%n", &n);
    BSS1_EndFormat(object);
    EXPECT_EQ(n, 2);
}

TEST(FormatDirectives, FloatingWithoutMemoryPutsOutNothing)
{
    fmtFailSize = 16384;
    std::string out = Render("[%f|%d]", 1.0, 7);
    fmtFailSize = 0;
    EXPECT_EQ(out, "[|7]");
}

} // namespace
