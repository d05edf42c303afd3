// The format engine: the directive dialect, sizes at their real widths
// (also against the C library's snprintf), records built from text,
// batches, margins, flushes, and the compile-time check of formats
// against argument types.
#include <zul/bss1.h>
#include "bss/zulssfmt.h" // the compile-time format check, which has no public form

#include <gtest/gtest.h>

#include <algorithm>
#include <cinttypes>
#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <variant>
#include <vector>
#include <wchar.h>

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
        F("+42", "%+ d", 42), F("00000042", "%08.5d", 42), F("%", "%5%"), F("a", "%5c", 'a'),
        // `*` takes a 32-bit word; characters and percent signs ignore width
        // and flags; unknown conversions vanish and take no argument, but a
        // `*` in one does; a format that ends inside a directive ends there.
        F("1  |", "%-*d|", 3, 1), F("42   ", "%5-d", 42), F("7", "%*y%d", 5, 7), F("abc", "abc%5"),
        // Texts and pointers.
        F("NULL", "%10s", nullptr), F("abc|ab", "%.3s|%.2s", bytes, bytes), F("   ab", "%05s", "ab"),
        F(t300 + std::string(10, ' ') + "|", "%-310s|", t300.c_str()), F("NULL", "%p", nullptr),
        F("0XABCDEF", "%#p", hex), F("FFFFFFFFFFFFFFFF", "%p", (void *)UINTPTR_MAX),
        // Floating values go through the runtime; L takes a long double.
        F("1.500000", "%lf", 1.5), F("2.250000", "%Lf", 2.25L), F("   3.1", "%*.*f", 6, 1, 3.14159),
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

// What people write with printf in mind: each size reads its own width,
// so a 64-bit value never leaves the next directive a wrong argument.
// Conversions that printf knows and the dialect does not print (a A F C
// S b B) take their argument and print nothing; ' and I are flags of no
// effect.
TEST(FormatSizes, RealWidths)
{
    struct Row { std::string got, expected; const char *call; };
    void *const hex = reinterpret_cast<void *>(0x7FFF4A9CB022);
#define F(expected, ...) Row{Render(__VA_ARGS__), expected, #__VA_ARGS__}
    const Row rows[] = {
        F("5000000000 bytes from peer", "%zu bytes from %s", size_t{5000000000}, "peer"),
        F("1099511627776|x", "%lld|%s", 1LL << 40, "x"), F("-1 -1", "%ld %li", -1L, -1L),
        F("9223372036854775808", "%llu", 1ULL << 63), F("18446744073709551615", "%zu", SIZE_MAX),
        F("-9223372036854775808", "%jd", INTMAX_MIN), F("-5", "%td", ptrdiff_t{-5}),
        F("ffffffffffffffff", "%lx", ULONG_MAX), F("0X1FFFFFFFFF", "%#LX", 0x1FFFFFFFFFLL),
        F("1777777777777777777777", "%lo", ~0UL), F("  -000000000042", "%15.12qd", -42LL), F("7", "%Zu", size_t{7}),
        // Sizes below an int: the value is cut to the size, then signed or not.
        F("ff", "%hhx", 0x1FF), F("-56", "%hhd", 200), F("4464 -1", "%hu %hd", 70000, 0xFFFF),
        // A long letter wins over a short one, in any order.
        F("-1", "%hld", -1L), F("4294967296", "%lhu", 1UL << 32),
        // Pointers keep their form.
        F("7FFF4A9CB022", "%p", hex), F("0X7FFF4A9CB022", "%#lp", hex),
        F("|x", "%F|%s", 1.5, "x"), F("|x", "%LA|%s", 1.5L, "x"), F("|x", "%C|%s", wint_t{65}, "x"),
        F("|x", "%S|%s", L"w", "x"), F("|x", "%llb|%s", 1ULL << 40, "x"), F("1234", "%'Id", 1234),
    };
#undef F
    for (const Row &r : rows)
        EXPECT_EQ(r.got, r.expected) << r.call;

    // n stores at the width its size names, and nothing beyond it.
    struct { signed char c; short s; int i; long long l; size_t z; uint8_t guard; } n;
    memset(&n, 0x55, sizeof n);
    Render("abc%hhn%hn%n%lln%zn", &n.c, &n.s, &n.i, &n.l, &n.z);
    EXPECT_TRUE(n.c == 3 && n.s == 3 && n.i == 3 && n.l == 3 && n.z == 3 && n.guard == 0x55)
        << int(n.c) << " " << n.s << " " << n.i << " " << n.l << " " << n.z << " " << int(n.guard);
}

