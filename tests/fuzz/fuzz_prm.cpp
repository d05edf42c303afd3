// Fuzz target: parameter files.
//
// Input: the file's bytes.  Every logical line must be zero-terminated at
// its length, no longer than the file, free of trailing white space unless
// it is the file's last line without a line feed, and numbered no lower
// than the line before it and no higher than the physical lines there are.
// Reading ends, with result 1 and length 0, within one call per byte.
#include <string.h>

#include <zul/prm1.h>

#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const char *path = zul_fuzz_write("params", data, size);
    size_t physical = 1;
    for (size_t i = 0; i < size; ++i)
        physical += data[i] == '\n';

    zul_fuzz_begin(1);
    ZULPM_file_t *file = nullptr;
    int opened = PRM1_OpenFile(&file, path);
    zul_fuzz_end();
    ZUL_FUZZ_CHECK(opened == 0 && file != nullptr);

    uint32_t last = 0;
    for (size_t calls = 0;; ++calls) {
        ZUL_FUZZ_CHECK(calls <= size + 1);
        char *line = nullptr;
        uint32_t length = 77, number = last;
        int result = PRM1_ReadFile(file, &line, &length, &number);
        ZUL_FUZZ_CHECK(result == 0 || result == 1);
        if (result == 1) {
            ZUL_FUZZ_CHECK(length == 0);
            break;
        }
        ZUL_FUZZ_CHECK(line != nullptr && length != 0 && length <= size && line[length] == '\0');
        ZUL_FUZZ_CHECK(number >= last && number <= physical);
        last = number;
    }
    ZUL_FUZZ_CHECK(PRM1_CloseFile(file) == 0);
    return 0;
}
