// internal/zuldirective.h - the grammar of the format dialect's
// directives: what each character inside a directive means, and what a
// conversion takes from the argument list at each size.
//
// The engine formats by this grammar (bss/zulsspr.cpp), the compile-time
// check of the library's own formats walks formats by it
// (internal/zulprint.h), and so does the format fuzz target: the three can
// never read a directive differently.  Everything here is constexpr.
//
// Size letters read values of their real widths on this platform, as the
// C library's printf does: `hh` a char, `h` a short, none an int, `l`,
// `ll`, `L`, `q`, `j`, `z`, `Z` and `t` 64 bits; `L` before a floating
// conversion a long double.  Conversions that printf knows but this
// dialect does not print (`a A F C S b B`) still take the argument printf
// would take, so that a format that the compiler's format check accepts
// never shifts the arguments behind it.
#ifndef ZUL_SRC_INTERNAL_ZULDIRECTIVE_H
#define ZUL_SRC_INTERNAL_ZULDIRECTIVE_H

#ifdef __cplusplus

#include <cstdint>

// What a character does inside a directive.
enum class ZULSS_role : unsigned char {
    Unknown, // ends the directive with no output and takes nothing
    Flag,    // `value` is its flag bit (ZULSS_FLAG_...)
    Zero,    // the zero flag while the number being read is 0, else a digit
    Digit,   // 1 to 9; `value` is the digit
    Star,    // the number being read comes from the argument list
    Dot,     // a precision follows
    Size,    // `value` is its ZULSS_SIZE_... letter class
    Integer, // d i u o x X; `value` is its ZULSS_RADIX_...
    Pointer, // p
    Text,    // s
    Char,    // c
    Percent, // %
    Count,   // n
    Real,    // e E f g G
    Skip,    // a A F C S b B: no output; `value` is the ZULSS_SKIP_... of what it takes
};

enum : unsigned char {
    ZULSS_FLAG_BLANK = 1u << 0, // blank before a non-negative signed number
    ZULSS_FLAG_HASH = 1u << 1,  // the conversion's prefix
    ZULSS_FLAG_PLUS = 1u << 2,  // plus sign before a non-negative signed number
    ZULSS_FLAG_MINUS = 1u << 3, // justify left
    ZULSS_FLAG_ZERO = 1u << 4,  // fill with zeros
    ZULSS_FLAG_NONE = 1u << 5,  // ' and I: read, with no effect here
};

enum : unsigned char {
    ZULSS_SIZE_HALF = 1, // h: hh is two of them
    ZULSS_SIZE_LONG = 2, // l: ll is two of them
    ZULSS_SIZE_WIDE = 3, // q j z Z t: 64 bits
    ZULSS_SIZE_LD = 4,   // L: 64 bits, and a long double for a floating conversion
};

enum : unsigned char {
    ZULSS_RADIX_SIGNED = 0, // d i
    ZULSS_RADIX_DECIMAL,    // u
    ZULSS_RADIX_OCTAL,      // o
    ZULSS_RADIX_LOWER,      // x
    ZULSS_RADIX_UPPER,      // X
};

enum : unsigned char {
    ZULSS_SKIP_REAL = 0, // a A F: a double, or a long double with L
    ZULSS_SKIP_WORD,     // C: a wint_t
    ZULSS_SKIP_POINTER,  // S: a pointer to wide characters
    ZULSS_SKIP_INTEGER,  // b B: an integer of the directive's size
};

struct ZULSS_charclass {
    ZULSS_role role;
    unsigned char value;
};

// The class of every byte.  Bytes not named here are Unknown.
struct ZULSS_grammar_t {
    ZULSS_charclass of[256];
    constexpr ZULSS_grammar_t() : of{}
    {
        // Each of `letters` gets `role` and `value`.
        auto set = [this](const char *letters, ZULSS_role role, unsigned char value = 0) {
            for (; *letters != 0; ++letters)
                of[static_cast<unsigned char>(*letters)] = {role, value};
        };
        set(" ", ZULSS_role::Flag, ZULSS_FLAG_BLANK);
        set("#", ZULSS_role::Flag, ZULSS_FLAG_HASH);
        set("+", ZULSS_role::Flag, ZULSS_FLAG_PLUS);
        set("-", ZULSS_role::Flag, ZULSS_FLAG_MINUS);
        set("'I", ZULSS_role::Flag, ZULSS_FLAG_NONE);
        set("0", ZULSS_role::Zero);
        for (char d = '1'; d <= '9'; ++d)
            of[static_cast<unsigned char>(d)] = {ZULSS_role::Digit, static_cast<unsigned char>(d - '0')};
        set("*", ZULSS_role::Star);
        set(".", ZULSS_role::Dot);
        set("h", ZULSS_role::Size, ZULSS_SIZE_HALF);
        set("l", ZULSS_role::Size, ZULSS_SIZE_LONG);
        set("L", ZULSS_role::Size, ZULSS_SIZE_LD);
        set("qjzZt", ZULSS_role::Size, ZULSS_SIZE_WIDE);
        set("di", ZULSS_role::Integer, ZULSS_RADIX_SIGNED);
        set("u", ZULSS_role::Integer, ZULSS_RADIX_DECIMAL);
        set("o", ZULSS_role::Integer, ZULSS_RADIX_OCTAL);
        set("x", ZULSS_role::Integer, ZULSS_RADIX_LOWER);
        set("X", ZULSS_role::Integer, ZULSS_RADIX_UPPER);
        set("p", ZULSS_role::Pointer);
        set("s", ZULSS_role::Text);
        set("c", ZULSS_role::Char);
        set("%", ZULSS_role::Percent);
        set("n", ZULSS_role::Count);
        set("eEfgG", ZULSS_role::Real);
        set("aAF", ZULSS_role::Skip, ZULSS_SKIP_REAL);
        set("C", ZULSS_role::Skip, ZULSS_SKIP_WORD);
        set("S", ZULSS_role::Skip, ZULSS_SKIP_POINTER);
        set("bB", ZULSS_role::Skip, ZULSS_SKIP_INTEGER);
    }
};

