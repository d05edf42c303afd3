// zulraset - ZULRA_SetCommand: `ras1 set`, the default class and filters
// from a console line.
//
// The arguments are read one at a time.  Words at the top level are class
// names for the default class, which is set once, when the top list runs
// out.  A parenthesised list collects keywords (unit=, entry=, comp=,
// level=, abbreviated in any case) and class names for one filter, which
// is made when the list runs out.  Keywords at the top level, and class
// names of a list without keywords, stay pending for the next list to
// end; so `ras1 set (unit=zulcr) (FLOW)` makes one filter of both.
//
// A list nested inside a list is refused by LEX1_Parse (its message goes
// to the console) and ends the work; what was applied before stays.
#include "ras/zulralg.h"

#include <zul/lex1.h>

#include "internal/zulprint.h"

// The element types of the keywords, in the order of their names.
static constinit const char *const kKeywordNames[] = {"unit", "entry", "comp", "level"};
static constinit const int32_t kKeywordTypes[] = {RAS1_FILTER_UNIT, RAS1_FILTER_ENTRY,
                                                  RAS1_FILTER_COMP, RAS1_FILTER_LEVEL};

// A filter holds at most this many elements.
#define MAX_ELEMENTS 7u

// What one set line has collected and not yet applied.
typedef struct pending {
    uint32_t topClasses, topCount;       // class names of the top level
    uint32_t filterClasses, filterCount; // class names of a parenthesised list
    ZULRA_elem_t elements[MAX_ELEMENTS];
    uint32_t elementCount;
} pending_t;

static void take_class(ZULSS_format_t *format, pending_t *p, int top, const ZULLX_arg_t *word)
{
    // NONE, the one row whose value is 0, is a name here like any other.
    const ZULRA_class_t *row = ZULRA_FindClass(word->text, word->length, 1);
    if (row == nullptr) {
        ZULSS_Print(format, "RAS1 class not recognized: %.*s\n", word->length, word->text);
        return;
    }
    // The count, not the word, says that a name was given: NONE is 0.
    if (top) {
        p->topClasses |= row->value;
        p->topCount++;
    } else {
        p->filterClasses |= row->value;
        p->filterCount++;
    }
}

// Keyword `k` (an index into the names) with its value.
static void take_element(ZULSS_format_t *format, pending_t *p, uint32_t k,
                         const ZULLX_arg_t *value)
{
    // A value that is a list has no text; an empty value names nothing.
    if (value->type == LEX1_ARG_LIST || value->length == 0)
        return;
    if (p->elementCount == MAX_ELEMENTS) {
        ZULSS_Print(format, "Too many filter elements: %s=%.*s\n", kKeywordNames[k],
                    value->length, value->text);
        return;
    }
    ZULRA_elem_t *e = &p->elements[p->elementCount++];
    e->text = value->text; // writable: the tree's own copy
    e->length = value->length;
    e->type = kKeywordTypes[k];
}

// A list has run out.  `top` says whether it was a list where lists are
// allowed, which is the top level of the command.
static void list_ended(ZULSS_format_t *format, pending_t *p, int top)
{
    if (top) {
        if (p->topCount == 0)
            return;
        int status = RAS1_SetClass(nullptr, p->topClasses);
        if (status != STC1_Success && status != STC1_Warning)
            ZULSS_Print(format, "RAS1_SetClass(%d)\n", status);
        p->topClasses = 0;
        p->topCount = 0;
        return;
    }
    if (p->elementCount == 0 || p->filterCount == 0)
        return; // both stay pending for the next list
    int status = RAS1_NewFilter(nullptr, p->filterClasses, p->elements, p->elementCount, 0, 0);
    if (status != STC1_Success && status != STC1_Warning)
        ZULSS_Print(format, "RAS1_NewFilter(%d)\n", status);
    p->filterClasses = 0;
    p->filterCount = 0;
    p->elementCount = 0;
}

int ZULRA_SetCommand(ZULSS_format_t *format, ZULLX_list_t *list)
{
    pending_t p = {};
    uint32_t flags = LEX1_PARSE_LISTS;
    ZULLX_list_t *current = list;

    while (current != nullptr) {
        ZULLX_arg_t *positional[1] = {nullptr};
        ZULLX_arg_t *keywords[4] = {nullptr, nullptr, nullptr, nullptr};
        uint32_t positionalCount = 1, keywordCount = 4;
        int status = LEX1_Parse(format, current, flags, 0, &positionalCount, positional, 0,
                                &keywordCount, keywords, kKeywordNames);
        if (status != LEX1_OK && status != LEX1_End)
            return 1;

        if (status == LEX1_End) {
            // Go on in the enclosing list, where lists are allowed again.
            int top = (flags & LEX1_PARSE_LISTS) != 0;
            current = current->next;
            if (current != nullptr)
                flags |= LEX1_PARSE_LISTS;
            list_ended(format, &p, top);
            continue;
        }

        if (positionalCount == 1 && positional[0] != nullptr) {
            ZULLX_arg_t *arg = positional[0];
            if (arg->type == LEX1_ARG_LIST) {
                flags &= ~LEX1_PARSE_LISTS;
                current = arg->sublist;
                continue;
            }
            take_class(format, &p, (flags & LEX1_PARSE_LISTS) != 0, arg);
        }
        for (uint32_t k = 0; k < 4; k++)
            if (keywords[k] != nullptr)
                take_element(format, &p, k, keywords[k]);
    }
    return 0;
}
