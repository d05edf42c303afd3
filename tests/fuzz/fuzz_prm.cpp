// Fuzz target: parameter files.
//
// Input: the file's bytes.  Every logical line must be zero-terminated at
// its length, and reading must end, with result 1, within one call per byte.
#include <zul/prm1.h>

#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ZULPM_file_t *file = nullptr;
    ZUL_FUZZ_CHECK(PRM1_OpenFile(&file, zul_fuzz_write("params", data, size)) == 0);
    char *line = nullptr;
    uint32_t length = 0, number = 0;
    for (size_t calls = 0; PRM1_ReadFile(file, &line, &length, &number) == 0;)
        ZUL_FUZZ_CHECK(++calls <= size && line[length] == '\0');
    ZUL_FUZZ_CHECK(PRM1_CloseFile(file) == 0);
    return 0;
}
