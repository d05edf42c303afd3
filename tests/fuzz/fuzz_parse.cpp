// Fuzz target: argument lists, read with LEX1_ArgList and parsed with
// LEX1_Parse against a fixed table of keyword names.
//
// Input: a control byte, then the command line.  Control bits 0-3 are the
// flags of LEX1_Parse, bits 4-5 the positional minimum, bit 6 the keyword
// minimum, bit 7 leaves out the table of names.  Without the whole-list
// flag the list is parsed one argument per call until a call fails.
#include <zul/lex1.h>

#include "harness.h"

static const char *const kNames[] = {"unit", "units", "entry", "comp", "level"};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    uint8_t control = data[0];
    uint32_t flags = control & 15, pmin = (control >> 4) & 3, kmin = (control >> 6) & 1;
    ZULLX_handle_t h;
    ZUL_FUZZ_CHECK(LEX1_New(&h, 2, nullptr, nullptr) == LEX1_OK);
    LEX1_String(h, reinterpret_cast<const char *>(data + 1), static_cast<uint32_t>(size - 1));
    ZULLX_list_t *root = nullptr;
    int status = LEX1_ArgList(h, &root);
    ZUL_FUZZ_CHECK(LEX1_Delete(&h) == LEX1_OK);
    ZUL_FUZZ_CHECK((status == LEX1_OK) == (root != nullptr));
    if (root == nullptr)
        return 0;
    ZULSS_format_t *format = nullptr; // the messages go nowhere
    auto sink = [](void *, char *, uint32_t) { return 0; };
    ZUL_FUZZ_CHECK(BSS1_BeginFormat(&format, nullptr, sink) == 0);
    uint32_t rounds = (flags & LEX1_PARSE_WHOLE) ? 1 : root->count + 1;
    for (uint32_t r = 0; r < rounds; ++r) {
        ZULLX_arg_t *pos[3], *kw[5];
        uint32_t pcount = 3, kcount = 5;
        status = LEX1_Parse(format, root, flags, pmin, &pcount, pos, kmin, &kcount, kw,
                            control & 0x80 ? nullptr : kNames);
        ZUL_FUZZ_CHECK(pcount <= 3 && kcount <= 5);
        if (status != LEX1_OK)
            break;
    }
    BSS1_EndFormat(format);
    ZUL_FUZZ_CHECK(LEX1_FreeArgList(root) == LEX1_OK);
    return 0;
}
