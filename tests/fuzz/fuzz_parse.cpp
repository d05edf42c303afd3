// Fuzz target: argument lists, read with LEX1_Parse against a fixed table
// of keyword names.
//
// Input: a control byte, then the command line.  Control bits 0-3 are the
// flags of LEX1_Parse, bits 4-5 the positional minimum, bit 6 the keyword
// minimum, bit 7 leaves out the table of names.  Without the whole-list
// flag the list is parsed one argument per call until a call fails.
//
// LEX1_ArgList must give a tree or one of its statuses.  A tree is walked
// without recursion (every list links back to its owner and parent), then
// parsed into at most 3 positionals and the 5 keyword slots; the status
// must be one of LEX1_Parse's, the counts within the maximums (0 on
// failure), every message a whole line or the open line of a missed
// minimum, and a whole-list parse must leave the list unchanged.
#include <string.h>

#include <string>

#include <zul/lex1.h>

#include "harness.h"

namespace {

const char *const kNames[] = {"unit", "units", "entry", "comp", "level"};

int collect(void *argument, char *data, uint32_t count)
{
    if (data != nullptr)
        static_cast<std::string *>(argument)->append(data, count);
    return 0;
}

// Walks the tree depth first through the links back up, checking them.
size_t walk(ZULLX_list_t *root)
{
    size_t seen = 0;
    ZULLX_list_t *list = root;
    ZULLX_arg_t *arg = root->first;
    for (;;) {
        if (arg == nullptr) {
            if (list == root)
                return seen;
            ZULLX_arg_t *owner = list->owner;
            ZUL_FUZZ_CHECK(owner != nullptr && list->root == root && list->parent == list->next);
            list = list->parent;
            arg = owner->next;
            continue;
        }
        ++seen;
        ZULLX_list_t *inner = arg->type == LEX1_ARG_LIST      ? arg->sublist
                              : arg->type == LEX1_ARG_KEYWORD ? arg->values
                                                              : nullptr;
        if (inner == nullptr) {
            ZUL_FUZZ_CHECK(arg->type == LEX1_ARG_SCALAR && arg->text[arg->length] == '\0');
            arg = arg->next;
            continue;
        }
        ZUL_FUZZ_CHECK(inner->owner == arg && inner->parent == list);
        list = inner;
        arg = inner->first;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    uint8_t control = data[0];
    uint32_t flags = control & 15, pmin = (control >> 4) & 3, kmin = (control >> 6) & 1;
    bool single = !(flags & LEX1_PARSE_WHOLE);
    const char *const *names = control & 0x80 ? nullptr : kNames;

    ZULLX_handle_t h;
    ZUL_FUZZ_CHECK(LEX1_New(&h, 2, nullptr, nullptr) == LEX1_OK);
    ZUL_FUZZ_CHECK(LEX1_String(h, reinterpret_cast<const char *>(data + 1),
                               static_cast<uint32_t>(size - 1)) == LEX1_OK);
    ZULLX_list_t *root = nullptr;
    int status = LEX1_ArgList(h, &root);
    ZUL_FUZZ_CHECK(LEX1_Delete(&h) == LEX1_OK);
    ZUL_FUZZ_CHECK(status == LEX1_OK || status == LEX1_OpenString || status == LEX1_Unbalanced);
    ZUL_FUZZ_CHECK((status == LEX1_OK) == (root != nullptr));
    if (root == nullptr)
        return 0;
    walk(root);

    std::string out;
    ZULSS_format_t *format = nullptr;
    ZUL_FUZZ_CHECK(BSS1_BeginFormat(&format, &out, collect) == 0);
    uint32_t rounds = single ? root->count + 1 : 1;
    for (uint32_t r = 0; r < rounds; ++r) {
        ZULLX_arg_t *pos[3], *kw[5];
        uint32_t pcount = 3, kcount = 5, before = root->count;
        ZULLX_arg_t *first = root->first;
        status = LEX1_Parse(format, root, flags, pmin, &pcount, pos, kmin, &kcount, kw, names);
        ZUL_FUZZ_CHECK(status == LEX1_OK || status == LEX1_End ||
                       (status >= LEX1_TooManyKeywords && status <= LEX1_KeywordRequired));
        ZUL_FUZZ_CHECK(pcount <= 3 && kcount <= 5);
        if (status != LEX1_OK)
            ZUL_FUZZ_CHECK(pcount == 0 && kcount == 0 && root->first == first);
        if (!single)
            ZUL_FUZZ_CHECK(root->count == before && root->first == first);
        if (status != LEX1_OK)
            break;
    }
    BSS1_EndFormat(format);
    ZUL_FUZZ_CHECK(LEX1_FreeArgList(root) == LEX1_OK);
    return 0;
}
