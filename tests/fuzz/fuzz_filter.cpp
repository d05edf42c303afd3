// Fuzz target: the filter expression language, RAS1_InterpretString.
//
// The input is the expression.  It is also written as the file "in" of the
// harness's directory, beside a file "f" of sound lines and a file "self"
// that includes itself, so "<in", "<f" and "(<self)" reach inclusion with
// the guard of harness.h bounding what may be opened.
//
// After each input: the result must be one of the statuses the language
// gives, and the filter list must be in order of weight with odd, unique
// identifiers and texts that are not empty.  Then the filters the input made are destroyed and the
// default class put back, so that inputs do not pile up state.
#include <stdlib.h>
#include <string.h>

#include <initializer_list>

#include "harness.h"
#include "ras/zulra.h"

namespace {

constexpr unsigned kOpens = 16;
uint32_t initialClass;

void check_filters(ZULRA_pcb_t *block)
{
    ZULRA_filter_t *end = reinterpret_cast<ZULRA_filter_t *>(&block->filters);
    ZULRA_filter_t *prev = end;
    uint32_t weight = UINT32_MAX;
    for (ZULRA_filter_t *f = static_cast<ZULRA_filter_t *>(block->filters.next); f != end;
         prev = f, f = f->next) {
        ZUL_FUZZ_CHECK(f->prev == prev);
        ZUL_FUZZ_CHECK(f->weight <= weight);
        ZUL_FUZZ_CHECK(f->weight == f->savedWeight && f->weight >= 1);
        ZUL_FUZZ_CHECK(f->id % 2 == 1);
        ZUL_FUZZ_CHECK(f->lineLow == 0 && f->lineHigh == UINT32_MAX);
        for (ZULRA_spe_t *s : {f->unitName, f->entryName, f->levelName, f->compName})
            ZUL_FUZZ_CHECK(s == nullptr || s == &ZULRA_noSpe || s->length > 0);
        for (ZULRA_filter_t *g = static_cast<ZULRA_filter_t *>(block->filters.next); g != f;
             g = g->next)
            ZUL_FUZZ_CHECK(g->id != f->id);
        weight = f->weight;
    }
}

void reset(ZULRA_pcb_t *block)
{
    ZULRA_filter_t *end = reinterpret_cast<ZULRA_filter_t *>(&block->filters);
    while (block->filters.next != end)
        ZUL_FUZZ_CHECK(RAS1_DestroyFilter(static_cast<ZULRA_filter_t *>(block->filters.next)->id) ==
                       STC1_Success);
    RAS1_SetClass(nullptr, initialClass);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // The diagnostics are formatted and written, to nowhere.
    setenv("ZUL_RAS1", ">/dev/null", 1);
    zul_fuzz_dir();
    static const char sound[] = "ERROR\n(UNIT:zulcr FLOW)\nENTRY:RAS1_ DETAIL\n";
    zul_fuzz_write("f", sound, sizeof sound - 1);
    static const char self[] = "<self\n";
    zul_fuzz_write("self", self, sizeof self - 1);
    zul_fuzz_write("in", "", 0);
    BSS1_GetEnv("ZUL_FUZZ", nullptr); // a traced call: the trace starts
    RAS1_QueryClass(&initialClass);
    reset(ZULRA_Pcb());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > UINT32_MAX)
        return -1;
    zul_fuzz_write("in", data, size);
    // The parser writes into the text; an allocation of the exact size
    // lets the address sanitizer see any byte read or written beyond it.
    char *text = static_cast<char *>(malloc(size ? size : 1));
    memcpy(text, data, size);

    zul_fuzz_begin(kOpens);
    int status = RAS1_InterpretString(text, static_cast<uint32_t>(size));
    zul_fuzz_end();
    free(text);

    ZUL_FUZZ_CHECK(status == STC1_Success || status == STC1_BadArgument ||
                   status == STC1_BadObject || status == STC1_NotThere ||
                   status == STC1_ProtocolError || status == STC1_Shortage);
    ZULRA_pcb_t *block = ZULRA_Pcb();
    check_filters(block);
    reset(block);
    return 0;
}
