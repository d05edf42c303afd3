// BSS1_ProcessFormat: the directive engine.
//
// The dialect looks like printf's but is its own (docs/format.md): flags,
// digits and size letters may come in any order, the zero flag works
// alone, `#` prefixes zero too, null texts and pointers print as "NULL"
// and unknown conversions vanish.  Size letters read values of their real
// widths, as printf's do.  The grammar of a directive is one table that
// the compile-time check shares (internal/zuldirective.h).  Only floating
// conversions go through sprintf.
#include "bss/zulssfmt.h"
#include "internal/zuldirective.h"
#include "internal/zulfobj.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// The engine takes its arguments through one routine of each call, `next`,
// which reads the call's own va_list in order; the parts of the engine
// name the type they take as next(as<T>).  So they read the one list that
// the call has, with no copy of it.
template <class T> constexpr std::type_identity<T> as{};

enum : unsigned {
    kBlank = ZULSS_FLAG_BLANK,
    kHash = ZULSS_FLAG_HASH,
    kPlus = ZULSS_FLAG_PLUS,
    kMinus = ZULSS_FLAG_MINUS,
    kZero = ZULSS_FLAG_ZERO,
};

// Output of one call.  Fill and short texts of a directive are put
// together here so that a padded field usually reaches the object as one
// piece; `count` is what %n reports.
struct Output {
    ZULSS_format_t *object;
    uint32_t count;
    uint32_t staged;
    char stage[ZULSS_STAGE_SIZE];
};

inline void send(Output &out, const char *text, size_t length)
{
    out.count += static_cast<uint32_t>(length);
    ZULSS_PutText(out.object, text, length);
}

inline void drain(Output &out)
{
    if (out.staged != 0) {
        send(out, out.stage, out.staged);
        out.staged = 0;
    }
}

// A run of fill goes in pieces of at most one staging area.
void fill(Output &out, char c, uint32_t length)
{
    while (length > 0) {
        if (out.staged == ZULSS_STAGE_SIZE)
            drain(out);
        uint32_t take = ZULSS_STAGE_SIZE - out.staged;
        if (take > length)
            take = length;
        memset(out.stage + out.staged, c, take);
        out.staged += take;
        length -= take;
    }
}

// Text joins the staged fill if both fit; a text longer than the staging
// area goes in directly, as a piece of its own.
void stage(Output &out, const char *text, size_t length)
{
    if (length <= ZULSS_STAGE_SIZE - out.staged) {
        memcpy(out.stage + out.staged, text, length);
        out.staged += static_cast<uint32_t>(length);
        return;
    }
    drain(out);
    if (length <= ZULSS_STAGE_SIZE) {
        memcpy(out.stage, text, length);
        out.staged = static_cast<uint32_t>(length);
    } else {
        send(out, text, length);
    }
}

// The sanitizers would call reading past a format's terminator reading
// out of bounds, so their builds take the byte-by-byte scan.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZULSS_SCAN_BYTES 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZULSS_SCAN_BYTES 1
#endif
#endif

// The first stop byte at or after `text`.  Sixteen bytes are looked at a
// time, from aligned addresses: an aligned block never reaches into the
// next page, so the bytes of a block behind the terminator may be read,
// though they are not the format's.
#if defined(__SSE2__) && !defined(ZULSS_SCAN_BYTES)
inline unsigned stops_in(const char *block)
{
    const __m128i v = _mm_load_si128(reinterpret_cast<const __m128i *>(block));
    const __m128i hit = _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('%')), _mm_cmpeq_epi8(v, _mm_set1_epi8('\n'))),
        _mm_cmpeq_epi8(v, _mm_setzero_si128()));
    return static_cast<unsigned>(_mm_movemask_epi8(hit));
}

inline const char *find_stop(const char *text)
{
    const uintptr_t skew = reinterpret_cast<uintptr_t>(text) & 15u;
    const char *block = text - skew;
    unsigned mask = stops_in(block) >> skew; // the bytes in front of `text` do not count
    if (mask != 0)
        return text + __builtin_ctz(mask);
    for (;;) {
        block += 16;
        mask = stops_in(block);
        if (mask != 0)
            return block + __builtin_ctz(mask);
    }
}
#else
// Bytes that end a stretch of literal format text: "%", the terminator and
// the line feed.
constexpr struct LiteralStops {
    bool stop[256];
    constexpr LiteralStops() : stop{}
    {
        stop[static_cast<unsigned char>('%')] = true;
        stop[0] = true;
        stop[static_cast<unsigned char>('\n')] = true;
    }
} kStops;

