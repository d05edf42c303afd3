// internal/zulprint.h - a checked way for the library's own C++ code to
// write through a format object.
//
// ZULSS_Print below checks a literal format against the types of its
// arguments while compiling, by the same grammar of directives that the
// engine formats by (internal/zuldirective.h): a value narrower or wider
// than its directive reads ("%d" of a 64-bit value, "%lX" of a 32-bit
// one), a wrong kind of pointer or a wrong number of arguments is an error
// rather than a wrong number in the log, or a crash.  The compiler's own
// format check of BSS1_PrintFormat is printf's, which knows nothing of the
// dialect's own rules; code of the library that writes through a format
// object uses ZULSS_Print (or ZULSS_PRINT) whenever the format is a
// literal.
#ifndef ZUL_SRC_INTERNAL_ZULPRINT_H
#define ZUL_SRC_INTERNAL_ZULPRINT_H

#include <zul/bss1.h>

// BSS1_Format with a variable argument list, for formats that the check
// below has passed.
int ZULSS_FormatText(void *argument, ZULSS_sink_t sink, const char *format, ...);

// BSS1_PrintFormat without the compiler's printf check, for formats that
// the check below has passed.
int ZULSS_PrintChecked(ZULSS_format_t *object, const char *format, ...);

// BSS1_ProcessFormat without the compiler's printf check, for the
// library's own paths that hand on a format checked where it was written:
// the format parameter of a checked call, or a literal of the library.
int ZULSS_ProcessFormat(ZULSS_format_t *object, const char *format, va_list arguments);

#ifdef __cplusplus

#include "internal/zuldirective.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

// What an argument's type can give.
enum class ZULSS_given : unsigned char {
    Word,     // integer or enumeration of at most 32 bits
    Wide,     // integer or enumeration of 64 bits
    Null,     // nullptr
    Chars,    // pointer to char, signed char or unsigned char
    Short,    // pointer to a 16-bit integer
    Int,      // pointer to a 32-bit integer
    Long,     // pointer to a 64-bit integer
    Pointer,  // any other pointer
    Real,     // float or double
    LongReal, // long double
    Other,    // anything else: records, 128-bit integers
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
        else if constexpr (sizeof(P) == 8)
            return ZULSS_given::Long;
        else
            return ZULSS_given::Pointer;
    } else if constexpr (std::is_integral_v<U> && sizeof(U) <= 4) {
        return ZULSS_given::Word; // narrower ones are promoted to int
    } else if constexpr (std::is_integral_v<U> && sizeof(U) == 8) {
        return ZULSS_given::Wide;
    } else if constexpr (std::is_enum_v<U> && sizeof(U) <= 4 &&
                         (sizeof(U) == 4 || std::is_convertible_v<U, int>)) {
        return ZULSS_given::Word; // a scoped enumeration is not promoted
    } else if constexpr (std::is_enum_v<U> && sizeof(U) == 8) {
        return ZULSS_given::Wide;
    } else if constexpr (std::is_same_v<U, float> || std::is_same_v<U, double>) {
        return ZULSS_given::Real;
    } else if constexpr (std::is_same_v<U, long double>) {
        return ZULSS_given::LongReal;
    } else {
        return ZULSS_given::Other;
    }
}

constexpr bool ZULSS_Fits(ZULSS_argument need, ZULSS_given given)
{
    switch (need) {
    case ZULSS_argument::None:
        return true;
    case ZULSS_argument::Word:
        return given == ZULSS_given::Word;
    case ZULSS_argument::Wide:
        return given == ZULSS_given::Wide;
    case ZULSS_argument::Pointer:
        return given == ZULSS_given::Null || given == ZULSS_given::Chars ||
               given == ZULSS_given::Short || given == ZULSS_given::Int ||
               given == ZULSS_given::Long || given == ZULSS_given::Pointer;
    case ZULSS_argument::Text:
        return given == ZULSS_given::Null || given == ZULSS_given::Chars;
    case ZULSS_argument::Count8:
        return given == ZULSS_given::Chars;
    case ZULSS_argument::Count16:
        return given == ZULSS_given::Short;
    case ZULSS_argument::Count32:
        return given == ZULSS_given::Int;
    case ZULSS_argument::Count64:
        return given == ZULSS_given::Long;
    case ZULSS_argument::Real:
        return given == ZULSS_given::Real;
    case ZULSS_argument::LongReal:
        return given == ZULSS_given::LongReal;
    }
    return false;
}

// True if `format` takes exactly as many arguments as are given, each of
// a type that its directive reads correctly.  Walks the directives as the
// engine does, by the shared grammar: each `*` takes an int, then the
// conversion takes what its size says.
template <class... Args>
consteval bool ZULSS_FormatFits(const char *format)
{
    constexpr ZULSS_given given[sizeof...(Args) + 1] = {ZULSS_GivenOf<Args>()..., ZULSS_given::Other};
    std::size_t next = 0;
    bool fits = true;
    auto take = [&](ZULSS_argument need) {
        if (need == ZULSS_argument::None)
            return;
        if (next >= sizeof...(Args) || !ZULSS_Fits(need, given[next]))
            fits = false;
        next++;
    };
    if (format == nullptr)
        return false;
    for (const char *p = format; *p;) {
        if (*p++ != '%')
            continue;
        ZULSS_directive_t d;
        p = ZULSS_ReadDirective(p, d, [&] {
            take(ZULSS_argument::Word);
            return 0u;
        });
        if (d.conversion == 0)
            break; // the format ends within a directive
        take(ZULSS_ArgumentOf(d));
    }
    return fits && next == sizeof...(Args);
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
    return ZULSS_PrintChecked(object, format.text, args...);
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
