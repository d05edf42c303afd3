// LEX1_Parse: takes arguments out of a list, sorts them into positional
// and keyword arguments, resolves abbreviated keyword names, and reports
// what is wrong.
#include "lex/zullx.h"

#include <string.h>

// The slot of the one name that `keyword` begins, ignoring case.  Returns
// LEX1_OK with *slot set, LEX1_UnknownKeyword or LEX1_AmbiguousKeyword.
// An exact name does not win over a longer one that it also begins.
static uint32_t resolve(const ZULLX_arg_t *keyword, const char *const *names, uint32_t count,
                        uint32_t *slot)
{
    uint32_t matches = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const char *name = names[i];
        if (name == nullptr || strlen(name) < keyword->length)
            continue;
        if (keyword->length != 0 && BSS1_Match(keyword->text, name, keyword->length) != 0)
            continue;
        if (matches++ == 0)
            *slot = i;
    }
    if (matches == 0)
        return LEX1_UnknownKeyword;
    return matches == 1 ? LEX1_OK : LEX1_AmbiguousKeyword;
}

// Stop at this argument, with the status as it stands: a call that takes
// one argument at a time has no room for the next one.
static constexpr uint32_t kLeave = 0xFFFFFFFFu;

// Puts the keyword argument `arg` in its slot of `keywords`: the slot its
// name resolves to when the caller names the keywords, else the next one
// (`taken` are taken).  LEX1_OK, kLeave, or why it cannot be taken.
static uint32_t take_keyword(ZULLX_arg_t *arg, uint32_t flags, const char *const *names,
                             ZULLX_arg_t **keywords, uint32_t maximum, uint32_t taken)
{
    if (taken >= maximum) {
        if (maximum == 0)
            return LEX1_NoKeywords;
        return (flags & LEX1_PARSE_WHOLE) ? uint32_t{LEX1_TooManyKeywords} : kLeave;
    }
    uint32_t slot = taken;
    ZULLX_arg_t *value = arg;
    if (names != nullptr) {
        uint32_t found = resolve(arg, names, maximum, &slot);
        if (found != LEX1_OK)
            return found;
        if (keywords != nullptr && keywords[slot] != nullptr)
            return LEX1_DuplicateKeyword;
        ZULLX_list_t *values = arg->values;
        if (values->count == 1) {
            value = values->first;
        } else if (flags & LEX1_PARSE_KEYLISTS) {
            arg->type = LEX1_ARG_LIST;
            arg->sublist = values;
        } else {
            return LEX1_ListNotAllowed;
        }
    }
    if (keywords != nullptr)
        keywords[slot] = value;
    return LEX1_OK;
}

// Puts the positional argument `arg` behind the `taken` ones.  LEX1_OK,
// kLeave, or why it cannot be taken.
static uint32_t take_positional(ZULLX_arg_t *arg, uint32_t flags, ZULLX_arg_t **positionals,
                                uint32_t maximum, uint32_t taken)
{
    if (taken >= maximum)
        return (flags & LEX1_PARSE_WHOLE) ? uint32_t{LEX1_TooManyPositionals} : kLeave;
    if (arg->type == LEX1_ARG_LIST && !(flags & LEX1_PARSE_LISTS))
        return LEX1_ListNotAllowed;
    if (positionals != nullptr)
        positionals[taken] = arg;
    return LEX1_OK;
}

int LEX1_Parse(ZULSS_format_t *format, ZULLX_list_t *list, uint32_t flags,
               uint32_t positionalMinimum, uint32_t *positionalCount, ZULLX_arg_t **positionals,
               uint32_t keywordMinimum, uint32_t *keywordCount, ZULLX_arg_t **keywords,
               const char *const *keywordNames)
{
    if (list == nullptr) {
        if (positionalCount != nullptr)
            *positionalCount = 0;
        if (keywordCount != nullptr)
            *keywordCount = 0;
        return LEX1_BadHandle;
    }
    const bool whole = (flags & LEX1_PARSE_WHOLE) != 0;
    uint32_t positionalMaximum =
        positionalCount != nullptr && positionals != nullptr ? *positionalCount : positionalMinimum;
    uint32_t keywordMaximum =
        keywordCount != nullptr && keywords != nullptr ? *keywordCount : keywordMinimum;

    uint32_t status = positionalMaximum == 0 && keywordMaximum == 0 ? LEX1_OK : LEX1_End;
    if (keywordNames != nullptr && keywords != nullptr)
        for (uint32_t i = 0; i < keywordMaximum; ++i)
            keywords[i] = nullptr;

    uint32_t p = 0, k = 0;
    bool took = false;
    ZULLX_arg_t *arg = list->first;
    while (arg != nullptr) {
        const bool keyword = arg->type == LEX1_ARG_KEYWORD;
        const uint32_t taken =
            keyword ? take_keyword(arg, flags, keywordNames, keywords, keywordMaximum, k)
                    : take_positional(arg, flags, positionals, positionalMaximum, p);
        if (taken != LEX1_OK) {
            if (taken != kLeave)
                status = taken;
            break;
        }
        ++(keyword ? k : p);
        arg = arg->next;
        took = true;
        status = LEX1_OK;
        if (!whole)
            break;
    }

    if (status == LEX1_OK || status == LEX1_End) {
        if (p < positionalMinimum)
            status = LEX1_PositionalRequired;
        else if (k < keywordMinimum)
            status = LEX1_KeywordRequired;
        if (status != LEX1_OK && status != LEX1_End &&
            !((flags & LEX1_PARSE_QUIET) && arg == nullptr))
            ZULLX_Report(format, status, arg);
    } else {
        ZULLX_Report(format, status, arg);
    }

    if (status != LEX1_OK) {
        p = k = 0;
    } else if (took && !whole) {
        list->first = arg;
        if (list->count != 0)
            list->count--;
    }
    if (positionalCount != nullptr)
        *positionalCount = p;
    if (keywordCount != nullptr)
        *keywordCount = k;
    return static_cast<int>(status);
}
