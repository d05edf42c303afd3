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
        if (arg->type == LEX1_ARG_KEYWORD) {
            if (k >= keywordMaximum) {
                if (keywordMaximum == 0)
                    status = LEX1_NoKeywords;
                else if (whole)
                    status = LEX1_TooManyKeywords;
                break;
            }
            uint32_t slot = k;
            ZULLX_arg_t *value = arg;
            if (keywordNames != nullptr) {
                uint32_t found = resolve(arg, keywordNames, keywordMaximum, &slot);
                if (found != LEX1_OK) {
                    status = found;
                    break;
                }
                if (keywords != nullptr && keywords[slot] != nullptr) {
                    status = LEX1_DuplicateKeyword;
                    break;
                }
                ZULLX_list_t *values = arg->values;
                if (values->count == 1) {
                    value = values->first;
                } else if (flags & LEX1_PARSE_KEYLISTS) {
                    arg->type = LEX1_ARG_LIST;
                    arg->sublist = values;
                } else {
                    status = LEX1_ListNotAllowed;
                    break;
                }
            }
            if (keywords != nullptr)
                keywords[slot] = value;
            ++k;
        } else {
            if (p >= positionalMaximum) {
                if (whole)
                    status = LEX1_TooManyPositionals;
                break;
            }
            if (arg->type == LEX1_ARG_LIST && !(flags & LEX1_PARSE_LISTS)) {
                status = LEX1_ListNotAllowed;
                break;
            }
            if (positionals != nullptr)
                positionals[p] = arg;
            ++p;
        }
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