inline const char *find_stop(const char *text)
{
    while (!kStops.stop[static_cast<unsigned char>(*text)])
        ++text;
    return text;
}
#endif

// Puts in the literal text of the format from `text` up to the next "%"
// or the terminator.  Each stretch up to a stop byte is found by a tight
// scan first and then copied whole, record by record.  The records come
// out as ZULSS_PutText makes them: a line feed ends a record, a carriage
// return right before it in the same record's part of the piece is
// dropped, and a full record is finished as continued only when more of
// the piece follows.  Returns the address of the "%" or the terminator.
const char *put_literal(Output &out, const char *text)
{
    ZULSS_format_t *object = out.object;
    const char *at = text;
    for (;;) {
        const char *stop = find_stop(at);
        size_t left = static_cast<size_t>(stop - at);
        uint32_t last = 0; // bytes of the stretch in the open record
        while (left > 0) {
            uint32_t room = object->limit - object->used;
            if (room == 0) {
                ZULSS_FinishRecord(object, ZULSS_RECORD_CONTINUED);
                last = 0;
                continue;
            }
            uint32_t take = left < room ? static_cast<uint32_t>(left) : room;
            memcpy(object->current + 1 + object->used, at, take);
            object->used += take;
            out.count += take;
            at += take;
            left -= take;
            last = take;
        }
        if (*at != '\n')
            return at;
        if (object->used == object->limit) {
            ZULSS_FinishRecord(object, ZULSS_RECORD_CONTINUED);
            last = 0;
        }
        if (last > 0 && at[-1] == '\r')
            object->used -= 1;
        out.count += 1;
        at += 1;
        ZULSS_FinishRecord(object, 0);
    }
}

const char kLower[] = "0123456789abcdef";
const char kUpper[] = "0123456789ABCDEF";

// Two decimal digits at a time: half the divisions.
const char kPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// Writes the digits of `value` backwards so that the last one lands just
// before `end`.  `count` is the number of digits.
inline void write_digits(char *end, uint64_t value, unsigned shift, const char *digitSet)
{
    if (shift == 0) {
        // The 64-bit divisions only while the value needs them.
        while (value > UINT32_MAX) {
            uint32_t pair = static_cast<uint32_t>(value % 100);
            value /= 100;
            end -= 2;
            end[0] = kPairs[2 * pair];
            end[1] = kPairs[2 * pair + 1];
        }
        uint32_t v = static_cast<uint32_t>(value);
        while (v >= 100) {
            uint32_t pair = v % 100;
            v /= 100;
            end -= 2;
            end[0] = kPairs[2 * pair];
            end[1] = kPairs[2 * pair + 1];
        }
        if (v >= 10) {
            end -= 2;
            end[0] = kPairs[2 * v];
            end[1] = kPairs[2 * v + 1];
        } else {
            *--end = static_cast<char>('0' + v);
        }
    } else {
        uint64_t mask = (1u << shift) - 1;
        do {
            *--end = digitSet[value & mask];
            value >>= shift;
        } while (value != 0);
    }
}

// The number of decimal digits of `v`: the bit length gives the count
// within one, and one comparison settles it.
inline uint32_t decimal_count(uint32_t v)
{
    static constexpr uint32_t kPowers[10] = {1,         10,         100,      1000,
                                             10000,     100000,     1000000,  10000000,
                                             100000000, 1000000000};
    uint32_t guess = ((32 - static_cast<uint32_t>(__builtin_clz(v | 1))) * 1233) >> 12;
    return guess + ((v | 1) >= kPowers[guess]);
}

