// zulranm - ZULRA_NormalizeName and ZULRA_NormalizeExit: one form for
// unit names.
//
// A unit is named after its source file, and compilers hand that name
// over with whatever path and case the build used.  Filters compare unit
// names exactly, so both sides are put in one form first: the last path
// component, without trailing blanks, in lower case.
#include "ras/zulra.h"

#include <string.h>

static int is_space(unsigned char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

void ZULRA_NormalizeName(char **text, uint32_t *length)
{
    char *t = *text;
    uint32_t n = *length;
    if (t == nullptr)
        return;

    // Cut up to each "/", then each "\", but keep a separator that ends
    // the name: "a/b/" stays "b/".
    for (;;) {
        char *cut = (char *)memchr(t, '/', n);
        if (cut == nullptr)
            cut = (char *)memchr(t, '\\', n);
        if (cut == nullptr || cut == t + n - 1)
            break;
        n -= (uint32_t)(cut + 1 - t);
        t = cut + 1;
    }
    while (n > 0 && is_space((unsigned char)t[n - 1]))
        n--;
    for (uint32_t i = 0; i < n; i++)
        if (t[i] >= 'A' && t[i] <= 'Z')
            t[i] = (char)(t[i] - 'A' + 'a');
    *text = t;
    *length = n;
}

int ZULRA_NormalizeExit(uint32_t events, void **user, ZULRA_notice_t *notice)
{
    (void)user;
    if ((events & RAS1_EXIT_UNIT) && notice->unit != nullptr)
        ZULRA_NormalizeName(&notice->unit->file, &notice->unit->fileLen);
    if ((events & RAS1_EXIT_FILTER) && notice->elements != nullptr) {
        // Only the first UNIT element: that is the one expressions make.
        for (uint32_t i = 0; i < notice->elementCount; i++) {
            ZULRA_elem_t *e = &notice->elements[i];
            if (e->type == RAS1_FILTER_UNIT) {
                ZULRA_NormalizeName(&e->text, &e->length);
                break;
            }
        }
    }
    return 0;
}
