// Fuzz target: the filter expression language, RAS1_InterpretString.
//
// The input is the expression.  It is also written as the file "in" of the
// harness's directory, beside a file "f" of sound lines and a file "self"
// that includes itself, so that "<in", "<f" and "(<self)" reach inclusion.
// After each input the filters it made are destroyed and the default class
// put back, so that inputs do not pile up state.
#include <stdlib.h>
#include <string.h>

#include "harness.h"
#include "ras/zulra.h"

static uint32_t initialClass;

static void reset()
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    while (block->firstFilter != ZULRA_FilterLinks(block).head)
        ZUL_FUZZ_CHECK(RAS1_DestroyFilter(block->firstFilter->id) == STC1_Success);
    RAS1_SetClass(nullptr, initialClass);
}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    setenv("ZUL_RAS1", ">/dev/null", 1); // diagnostics are written, to nowhere
    static const char sound[] = "ERROR\n(UNIT:zulcr FLOW)\nENTRY:RAS1_ DETAIL\n";
    zul_fuzz_write("f", sound, sizeof sound - 1);
    zul_fuzz_write("self", "<self\n", 6);
    zul_fuzz_write("in", "", 0);
    BSS1_GetEnv("ZUL_FUZZ", nullptr); // a traced call: the trace starts now
    RAS1_QueryClass(&initialClass);
    reset();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    zul_fuzz_write("in", data, size);
    // The parser writes into the text; an exact-size copy lets the address
    // sanitizer see any byte touched beyond it.
    char *text = static_cast<char *>(malloc(size ? size : 1));
    memcpy(text, data, size);
    zul_fuzz_enter(true);
    RAS1_InterpretString(text, static_cast<uint32_t>(size));
    zul_fuzz_enter(false);
    free(text);
    reset();
    return 0;
}
