// ZULLX_Report: the fixed messages of LEX1_Parse, with the argument that
// caused them written back as the user would type it.
#include "lex/zullx.h"
#include "internal/zulprint.h" // the checked form of BSS1_PrintFormat

static const char *message_of(uint32_t status)
{
    switch (status) {
    case LEX1_TooManyKeywords:
    case LEX1_NoKeywords:
        return "Keyword argument not allowed";
    case LEX1_UnknownKeyword:
        return "Unrecognized keyword argument";
    case LEX1_AmbiguousKeyword:
        return "Ambiguous keyword argument";
    case LEX1_DuplicateKeyword:
        return "Duplicate keyword argument";
    case LEX1_TooManyPositionals:
        return "Positional argument not allowed";
    case LEX1_ListNotAllowed:
        return "Argument list not allowed";
    case LEX1_PositionalRequired:
        return "Positional argument required";
    case LEX1_KeywordRequired:
        return "Keyword argument required";
    default:
        return nullptr;
    }
}

// Whether `list` is written in parentheses: a sublist always, a keyword's
// value list unless it holds exactly one argument.
static bool bracketed(const ZULLX_list_t *list)
{
    return list->owner->type != LEX1_ARG_KEYWORD || list->count != 1;
}

// Writes `start` and everything below it.  The walk goes down through
// `first` and back up through `owner` and `parent`, so that a tree of any
// depth is written without recursion.
static void write_argument(ZULSS_format_t *format, ZULLX_arg_t *start)
{
    const char *prefix = ": \"";
    ZULLX_arg_t *arg = start;
    ZULLX_list_t *within = nullptr; // the list that holds `arg`; null at `start`
    for (;;) {
        ZULLX_list_t *inner = nullptr;
        if (arg->type == LEX1_ARG_LIST) {
            ZULSS_Print(format, "%s(", prefix);
            inner = arg->sublist;
        } else if (arg->type == LEX1_ARG_KEYWORD) {
            ZULSS_Print(format, "%s%.*s=", prefix, static_cast<int>(arg->length),
                        static_cast<const char *>(arg->text));
            inner = arg->values;
            if (bracketed(inner))
                ZULSS_Print(format, "(");
        } else {
            ZULSS_Print(format, "%s%.*s", prefix, static_cast<int>(arg->length),
                        static_cast<const char *>(arg->text));
        }

        if (inner != nullptr && inner->first != nullptr) {
            within = inner;
            arg = inner->first;
            prefix = "";
            continue;
        }
        if (inner != nullptr && bracketed(inner))
            ZULSS_Print(format, ")");

        // On to the next argument, climbing out of every list that ends.
        for (;;) {
            if (within == nullptr)
                return;
            if (arg->next != nullptr) {
                arg = arg->next;
                prefix = " ";
                break;
            }
            if (bracketed(within))
                ZULSS_Print(format, ")");
            arg = within->owner;
            within = arg == start ? nullptr : within->parent;
        }
    }
}

void ZULLX_Report(ZULSS_format_t *format, uint32_t status, ZULLX_arg_t *argument)
{
    if (format == nullptr)
        return;
    const char *message = message_of(status);
    if (message != nullptr)
        ZULSS_Print(format, "%s", message);
    else
        ZULSS_Print(format, "Unspecified error code 0x%08lX", static_cast<unsigned long>(status));
    // Without an argument the line is left open: the console follows the
    // message with its usage text, which begins with a line end.
    if (argument != nullptr) {
        write_argument(format, argument);
        ZULSS_Print(format, "\"\n");
    }
}
