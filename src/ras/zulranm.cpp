// zulranm - ZULRA_NormalizeName and ZULRA_NormalizeUnit: one form for
// unit names.
//
// A unit is named after its source file, and compilers hand that name
// over with whatever path and case the build used.  Filters compare unit
// names exactly, so both sides are put in one form first: the last path
// component, without trailing blanks, in lower case.
//
// A unit's name is put in that form when the unit is registered, under
// the anchor's lock, before the unit is published; the first UNIT text of
// a filter in RAS1_NewFilter itself, before anything else sees it.  Both
// happen whether or not the trace has started.
#include "ras/zulra.h"

#include <string.h>

#include "internal/zulascii.h"

void ZULRA_NormalizeName(char **text, uint32_t *length)
{
    char *t = *text;
    uint32_t n = *length;
    if (t == nullptr)
        return;

    // Cut up to each "/", then each "\", but keep a separator that ends
    // the name: "a/b/" stays "b/".
    for (;;) {
        char *cut = static_cast<char *>(memchr(t, '/', n));
        if (cut == nullptr)
            cut = static_cast<char *>(memchr(t, '\\', n));
        if (cut == nullptr || cut == t + n - 1)
            break;
        n -= static_cast<uint32_t>(cut + 1 - t);
        t = cut + 1;
    }
    while (n > 0 && ZUL_AsciiSpace(static_cast<unsigned char>(t[n - 1])))
        n--;
    for (uint32_t i = 0; i < n; i++)
        t[i] = static_cast<char>(ZUL_AsciiLower(static_cast<unsigned char>(t[i])));
    *text = t;
    *length = n;
}

void ZULRA_NormalizeUnit(ZULRA_unit_t *unit)
{
    ZUL_ASSERT_HELD(&ZULRA_anchor.lock);
    if (unit->file == nullptr)
        return;
    char *end = unit->file + unit->fileLen;
    ZULRA_NormalizeName(&unit->file, &unit->fileLen);
    // The name is a C string too: a cut trailing blank gives way to the
    // zero byte.  Only the cut touches the text behind the new length, and
    // only inside the old one.
    if (unit->file + unit->fileLen != end)
        unit->file[unit->fileLen] = '\0';
}
