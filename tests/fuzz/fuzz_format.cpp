// Fuzz target: the format engine, with fuzzed formats over a fixed list of
// arguments.
//
// Input: a control byte (bits 0-6: the margin of the record object, bit 7:
// format twice with a flush between), a byte that sets the wanted size of
// the record area in steps of 8, then the format, up to its first zero
// byte.
//
// The arguments are always the same 30, a 32-bit integer, a text pointer
// and a double in turn.  A directive reads from that list in order, so
// before formatting the harness walks the format as the engine does and
// removes each directive whose arguments (its `*` and its conversion)
// don't match the next ones of the list, or whose width or precision
// would ask for more output than a test should make.  What is left can be
// formatted with no undefined read.  Every text pointer but one (null)
// addresses a writable, aligned buffer, so that `n` may store through it.
//
// The filtered format goes once into a record object (with the input's
// margin and size) and once into a text object.  The records must be well
// formed, and with no margin both objects must give the same lines and
// store the same counts through `n`.
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include <zul/bss1.h>

#include "harness.h"

namespace {

enum Kind { kInt, kText, kReal };
constexpr int kSlots = 30;
constexpr Kind kind_of(int slot)
{
    return static_cast<Kind>(slot % 3);
}

const int32_t kInts[10] = {42, 0, -42, 255, 8, 70000, INT32_MIN, 127, -1, 300};
const double kReals[10] = {3.25, 0.0, -1.5, 1e300, 1e-300, NAN, INFINITY, -0.0, 123456789.125,
                           -INFINITY};

// The texts: null for one slot, the others in writable buffers that are
// put back before each pass, since `n` stores into them.
constexpr size_t kTextRoom = 320;
struct alignas(8) TextBuffer {
    char bytes[kTextRoom];
};
TextBuffer texts[10];
const char *const kTextInit[10] = {
    "abc", nullptr, "", nullptr /* 300 x */, "line\r\nnext\rrest\r", "%d %s are not directives here",
    "\xff\x80 high bytes", "tab\tand\nline feed\n", "z", "0123456789"};

void reset_texts()
{
    for (int i = 0; i < 10; i++) {
        memset(texts[i].bytes, 0, kTextRoom);
        if (i == 3)
            memset(texts[i].bytes, 'x', 300); // longer than two records
        else if (kTextInit[i] != nullptr)
            strcpy(texts[i].bytes, kTextInit[i]);
    }
}

char *text_arg(int k)
{
    return k == 1 ? nullptr : texts[k].bytes;
}

// Widths and precisions above these are removed: a directive of width
// 4000000000 is valid but only fills blanks for a long time.
constexpr uint32_t kMaxField = 1000;
constexpr uint32_t kMaxRealField = 300;

// Builds the filtered format from `in` (zero-terminated).
std::string filter_format(const char *in)
{
    std::string out;
    int slot = 0;
    const char *at = in;
    while (*at != '\0') {
        if (*at != '%') {
            out += *at++;
            continue;
        }
        const char *start = at++;
        int next = slot;
        bool fits = true;
        uint32_t width = 0, precision = 0;
        bool precisionPresent = false;
        Kind want = kInt;
        bool needs = false;
        bool finished = false;
        while (*at != '\0' && !finished) {
            unsigned char c = static_cast<unsigned char>(*at++);
            uint32_t &number = precisionPresent ? precision : width;
            switch (c) {
            case ' ': case '#': case '+': case '-': case 'h': case 'l': case 'L':
                break;
            case '0':
                number *= 10;
                break;
            case '1': case '2': case '3': case '4': case '5':
            case '6': case '7': case '8': case '9':
                number = number * 10 + (c - '0');
                break;
            case '*':
                if (next < kSlots && kind_of(next) == kInt)
                    number = static_cast<uint32_t>(kInts[next / 3]);
                else
                    fits = false;
                next++;
                break;
            case '.':
                precisionPresent = true;
                break;
            case 'd': case 'i': case 'u': case 'o': case 'x': case 'X': case 'c':
                want = kInt, needs = true, finished = true;
                break;
            case 'p': case 's': case 'n':
                want = kText, needs = true, finished = true;
                break;
            case 'e': case 'E': case 'f': case 'g': case 'G':
                want = kReal, needs = true, finished = true;
                break;
            default: // '%' and unknown conversions take nothing
                finished = true;
                break;
            }
        }
        if (!finished) {
            // The format ends inside the directive: the engine stops there
            // and reads nothing more; keep it only if its `*`s fit.
            if (fits && width <= kMaxField && precision <= kMaxField)
                out.append(start, at);
            break;
        }
        if (needs) {
            fits = fits && next < kSlots && kind_of(next) == want;
            next++;
        }
        uint32_t cap = needs && want == kReal ? kMaxRealField : kMaxField;
        if (fits && width <= cap && precision <= cap) {
            out.append(start, at);
            slot = next;
        }
    }
    return out;
}

#define ZUL_FUZZ_I(k) kInts[k]
#define ZUL_FUZZ_T(k) text_arg(k)
#define ZUL_FUZZ_D(k) kReals[k]
#define ZUL_FUZZ_ROW(k) ZUL_FUZZ_I(k), ZUL_FUZZ_T(k), ZUL_FUZZ_D(k)

void print_fixed(ZULSS_format_t *object, const char *format)
{
    BSS1_PrintFormat(object, format, ZUL_FUZZ_ROW(0), ZUL_FUZZ_ROW(1), ZUL_FUZZ_ROW(2),
                     ZUL_FUZZ_ROW(3), ZUL_FUZZ_ROW(4), ZUL_FUZZ_ROW(5), ZUL_FUZZ_ROW(6),
                     ZUL_FUZZ_ROW(7), ZUL_FUZZ_ROW(8), ZUL_FUZZ_ROW(9));
}

struct Collected {
    std::vector<std::string> lines;
    uint32_t margin = 0;
    bool ended = false;
};

// A record sink: checks the batch and keeps the record texts.
int record_sink(void *argument, char *data, uint32_t count)
{
    Collected *c = static_cast<Collected *>(argument);
    ZUL_FUZZ_CHECK(!c->ended);
    if (data == nullptr) {
        ZUL_FUZZ_CHECK(count == 0);
        c->ended = true;
        return 0;
    }
    ZUL_FUZZ_CHECK(count > 0);
    const char *p = data;
    for (uint32_t i = 0; i < count; i++) {
        uint32_t length = static_cast<unsigned char>(*p) & ZULSS_RECORD_LENGTH;
        ZUL_FUZZ_CHECK(length >= c->margin);
        ZUL_FUZZ_CHECK(memchr(p + 1 + c->margin, '\n', length - c->margin) == nullptr);
        c->lines.emplace_back(p + 1 + c->margin, length - c->margin);
        p += 1 + length;
    }
    ZUL_FUZZ_CHECK(*p == '\0');
    return 0;
}

// A text sink: every line ends with a line feed.
int text_sink(void *argument, char *data, uint32_t count)
{
    Collected *c = static_cast<Collected *>(argument);
    ZUL_FUZZ_CHECK(!c->ended);
    if (data == nullptr) {
        ZUL_FUZZ_CHECK(count == 0);
        c->ended = true;
        return 0;
    }
    ZUL_FUZZ_CHECK(count > 0 && data[count - 1] == '\n');
    const char *p = data, *end = data + count;
    while (p < end) {
        const char *lf = static_cast<const char *>(memchr(p, '\n', static_cast<size_t>(end - p)));
        ZUL_FUZZ_CHECK(lf - p <= 127);
        c->lines.emplace_back(p, static_cast<size_t>(lf - p));
        p = lf + 1;
    }
    return 0;
}

void run(ZULSS_format_t *object, const char *format, bool twice)
{
    print_fixed(object, format);
    if (twice) {
        BSS1_FlushFormat(object);
        print_fixed(object, format);
    }
    BSS1_EndFormat(object);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2)
        return -1;
    uint32_t margin = data[0] & 0x7Fu;
    bool twice = (data[0] & 0x80u) != 0;
    uint32_t area = data[1] * 8u;
    std::string raw(reinterpret_cast<const char *>(data + 2), size - 2);
    std::string format = filter_format(raw.c_str());

    Collected records;
    records.margin = margin < 127 ? margin : 0;
    ZULSS_format_t *object = nullptr;
    reset_texts();
    ZUL_FUZZ_CHECK(BSS1_NewFormat(&object, &records, record_sink, area, margin) == STC1_Success);
    run(object, format.c_str(), twice);
    ZUL_FUZZ_CHECK(records.ended);
    TextBuffer stored[10];
    memcpy(stored, texts, sizeof texts);

    Collected lines;
    reset_texts();
    ZUL_FUZZ_CHECK(BSS1_BeginFormat(&object, &lines, text_sink) == STC1_Success);
    run(object, format.c_str(), twice);
    ZUL_FUZZ_CHECK(lines.ended);

    // `n` counts what was put out, whatever the margin.
    ZUL_FUZZ_CHECK(memcmp(stored, texts, sizeof texts) == 0);
    if (records.margin == 0)
        ZUL_FUZZ_CHECK(records.lines == lines.lines);
    return 0;
}
