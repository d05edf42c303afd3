// Fuzz target: the format engine, with fuzzed formats over a fixed list of
// arguments.
//
// Input: a control byte (bits 0-6: the margin of the record object, bit 7:
// format twice, each after a flush), a byte that sets the wanted size of
// the record area in steps of 8, then the format, up to its first zero
// byte.  The format goes once into a record object and once into a text
// object.
//
// The arguments are always the same 30, a 32-bit integer, a text pointer
// and a double in turn.  A directive reads from that list in order, so the
// harness first walks the format as the engine does and removes each
// directive whose `*` or conversion does not match the next entries of the
// list, or whose width or precision would only make blanks for a long time.
// What is left formats with no undefined read.  Every text pointer but the
// null one addresses a writable, aligned buffer, so `n` may store through it.
#include <math.h>
#include <string.h>

#include <string>

#include <zul/bss1.h>

#include "harness.h"

constexpr int kSlots = 30;
constexpr uint32_t kMaxField = 1000, kMaxRealField = 300;
const int32_t kInts[10] = {42, 0, -42, 255, 8, 70000, INT32_MIN, 127, -1, 300};
const double kReals[10] = {3.25, 0.0, -1.5, 1e300, 1e-300, NAN, INFINITY, -0.0, 123456789.125,
                           -INFINITY};
const char *const kTexts[10] = {"abc", "", "", "end", "line\r\nnext\rrest\r", "%d %s here",
                                "\xff\x80 high", "tab\tand\nline feed\n", "z", "0123456789"};
const char *const kKinds[3] = {"diuoxXc", "psn", "eEfgG"}; // integer, text, double
alignas(8) static char texts[10][320];

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
        int next = slot, kind = -1; // '%' and unknown conversions take nothing
        bool fits = true;
        uint32_t field[2] = {0, 0}, *number = &field[0];
        for (; *at != '\0' && strchr(" #+-hlL0123456789*.", *at) != nullptr; at++) {
            if (*at == '.')
                number = &field[1];
            else if (*at >= '0' && *at <= '9')
                *number = *number * 10 + static_cast<uint32_t>(*at - '0');
            else if (*at == '*' && (fits = fits && next < kSlots && next % 3 == 0))
                *number = static_cast<uint32_t>(kInts[next / 3]);
            next += *at == '*';
        }
        for (int k = 0; k < 3 && *at != '\0'; k++)
            kind = strchr(kKinds[k], *at) != nullptr ? k : kind;
        at += *at != '\0'; // the engine stops inside a directive the format ends in
        if (kind >= 0)
            fits = fits && next < kSlots && next++ % 3 == kind;
        uint32_t cap = kind == 2 ? kMaxRealField : kMaxField;
        if (fits && field[0] <= cap && field[1] <= cap) {
            out.append(start, at);
            slot = next;
        }
    }
    return out;
}

#define ZUL_FUZZ_ROW(k) kInts[k], (k == 1 ? nullptr : texts[k]), kReals[k]

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
    return 0;
}