// The same for values of up to 64 bits.
inline uint32_t decimal_count64(uint64_t v)
{
    if (v <= UINT32_MAX)
        return decimal_count(static_cast<uint32_t>(v));
    static constexpr uint64_t kPowers[20] = {
        1ull, 10ull, 100ull, 1000ull, 10000ull, 100000ull, 1000000ull, 10000000ull, 100000000ull,
        1000000000ull, 10000000000ull, 100000000000ull, 1000000000000ull, 10000000000000ull,
        100000000000000ull, 1000000000000000ull, 10000000000000000ull, 100000000000000000ull,
        1000000000000000000ull, 10000000000000000000ull};
    uint32_t guess = ((64 - static_cast<uint32_t>(__builtin_clzll(v))) * 1233) >> 12;
    return guess + (v >= kPowers[guess]);
}

inline uint32_t count_digits(uint64_t value, unsigned shift)
{
    uint32_t count = 1;
    if (shift == 0) {
        count = decimal_count64(value);
    } else {
        while (value >>= shift)
            ++count;
    }
    return count;
}

inline char *repeat(char *to, char c, uint32_t n)
{
    if (n != 0) {
        memset(to, c, n);
        to += n;
    }
    return to;
}

// Puts out a number: fill, sign, prefix, zeros up to the precision, digits.
// There is always at least one digit, whatever the precision.
void number_field(Output &out, uint64_t value, unsigned shift, const char *digitSet, char sign,
            const char *prefix, uint32_t prefixLength, unsigned flags, uint32_t width,
            uint32_t precision)
{
    uint32_t count = count_digits(value, shift);

    if (!(flags & kHash))
        prefixLength = 0;
    if (precision < count)
        precision = count;
    if (sign != 0 && width != 0)
        width -= 1;
    if (prefixLength != 0)
        width = width > prefixLength ? width - prefixLength : 0;
    // The zero flag turns the field into zeros whatever else is set.
    if (width > precision && (flags & kZero)) {
        precision = width;
        width = 0;
    }
    uint32_t blanks = width > precision ? width - precision : 0;
    uint32_t signLength = sign != 0 ? 1 : 0;

    // A number holds no line end, so where it fits in the open record it
    // can be written there at once: the records come out the same as
    // through the staging area, without the copy.
    ZULSS_format_t *object = out.object;
    uint64_t total = uint64_t{blanks} + signLength + prefixLength + precision;
    if (total <= object->limit - object->used) {
        char *to = object->current + 1 + object->used;
        if (!(flags & kMinus))
            to = repeat(to, ' ', blanks);
        if (sign != 0)
            *to++ = sign;
        for (uint32_t i = 0; i < prefixLength; ++i)
            *to++ = prefix[i];
        to = repeat(to, '0', precision - count);
        to += count;
        write_digits(to, value, shift, digitSet);
        if (flags & kMinus)
            repeat(to, ' ', blanks);
        object->used += static_cast<uint32_t>(total);
        out.count += static_cast<uint32_t>(total);
        return;
    }

    char digits[24];
    write_digits(digits + count, value, shift, digitSet);
    if (!(flags & kMinus))
        fill(out, ' ', blanks);
    if (sign != 0)
        stage(out, &sign, 1);
    if (prefixLength != 0)
        stage(out, prefix, prefixLength);
    fill(out, '0', precision - count);
    stage(out, digits, count);
    if (flags & kMinus)
        fill(out, ' ', blanks);
    drain(out);
}

// An integer conversion of a value read as `raw`: its bits are cut to
// the directive's size and, for d and i, taken as signed.
void integer_field(Output &out, const ZULSS_directive_t &d, uint64_t raw)
{
    static constexpr struct { unsigned shift; const char *digits, *prefix; uint32_t prefixLength; }
        kRadix[] = {{0, kLower, nullptr, 0}, {0, kLower, nullptr, 0}, {3, kLower, "0", 1},
                    {4, kLower, "0x", 2}, {4, kUpper, "0X", 2}};
    unsigned bits = ZULSS_IntegerBits(d);
    if (bits < 64)
        raw &= (uint64_t{1} << bits) - 1;
    char sign = 0;
    if (d.value == ZULSS_RADIX_SIGNED) {
        if (bits < 64 && (raw >> (bits - 1)) != 0)
            raw |= ~uint64_t{0} << bits; // the sign spread to 64 bits
        if (static_cast<int64_t>(raw) < 0) {
            sign = '-';
            raw = 0 - raw;
        } else if (d.flags & kPlus) {
            sign = '+';
        } else if (d.flags & kBlank) {
            sign = ' ';
        }
    }
    const auto &r = kRadix[d.value];
    number_field(out, raw, r.shift, r.digits, sign, r.prefix, r.prefixLength, d.flags, d.width,
                 d.precision);
}

