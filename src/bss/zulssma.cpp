// BSS1_Match: the library's one comparison of names.
//
// Letters compare without regard to case; nothing else is special.  The
// classes are those of the C locale, written out here rather than taken
// from <ctype.h>, whose answers follow whatever locale the host program
// has set: under a Turkish locale toupper('i') is not 'I', and under a
// Latin-1 locale bytes above 0x7F would become letters.
#include "bss/zulss.h"

#include <limits.h>
#include <string.h>

static inline unsigned char fold_case(unsigned char c)
{
    return (c >= 'a' && c <= 'z') ? static_cast<unsigned char>(c - ('a' - 'A')) : c;
}

static inline int clamp(ptrdiff_t difference)
{
    if (difference > INT_MAX)
        return INT_MAX;
    if (difference < INT_MIN)
        return INT_MIN;
    return static_cast<int>(difference);
}

int BSS1_Match(const char *first, const char *second, uint32_t length)
{
    if (first == nullptr || second == nullptr)
        return first == second ? 0 : (first == nullptr ? -1 : 1);

    size_t count = length;
    if (count == 0) {
        // Texts of different lengths never match; the difference of the
        // lengths orders them without reading a byte.
        size_t a = strlen(first), b = strlen(second);
        if (a != b)
            return clamp(static_cast<ptrdiff_t>(a) - static_cast<ptrdiff_t>(b));
        count = a;
    }

    // A given length is the caller's promise that both texts have that
    // many bytes: zero bytes do not end the comparison.
    for (size_t i = 0; i < count; ++i) {
        unsigned char a = static_cast<unsigned char>(first[i]);
        unsigned char b = static_cast<unsigned char>(second[i]);
        if (a == b || fold_case(a) == fold_case(b))
            continue;
        return static_cast<signed char>(a) - static_cast<signed char>(b);
    }
    return 0;
}
