// zulraqv - RAS1_QueryClassValue: read class names into a class word.
//
// Names are separated by white space or punctuation (":" and "_" too),
// compare without case, and may be cut down to the row's shortest form;
// the first row that takes a token wins, so "ST" is STATE and "STO" is
// STORAGE.  NONE is not known here.
#include "ras/zulralg.h"

#include <string.h>

#include "internal/zulascii.h"

#define LONGEST_NAME 16u

// White space and punctuation of the C locale, whatever the program's.
static bool separator(char c)
{
    unsigned char u = static_cast<unsigned char>(c);
    return ZUL_AsciiSpace(u) || ZUL_AsciiPunct(u);
}

int RAS1_QueryClassValue(uint32_t *classes, const char *text, uint32_t length)
{
    if (classes == nullptr)
        return STC1_BadArgument;
    *classes = 0;
    if (text == nullptr)
        return STC1_BadArgument;
    if (length == 0)
        length = static_cast<uint32_t>(strlen(text));

    uint32_t value = 0;
    uint32_t at = 0;
    for (;;) {
        while (at < length && separator(text[at]))
            at++;
        if (at >= length)
            break;
        uint32_t start = at;
        while (at < length && !separator(text[at]))
            at++;
        uint32_t n = at - start;
        const ZULRA_class_t *row = n > LONGEST_NAME ? nullptr : ZULRA_FindClass(text + start, n, 0);
        if (row == nullptr) {
            *classes = value;
            return STC1_BadArgument;
        }
        value |= row->value;
    }
    *classes = value;
    return STC1_Success;
}