// Random directives of the part of the dialect that printf shares give
// what snprintf gives: integers of every size with flags, width and
// precision (from the format or from `*`), texts, characters and floating
// values.  Left out are the dialect's own rules, which the tables above
// cover: the zero flag beside `-` or a precision, a precision of 0 for 0,
// `#` for 0 and `#o` with a precision, width on c, and p.
TEST(FormatSizes, AgreesWithSnprintfOnTheSharedPart)
{
    using Value = std::variant<int, long long, const char *, double>;
    std::mt19937_64 random(20260126);
    auto pick = [&](uint64_t n) { return static_cast<size_t>(random() % n); };
    const char *const texts[] = {"", "a", "peer-7", "0123456789abcdef0123456789", "x y\tz"};
    const long long edges[] = {0, 1, -1, 42, 127, 128, 255, 256, 32767, -32768, 65535, INT_MAX, INT_MIN,
                               UINT_MAX, 1LL << 40, LLONG_MAX, LLONG_MIN, -1000000007};
    const char *const sizes[] = {"", "hh", "h", "l", "ll", "j", "z", "t"};
    for (int round = 0; round < 20000; round++) {
        char conversion = "diuoxXscfeEgG"[pick(13)];
        bool integer = strchr("diuoxX", conversion) != nullptr;
        const char *size = integer ? sizes[pick(std::size(sizes))] : "";
        bool wide = size[0] != 0 && strchr("ljzt", size[0]) != nullptr;
        unsigned bits = wide ? 64 : size[0] != 'h' ? 32 : size[1] == 'h' ? 8 : 16;
        long long number = edges[pick(std::size(edges))] ^ (pick(4) == 0 ? static_cast<long long>(random()) : 0);
        bool isZero = (static_cast<unsigned long long>(number) << (64 - bits)) == 0;

        std::string flags, width, precision;
        std::vector<int> stars;
        if (conversion != 'c') {
            for (char flag : std::string("-+ #0"))
                if (pick(4) == 0)
                    flags += flag;
            // A number written as 0 is the zero flag in the dialect, so
            // only `*` gives 0.
            if (pick(2) == 0) {
                int n = static_cast<int>(pick(25));
                n == 0 || pick(3) == 0 ? (stars.push_back(n), width = "*") : width = std::to_string(n);
            }
            if (pick(3) == 0) {
                int n = static_cast<int>(pick(12));
                if (integer && n == 0 && isZero)
                    n = 1;
                n == 0 || pick(3) == 0 ? (stars.push_back(n), precision = ".*") : precision = "." + std::to_string(n);
            }
        }
        auto drop = [&](char flag) { flags.erase(std::remove(flags.begin(), flags.end(), flag), flags.end()); };
        if (integer && (!precision.empty() || flags.find('-') != flags.npos))
            drop('0');
        if (conversion == 'o' || (integer && isZero) || conversion == 's')
            drop('#');
        if (conversion == 's')
            drop('0');
        const std::string directive = "%" + flags + width + precision + size + conversion;
        Value value;
        if (integer)
            value = wide ? Value(number) : Value(static_cast<int>(number));
        else if (conversion == 's')
            value = texts[pick(std::size(texts))];
        else if (conversion == 'c')
            value = static_cast<int>(' ' + pick(95));
        else
            value = static_cast<double>(number) / 1024.0;
        const std::string format = "<" + directive + ">";
        std::string engine, runtime;
        std::visit(
            [&](auto v) {
                char buffer[256];
                if (stars.size() == 2) {
                    engine = Render(format.c_str(), stars[0], stars[1], v);
                    snprintf(buffer, sizeof buffer, format.c_str(), stars[0], stars[1], v);
                } else if (stars.size() == 1) {
                    engine = Render(format.c_str(), stars[0], v);
                    snprintf(buffer, sizeof buffer, format.c_str(), stars[0], v);
                } else {
                    engine = Render(format.c_str(), v);
                    snprintf(buffer, sizeof buffer, format.c_str(), v);
                }
                runtime = buffer;
            },
            value);
        ASSERT_EQ(engine, runtime) << "round " << round << ": " << format << " of " << number;
    }
}

// The checker counts arguments, and reads each directive as the engine
// does: what is narrower or wider than its size, and the wrong kind of
// pointer, are refused.
static_assert(ZULSS_FormatFits<int, const char *, int, const char *>("%.*s,%d,\"%s\") ") &&
              ZULSS_FormatFits<int, int>("%*y%d%") && !ZULSS_FormatFits<int>("%d %d") && !ZULSS_FormatFits<int, int>("%d"));
static_assert(ZULSS_FormatFits<unsigned long, size_t, long long, short>("%08lX %zu %lld %hd") &&
              ZULSS_FormatFits<double, const char *>("%F%s") && ZULSS_FormatFits<long double>("%Lg"));
static_assert(!ZULSS_FormatFits<uint32_t>("%lX") && !ZULSS_FormatFits<uint64_t>("%X") && !ZULSS_FormatFits<uintptr_t>("%p") &&
              !ZULSS_FormatFits<int *>("%s") && !ZULSS_FormatFits<int16_t *>("%n") && !ZULSS_FormatFits<int *>("%ln") &&
              !ZULSS_FormatFits<double>("%d") && !ZULSS_FormatFits<double>("%Lf") && !ZULSS_FormatFits<const char *>("%S%s"));

} // namespace
