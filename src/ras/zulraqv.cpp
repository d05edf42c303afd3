// zulraqv - RAS1_QueryClassValue: read class names into a class word.
//
// Names are separated by white space or punctuation (":" and "_" too),
// compare without case, and may be cut down to the row's shortest form;
// the first row that takes a token wins, so "ST" is STATE and "STO" is
// STORAGE.  NONE is not known here.
#include "ras/zulralg.h"

#include <string.h>

#define LONGEST_NAME 16u

// White space and punctuation of the C locale, whatever the program's.
static int separator(unsigned char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r') || (c >= 0x21 && c <= 0x2F) ||
           (c >= 0x3A && c <= 0x40) || (c >= 0x5B && c <= 0x60) || (c >= 0x7B && c <= 0x7E);
}

int RAS1_QueryClassValue(uint32_t *classes, const char *text, uint32_t length)
{
    if (classes == nullptr)
        return STC1_BadArgument;
    *classes = 0;
    if (text == nullptr)
        return STC1_BadArgument;
    if (length == 0)
        length = (uint32_t)strlen(text);

    const ZULRA_class_t *table = ZULRA_ClassTable();
    uint32_t value = 0;
    uint32_t at = 0;
    for (;;) {
        while (at < length && separator((unsigned char)text[at]))
            at++;
        if (at >= length)
            break;
        uint32_t start = at;
        while (at < length && !separator((unsigned char)text[at]))
            at++;
        uint32_t n = at - start;
        if (n > LONGEST_NAME) {
            *classes = value;
            return STC1_BadArgument;
        }

        char token[LONGEST_NAME];
        for (uint32_t i = 0; i < n; i++) {
            char c = text[start + i];
            token[i] = (c >= 'a' && c <= 'z') ? (char)(c - 'a' + 'A') : c;
        }
        const ZULRA_class_t *row = table;
        while (row->value != 0 &&
               !(n >= row->minLength && n <= row->maxLength && memcmp(token, row->text, n) == 0))
            row++;
        if (row->value == 0) {
            *classes = value;
            return STC1_BadArgument;
        }
        value |= row->value;
    }
    *classes = value;
    return STC1_Success;
}
