// internal/zulprint.h - a checked way for the library's own C++ code to
// write through a format object.
//
// The directive dialect is not printf's (integers are always 32 bits, the
// size letters change nothing, `p` is a pointer), so the compiler's format
// checking cannot be used on BSS1_PrintFormat.  ZULSS_Print below checks a
// literal format against the types of its arguments while compiling, so a
// 64-bit value handed to "%d" or "%lX" is an error rather than a silently
// truncated number.  Code of the library that writes through a format
// object should use it (or ZULSS_PRINT) whenever the format is a literal.
#ifndef ZUL_SRC_INTERNAL_ZULPRINT_H
#define ZUL_SRC_INTERNAL_ZULPRINT_H

#include <zul/bss1.h>

// BSS1_Format with a variable argument list.
int ZULSS_FormatText(void *argument, ZULSS_sink_t sink, const char *format, ...);

#ifdef __cplusplus

#include <cstddef>
#include <cstdint>
#include <type_traits>

// What a directive takes from the argument list, and what an argument's
// type can give.
enum class ZULSS_need : unsigned char {
    Word,  // d i u o x X c and `*`: one 32-bit integer
    Any,   // p: a pointer
    Text,  // s: a pointer to characters, or null
    Count16, // hn: a pointer to a 16-bit integer
    Count32, // n: a pointer to a 32-bit integer
    Real,  // e E f g G: a double (a float is promoted to one)
};

enum class ZULSS_given : unsigned char {
    Word,     // integer or enumeration of at most 32 bits
    Null,     // nullptr
    Chars,    // pointer to char, signed char or unsigned char
    Short,    // pointer to a 16-bit integer
    Int,      // pointer to a 32-bit integer
    Pointer,  // any other pointer
    Real,     // float or double
    Other,    // anything else: 64-bit integers, long double, records
};

template <class T>
constexpr ZULSS_given ZULSS_GivenOf()
{
    using U = std::remove_cv_t<std::decay_t<T>>;
    if constexpr (std::is_same_v<U, std::nullptr_t>) {
        return ZULSS_given::Null;
    } else if constexpr (std::is_pointer_v<U>) {
        using P = std::remove_cv_t<std::remove_pointer_t<U>>;
        if constexpr (std::is_same_v<P, char> || std::is_same_v<P, signed char> ||
                      std::is_same_v<P, unsigned char>)
            return ZULSS_given::Chars;
        else if constexpr (!std::is_integral_v<P>)
            return ZULSS_given::Pointer;
        else if constexpr (sizeof(P) == 2)
            return ZULSS_given::Short;
        else if constexpr (sizeof(P) == 4)
            return ZULSS_given::Int;
        else
            return ZULSS_given::Pointer;
    } else if constexpr (std::is_integral_v<U> && sizeof(U) <= 4) {
        return ZULSS_given::Word; // narrower ones are promoted to int
    } else if constexpr (std::is_enum_v<U> && sizeof(U) <= 4 &&
                         (sizeof(U) == 4 || std::is_convertible_v<U, int>)) {
        return ZULSS_given::Word; // a scoped enumeration is not promoted
    } else if constexpr (std::is_same_v<U, float> || std::is_same_v<U, double>) {
        return ZULSS_given::Real;
    } else {
        return ZULSS_given::Other;
    }
}

constexpr bool ZULSS_Fits(ZULSS_need need, ZULSS_given given)
{
    switch (need) {
    case ZULSS_need::Word:
        return given == ZULSS_given::Word;
    case ZULSS_need::Any:
        return given == ZULSS_given::Null || given == ZULSS_given::Chars ||
               given == ZULSS_given::Short || given == ZULSS_given::Int ||
               given == ZULSS_given::Pointer;
    case ZULSS_need::Text:
        return given == ZULSS_given::Null || given == ZULSS_given::Chars;
    case ZULSS_need::Count16:
        return given == ZULSS_given::Short;
    case ZULSS_need::Count32:
        return given == ZULSS_given::Int;
    case ZULSS_need::Real:
        return given == ZULSS_given::Real;
    }
    return false;
}

// True if `format` takes exactly as many arguments as are given, each of
// a type that its directive reads correctly.  Walks the directives by the
// same rules as the engine: flags, digits and size letters in any order,
// `*` taking a word, unknown conversions taking nothing.
template <class... Args>
consteval bool ZULSS_FormatFits(const char *format)
{
    constexpr ZULSS_given given[sizeof...(Args) + 1] = {ZULSS_GivenOf<Args>()..., ZULSS_given::Other};
    std::size_t next = 0;
    auto take = [&](ZULSS_need need) {
        if (next >= sizeof...(Args))
            return false;
        return ZULSS_Fits(need, given[next++]);
    };
    if (format == nullptr)
        return false;
    for (const char *p = format; *p; ++p) {
        if (*p != '%')
            continue;
        bool shortSize = false, longSize = false;
        for (++p;; ++p) {
            char c = *p;
            if (c == '\0')
                return next == sizeof...(Args); // ends within a directive
            if (c == ' ' || c == '#' || c == '+' || c == '-' || c == '.' || (c >= '0' && c <= '9'))
                continue;
            if (c == 'h') {
                shortSize = true;
                continue;
            }
            if (c == 'l' || c == 'L') {
                longSize = true;
                continue;
            }
            if (c == '*') {
                if (!take(ZULSS_need::Word))
                    return false;
                continue;
            }
            bool ok = true;
            switch (c) {
            case 'd': case 'i': case 'u': case 'o': case 'x': case 'X': case 'c':
                ok = take(ZULSS_need::Word);
                break;
            case 'p':
                ok = take(ZULSS_need::Any);
                break;
            case 's':
                ok = take(ZULSS_need::Text);
                break;
            case 'n':
                ok = take(shortSize && !longSize ? ZULSS_need::Count16 : ZULSS_need::Count32);
                break;
            case 'e': case 'E': case 'f': case 'g': case 'G':
                ok = take(ZULSS_need::Real);
                break;
            default: // '%' and unknown conversions take nothing
                break;
            }
            if (!ok)
                return false;
            break;
        }
    }
    return next == sizeof...(Args);
}

// Called only when a check fails; as it is not constexpr, reaching it in
// a constant evaluation stops the compilation at the offending call.
void ZULSS_FormatArgumentsDoNotMatch(void);

// A format literal that has been checked against Args.
template <class... Args>
struct ZULSS_CheckedFormat {
    const char *text;
    consteval ZULSS_CheckedFormat(const char *format) : text(format)
    {
        if (!ZULSS_FormatFits<Args...>(format))
            ZULSS_FormatArgumentsDoNotMatch();
    }
};

// BSS1_PrintFormat with a literal format checked at compile time.
template <class... Args>
inline int ZULSS_Print(ZULSS_format_t *object,
                       ZULSS_CheckedFormat<std::type_identity_t<Args>...> format, Args... args)
{
    return BSS1_PrintFormat(object, format.text, args...);
}

// BSS1_Format (text sink) with a literal format checked at compile time.
template <class... Args>
inline int ZULSS_PrintText(void *argument, ZULSS_sink_t sink,
                           ZULSS_CheckedFormat<std::type_identity_t<Args>...> format, Args... args)
{
    return ZULSS_FormatText(argument, sink, format.text, args...);
}

#define ZULSS_PRINT(object, ...) ZULSS_Print((object), __VA_ARGS__)

#endif // __cplusplus

#endif
