// Fuzz target: the format engine, with fuzzed formats over a fixed list of
// arguments.
//
// Input: a control byte (bits 0-6: the margin of the record object, bit 7:
// format twice, each after a flush), a byte that sets the wanted size of
// the record area in steps of 8, then the format, up to its first zero
// byte.  The format goes once into a record object and once into a text
// object.
//
// The arguments are always the same 50: a 32-bit integer, a 64-bit
// integer, a text pointer, a double and a long double in turn.  A
// directive reads from that list in order, so the harness first walks the
// format by the engine's own grammar (internal/zuldirective.h) and removes
// each directive whose `*` or conversion does not take the kind of the
// next entries of the list, or whose width or precision would only make
// blanks for a long time.  What is left formats with no undefined read.
// Every text pointer but the null one addresses a writable, aligned
// buffer, so `n` may store through it at any size.
//
// Where the format makes one line of plain values, the log puts it
// together flat (ZULSS_FormatFlat) rather than through records: the
// harness checks that the flat line is what the records give.
#include <math.h>
#include <stdarg.h>
#include <string.h>

#include <string>

#include <zul/bss1.h>

#include "harness.h"
#include "internal/zuldirective.h"
#include "internal/zulfobj.h"

constexpr int kKinds = 5, kRows = 10, kSlots = kKinds * kRows;
constexpr uint32_t kMaxField = 1000, kMaxRealField = 300;
const int32_t kInts[kRows] = {42, 0, -42, 255, 8, 70000, INT32_MIN, 127, -1, 300};
const int64_t kWides[kRows] = {1LL << 40, 0, -1, INT64_MIN, INT64_MAX, 4294967296LL, -42, 255, 70000, 7};
const double kReals[kRows] = {3.25, 0.0, -1.5, 1e300, 1e-300, NAN, INFINITY, -0.0, 123456789.125,
                              -INFINITY};
const char *const kTexts[kRows] = {"abc", "", "", "end", "line\r\nnext\rrest\r", "%d %s here",
                                   "\xff\x80 high", "tab\tand\nline feed\n", "z", "0123456789"};
alignas(8) static char texts[kRows][320];

// The kind of list entry that a directive's argument must be.
static int kind_of(ZULSS_argument argument)
{
    switch (argument) {
    case ZULSS_argument::Word:
        return 0;
    case ZULSS_argument::Wide:
        return 1;
    case ZULSS_argument::Real:
        return 3;
    case ZULSS_argument::LongReal:
        return 4;
    case ZULSS_argument::None:
        return -1;
    default:
        return 2; // texts, pointers and the targets of n
    }
}

// The format without the directives that do not fit the argument list.
static std::string filter_format(const char *at)
{
    std::string out;
    int slot = 0;
    while (*at != '\0') {
        if (*at != '%') {
            out += *at++;
            continue;
        }
        const char *start = at++;
        int next = slot;
        bool fits = true;
        ZULSS_directive_t d;
        at = ZULSS_ReadDirective(at, d, [&] {
            fits = fits && next < kSlots && next % kKinds == 0;
            uint32_t value = fits ? static_cast<uint32_t>(kInts[next / kKinds]) : 0;
            next++;
            return value;
        });
        int kind = kind_of(ZULSS_ArgumentOf(d));
        if (d.conversion != 0 && kind >= 0)
            fits = fits && next < kSlots && next++ % kKinds == kind;
        uint32_t cap = kind >= 3 ? kMaxRealField : kMaxField;
        if (fits && d.width <= cap && d.precision <= cap) {
            out.append(start, at);
            slot = next;
        }
    }
    return out;
}

#define ZUL_FUZZ_ROW(k) kInts[k], kWides[k], (k == 1 ? nullptr : texts[k]), kReals[k], (long double)kReals[k]

static void run(ZULSS_format_t *object, const char *format, bool twice)
{
    // `n` stores into the texts: put them back; the third is longer than
    // two records.
    memset(texts, 0, sizeof texts);
    memset(texts[2], 'x', 300);
    for (int i = 0; i < 10; i++)
        strcat(texts[i], kTexts[i]);
    for (int pass = 0; pass < 1 + twice; pass++) {
        BSS1_FlushFormat(object);
        BSS1_PrintFormat(object, format, ZUL_FUZZ_ROW(0), ZUL_FUZZ_ROW(1), ZUL_FUZZ_ROW(2),
                         ZUL_FUZZ_ROW(3), ZUL_FUZZ_ROW(4), ZUL_FUZZ_ROW(5), ZUL_FUZZ_ROW(6),
                         ZUL_FUZZ_ROW(7), ZUL_FUZZ_ROW(8), ZUL_FUZZ_ROW(9));
    }
    BSS1_EndFormat(object);
}

static long flat(char *to, size_t room, int *ended, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    long length = ZULSS_FormatFlat(to, room, format, arguments, ended);
    va_end(arguments);
    return length;
}

// The lines of the records as a store gets them: a record that does not
// go on in the next ends its line.
static int collect(void *argument, char *records, uint32_t count)
{
    std::string *lines = static_cast<std::string *>(argument);
    for (uint32_t i = 0; i < count && records != nullptr; i++) {
        uint32_t length = static_cast<unsigned char>(*records) & ZULSS_RECORD_LENGTH;
        bool goes_on = (static_cast<unsigned char>(*records) & ZULSS_RECORD_CONTINUED) != 0;
        lines->append(records + 1, length);
        if (!goes_on)
            *lines += '\n';
        records += 1 + length;
    }
    return 0;
}

// The flat line, where the format makes one, against the records of the
// same format.
static void compare_flat(const char *format)
{
    static char line[4096];
    memset(texts, 0, sizeof texts);
    memset(texts[2], 'x', 300);
    for (int i = 0; i < 10; i++)
        strcat(texts[i], kTexts[i]);
    int ended = 0;
    long length = flat(line, sizeof line, &ended, format, ZUL_FUZZ_ROW(0), ZUL_FUZZ_ROW(1),
                       ZUL_FUZZ_ROW(2), ZUL_FUZZ_ROW(3), ZUL_FUZZ_ROW(4), ZUL_FUZZ_ROW(5),
                       ZUL_FUZZ_ROW(6), ZUL_FUZZ_ROW(7), ZUL_FUZZ_ROW(8), ZUL_FUZZ_ROW(9));
    // An empty format makes no line at all; in the log a head stands in
    // front of every message.
    if (length < 0 || (length == 0 && !ended))
        return;
    std::string lines;
    ZULSS_format_t *object = nullptr;
    ZUL_FUZZ_CHECK(BSS1_NewFormat(&object, &lines, collect, 0, 0) == 0);
    run(object, format, false);
    ZUL_FUZZ_CHECK(lines == std::string(line, static_cast<size_t>(length)) + "\n");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2)
        return -1;
    std::string raw(reinterpret_cast<const char *>(data + 2), size - 2);
    std::string format = filter_format(raw.c_str());
    auto sink = [](void *, char *, uint32_t) { return 0; };
    ZULSS_format_t *object = nullptr;
    ZUL_FUZZ_CHECK(BSS1_NewFormat(&object, nullptr, sink, data[1] * 8u, data[0] & 0x7Fu) == 0);
    run(object, format.c_str(), data[0] & 0x80);
    ZUL_FUZZ_CHECK(BSS1_BeginFormat(&object, nullptr, sink) == 0);
    run(object, format.c_str(), data[0] & 0x80);
    compare_flat(format.c_str());
    return 0;
}
