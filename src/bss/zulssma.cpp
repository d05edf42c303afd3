// BSS1_Match: the library's one comparison of names.
//
// Letters compare without regard to case; nothing else is special.  The
// letters are those of ASCII under every locale (internal/zulascii.h).
#include "bss/zulss.h"
#include "internal/zulascii.h"

#include <limits.h>
#include <string.h>

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
        if (a == b || ZUL_AsciiUpper(a) == ZUL_AsciiUpper(b))
            continue;
        return static_cast<signed char>(a) - static_cast<signed char>(b);
    }
    return 0;
}