// n: the count so far, stored at the width of the directive's size.  A
// null pointer is skipped.
void store_count(const ZULSS_directive_t &d, void *target, uint32_t count)
{
    if (target == nullptr)
        return;
    switch (ZULSS_ArgumentOf(d)) {
    case ZULSS_argument::Count8:
        *static_cast<signed char *>(target) = static_cast<signed char>(count);
        break;
    case ZULSS_argument::Count16:
        *static_cast<int16_t *>(target) = static_cast<int16_t>(count);
        break;
    case ZULSS_argument::Count64:
        *static_cast<int64_t *>(target) = count;
        break;
    default:
        *static_cast<int32_t *>(target) = static_cast<int32_t>(count);
        break;
    }
}

void text_field(Output &out, const char *text, unsigned flags, uint32_t width, uint32_t precision,
          bool precisionPresent)
{
    if (text == nullptr) {
        send(out, "NULL", 4);
        return;
    }
    // With a precision the bytes beyond it need not exist.
    size_t length = precisionPresent ? strnlen(text, precision) : strlen(text);
    if (width <= length) {
        send(out, text, length);
        return;
    }
    if (flags & kMinus) {
        stage(out, text, length);
        fill(out, ' ', width - static_cast<uint32_t>(length));
    } else {
        fill(out, ' ', width - static_cast<uint32_t>(length));
        stage(out, text, length);
    }
    drain(out);
}

// Floating values go through sprintf: the format is built at the start of
// a buffer and sprintf writes behind it.  A long double, which only `L`
// takes, keeps its `L`; no other size letter is passed on.
template <class Real>
void real_field(Output &out, const ZULSS_directive_t &d, Real value)
{
    char *buffer = static_cast<char *>(malloc(ZULSS_REAL_BUFFER));
    if (buffer == nullptr)
        return; // no output for this directive; formatting goes on
    unsigned flags = d.flags;
    char *f = buffer;
    *f++ = '%';
    if (flags & kMinus)
        *f++ = '-';
    if (flags & kPlus)
        *f++ = '+';
    if (flags & kBlank)
        *f++ = ' ';
    if (flags & kZero)
        *f++ = '0';
    if (flags & kHash)
        *f++ = '#';
    if (d.widthPresent)
        *f++ = '*';
    if (d.precisionPresent) {
        *f++ = '.';
        *f++ = '*';
    }
    if (sizeof(Real) > sizeof(double))
        *f++ = 'L';
    *f++ = d.conversion;
    *f++ = '\0';

    char *to = f;
    size_t room = ZULSS_REAL_BUFFER - static_cast<size_t>(f - buffer);
    int w = static_cast<int>(d.width), p = static_cast<int>(d.precision);
    int written;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    if (d.widthPresent && d.precisionPresent)
        written = snprintf(to, room, buffer, w, p, value);
    else if (d.widthPresent)
        written = snprintf(to, room, buffer, w, value);
    else if (d.precisionPresent)
        written = snprintf(to, room, buffer, p, value);
    else
        written = snprintf(to, room, buffer, value);
#pragma GCC diagnostic pop
    if (written > 0) {
        // Output beyond the buffer is cut off rather than overrunning it.
        size_t length = static_cast<size_t>(written) < room ? static_cast<size_t>(written) : room - 1;
        send(out, to, length);
    }
    free(buffer);
}

} // namespace

// Copies `length` bytes, short ones in two overlapping moves rather than
// a call: most stretches of a message are a few words.
inline void copy_text(char *to, const char *from, size_t length)
{
    if (length >= 8 && length <= 16) {
        uint64_t a, b;
        memcpy(&a, from, 8);
        memcpy(&b, from + length - 8, 8);
        memcpy(to, &a, 8);
        memcpy(to + length - 8, &b, 8);
    } else if (length >= 4 && length < 8) {
        uint32_t a, b;
        memcpy(&a, from, 4);
        memcpy(&b, from + length - 4, 4);
        memcpy(to, &a, 4);
        memcpy(to + length - 4, &b, 4);
    } else if (length < 4) {
        for (size_t i = 0; i < length; i++)
            to[i] = from[i];
    } else {
        memcpy(to, from, length);
    }
}