inline constexpr ZULSS_grammar_t ZULSS_grammar;

// One directive as read: flags, width and precision, the size letters,
// and the character that ended it.
struct ZULSS_directive_t {
    unsigned flags;
    uint32_t width, precision;
    bool widthPresent, precisionPresent;
    unsigned char halves, longs; // h and l letters seen
    bool wide, longDouble;       // q j z Z t seen; L seen
    ZULSS_role role;             // of `conversion`
    unsigned char value;         // the conversion's class value
    char conversion;             // 0: the format ended inside the directive
};

// Reads the directive whose characters start at `at`, just behind its
// "%", into `d`, and returns the address behind its conversion (or of the
// terminator when the format ends inside it).  The characters come in
// any order until a conversion ends the directive; `star()` gives the
// value of each `*` from the argument list.
template <class Star>
constexpr const char *ZULSS_ReadDirective(const char *at, ZULSS_directive_t &d, Star &&star)
{
    d = ZULSS_directive_t{};
    for (;;) {
        unsigned char c = static_cast<unsigned char>(*at);
        if (c == 0)
            return at;
        ++at;
        ZULSS_charclass k = ZULSS_grammar.of[c];
        uint32_t &number = d.precisionPresent ? d.precision : d.width;
        bool &present = d.precisionPresent ? d.precisionPresent : d.widthPresent;
        switch (k.role) {
        case ZULSS_role::Flag:
            d.flags |= k.value;
            continue;
        case ZULSS_role::Zero:
            if (number == 0) {
                d.flags |= ZULSS_FLAG_ZERO;
                continue;
            }
            number *= 10;
            present = true;
            continue;
        case ZULSS_role::Digit:
            number = number * 10 + k.value;
            present = true;
            continue;
        case ZULSS_role::Star:
            // Taken as unsigned: a negative value is not turned into left
            // justification or an absent precision.
            number = star();
            present = true;
            continue;
        case ZULSS_role::Dot:
            d.precisionPresent = true;
            continue;
        case ZULSS_role::Size:
            if (k.value == ZULSS_SIZE_HALF)
                d.halves = static_cast<unsigned char>(d.halves < 2 ? d.halves + 1 : 2);
            else if (k.value == ZULSS_SIZE_LONG)
                d.longs = static_cast<unsigned char>(d.longs < 2 ? d.longs + 1 : 2);
            else if (k.value == ZULSS_SIZE_LD)
                d.longDouble = true;
            else
                d.wide = true;
            continue;
        default:
            d.role = k.role;
            d.value = k.value;
            d.conversion = static_cast<char>(c);
            return at;
        }
    }
}

// The bits of an integer conversion's value: any of l, ll, L, q, j, z, Z
// and t make 64 (they all name 64-bit types here, and a long letter wins
// over a short one), else hh 8, h 16, and none 32.
constexpr unsigned ZULSS_IntegerBits(const ZULSS_directive_t &d)
{
    if (d.longs != 0 || d.wide || d.longDouble)
        return 64;
    return d.halves == 0 ? 32 : d.halves == 1 ? 16 : 8;
}

// What a directive takes from the argument list, after its `*`s.
enum class ZULSS_argument : unsigned char {
    None,
    Word,      // an int, or anything narrower, promoted to one
    Wide,      // a 64-bit integer
    Pointer,   // any pointer
    Text,      // a pointer to characters, or null
    Count8,    // pointers to the integer that n stores into
    Count16,
    Count32,
    Count64,
    Real,      // a double (a float is promoted to one)
    LongReal,  // a long double
};

constexpr ZULSS_argument ZULSS_ArgumentOf(const ZULSS_directive_t &d)
{
    unsigned bits = ZULSS_IntegerBits(d);
    switch (d.role) {
    case ZULSS_role::Integer:
        return bits == 64 ? ZULSS_argument::Wide : ZULSS_argument::Word;
    case ZULSS_role::Char:
        return ZULSS_argument::Word;
    case ZULSS_role::Pointer:
        return ZULSS_argument::Pointer;
    case ZULSS_role::Text:
        return ZULSS_argument::Text;
    case ZULSS_role::Count:
        return bits == 64   ? ZULSS_argument::Count64
               : bits == 32 ? ZULSS_argument::Count32
               : bits == 16 ? ZULSS_argument::Count16
                            : ZULSS_argument::Count8;
    case ZULSS_role::Real:
        return d.longDouble ? ZULSS_argument::LongReal : ZULSS_argument::Real;
    case ZULSS_role::Skip:
        switch (d.value) {
        case ZULSS_SKIP_REAL:
            return d.longDouble ? ZULSS_argument::LongReal : ZULSS_argument::Real;
        case ZULSS_SKIP_WORD:
            return ZULSS_argument::Word;
        case ZULSS_SKIP_POINTER:
            return ZULSS_argument::Pointer;
        default:
            return bits == 64 ? ZULSS_argument::Wide : ZULSS_argument::Word;
        }
    default:
        return ZULSS_argument::None;
    }
}

#endif // __cplusplus

#endif