// One conversion of the flat path, `c` with `wide` for a size letter that
// asks for 64 bits: its value, taken with `next`, goes to `to`, which has
// room for `left` bytes and at least 24.  Returns the address behind it,
// or null where the records would hold something else.
template <class Next>
static inline char *flat_conversion(char *to, size_t left, char c, bool wide, Next &next)
{
    switch (c) {
    case 'd':
    case 'i': {
        int64_t value = wide ? next(as<int64_t>) : next(as<int32_t>);
        uint64_t magnitude = static_cast<uint64_t>(value);
        if (value < 0) {
            *to++ = '-';
            magnitude = 0 - magnitude;
        }
        to += count_digits(magnitude, 0);
        write_digits(to, magnitude, 0, kLower);
        return to;
    }
    case 'u':
    case 'x':
    case 'X': {
        uint64_t value = wide ? next(as<uint64_t>) : next(as<uint32_t>);
        unsigned shift = c == 'u' ? 0 : 4;
        to += count_digits(value, shift);
        write_digits(to, value, shift, c == 'X' ? kUpper : kLower);
        return to;
    }
    case 's': {
        if (wide)
            return nullptr;
        const char *text = next(as<const char *>);
        if (text == nullptr)
            text = "NULL";
        size_t n = strlen(text);
        if (n > left || memchr(text, '\n', n) != nullptr)
            return nullptr;
        copy_text(to, text, n);
        return to + n;
    }
    case 'c': {
        char ch = static_cast<char>(next(as<int>));
        if (wide || ch == '\n')
            return nullptr;
        *to = ch;
        return to + 1;
    }
    case '%':
        if (wide)
            return nullptr;
        *to = '%';
        return to + 1;
    default:
        return nullptr;
    }
}

long ZULSS_FormatFlat(char *to, size_t room, const char *format, va_list arguments, int *ended)
{
    char *const start = to;
    char *const end = to + room;
    const char *at = format;
    *ended = 0;
    auto next = [&](auto type) { return va_arg(arguments, typename decltype(type)::type); };
    long length = -1;
    for (;;) {
        const char *stop = find_stop(at);
        size_t piece = static_cast<size_t>(stop - at);
        if (piece > static_cast<size_t>(end - to))
            break;
        copy_text(to, at, piece);
        to += piece;
        at = stop;
        if (*at == '\0') {
            length = to - start;
            break;
        }
        if (*at == '\n') {
            // The line's end, if nothing follows; a carriage return right
            // before it in the same stretch the engine would drop.
            if (at[1] != '\0' || (piece > 0 && at[-1] == '\r'))
                break;
            *ended = 1;
            length = to - start;
            break;
        }

        at += 1; // the "%"
        bool wide = false;
        char c = *at;
        if (c == 'l' || c == 'L' || c == 'q' || c == 'j' || c == 'z' || c == 'Z' || c == 't') {
            wide = true;
            at += c == 'l' && at[1] == 'l' ? 2 : 1;
            c = *at;
        }
        if (c == '\0' || static_cast<size_t>(end - to) < 24) // any number, and a character
            break;
        at += 1;
        to = flat_conversion(to, static_cast<size_t>(end - to), c, wide, next);
        if (to == nullptr)
            break;
    }
    return length;
}

int BSS1_ProcessFormat(ZULSS_format_t *object, const char *format, va_list arguments)
{
    return ZULSS_ProcessFormat(object, format, arguments);
}

namespace {

// A bare %d or %u (`c`), the commonest directives, without the parse of
// flags, width, precision and size: with no fill, sign and digits are all
// there is, and where they fit in the open record they go straight in.
// Otherwise they take the general path, which puts out the same.
template <class Next>
inline void bare_decimal(Output &out, char c, Next &next)
{
    uint32_t magnitude;
    char sign = 0;
    if (c == 'd') {
        int32_t value = next(as<int32_t>);
        magnitude = static_cast<uint32_t>(value);
        if (value < 0) {
            sign = '-';
            magnitude = 0u - magnitude;
        }
    } else {
        magnitude = next(as<uint32_t>);
    }
    ZULSS_format_t *object = out.object;
    uint32_t count = decimal_count(magnitude);
    uint32_t total = count + (sign != 0);
    if (total <= object->limit - object->used) {
        char *to = object->current + 1 + object->used;
        *to = sign;
        write_digits(to + total, magnitude, 0, kLower);
        object->used += total;
        out.count += total;
        return;
    }
    number_field(out, magnitude, 0, kLower, sign, nullptr, 0, 0, 0, 0);
}

// An integer of the directive's size, as its bits.  Values of fewer than
// 64 bits are passed as an int.
template <class Next>
inline uint64_t integer_argument(const ZULSS_directive_t &d, Next &next)
{
    if (ZULSS_IntegerBits(d) == 64)
        return next(as<uint64_t>);
    return next(as<uint32_t>);
}

// A conversion that printf has and this engine prints nothing for: the
// argument that printf would take is taken all the same, so that what
// follows reads its own.
template <class Next>
void skip_argument(const ZULSS_directive_t &d, Next &next)
{
    switch (ZULSS_ArgumentOf(d)) {
    case ZULSS_argument::LongReal:
        (void)next(as<long double>);
        break;
    case ZULSS_argument::Real:
        (void)next(as<double>);
        break;
    case ZULSS_argument::Pointer:
        (void)next(as<void *>);
        break;
    default:
        (void)integer_argument(d, next);
        break;
    }
}

// Puts out a directive that the grammar has read, with its argument.  An
// unknown conversion ends the directive with no output and takes no
// argument.
template <class Next>
void put_directive(Output &out, const ZULSS_directive_t &d, Next &next)
{
    switch (d.role) {
    case ZULSS_role::Integer:
        integer_field(out, d, integer_argument(d, next));
        break;
    case ZULSS_role::Pointer: {
        void *pointer = next(as<void *>);
        if (pointer == nullptr)
            send(out, "NULL", 4);
        else
            number_field(out, reinterpret_cast<uintptr_t>(pointer), 4, kUpper, 0, "0X", 2, d.flags,
                         d.width, d.precision);
        break;
    }
    case ZULSS_role::Char: {
        char ch = static_cast<char>(next(as<int>));
        send(out, &ch, 1);
        break;
    }
    case ZULSS_role::Text:
        text_field(out, next(as<const char *>), d.flags, d.width, d.precision,
                   d.precisionPresent);
        break;
    case ZULSS_role::Percent:
        send(out, "%", 1);
        break;
    case ZULSS_role::Count:
        store_count(d, next(as<void *>), out.count);
        break;
    case ZULSS_role::Real:
        if (d.longDouble)
            real_field(out, d, next(as<long double>));
        else
            real_field(out, d, next(as<double>));
        break;
    case ZULSS_role::Skip:
        skip_argument(d, next);
        break;
    default:
        break;
    }
}

} // namespace

int ZULSS_ProcessFormat(ZULSS_format_t *object, const char *format, va_list arguments)
{
    if (object == nullptr || format == nullptr)
        return STC1_BadArgument;

    Output out;
    out.object = object;
    out.count = 0;
    out.staged = 0;
    auto next = [&](auto type) { return va_arg(arguments, typename decltype(type)::type); };

    // One pass over the format: the text up to the next "%" or the
    // terminator is put in as one piece while it is scanned.
    const char *at = format;
    for (;;) {
        at = put_literal(out, at);
        if (*at == '\0')
            break;
        at += 1;
        if (*at == 'd' || *at == 'u') {
            bare_decimal(out, *at, next);
            at += 1;
            continue;
        }
        if (*at == 's') {
            at += 1;
            text_field(out, next(as<const char *>), 0, 0, 0, false);
            continue;
        }
        // The rest of the directive by the dialect's grammar, which the
        // compile-time check shares.  A format that ends inside a
        // directive ends there, with no output for it.
        ZULSS_directive_t d;
        at = ZULSS_ReadDirective(at, d, [&] { return next(as<uint32_t>); });
        if (d.conversion == 0)
            break;
        put_directive(out, d, next);
    }
    return STC1_Success;
}
