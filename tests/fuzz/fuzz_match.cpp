// Fuzz target: BSS1_Match and BSS1_Tokenize.
//
// Input: a control byte, a byte n, then n bytes of the first text A and
// the rest as the second text B (n is cut to what there is).  Control bit
// 0 gives Tokenize the delimiter set A (up to its first zero byte) rather
// than null; bit 1 takes the first token in place (text and token at one
// address).  Match must be antisymmetric, and Tokenize must walk B to its
// end within one call per byte.
#include <stdlib.h>
#include <string.h>

#include <zul/bss1.h>

#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2 || size > UINT32_MAX)
        return -1;
    size_t la = data[1] < size - 2 ? data[1] : size - 2, lb = size - 2 - la;
    // Exact-size copies, so that a byte read beyond either text is seen.
    char *a = static_cast<char *>(malloc(la ? la : 1));
    char *b = static_cast<char *>(malloc(lb ? lb : 1));
    memcpy(a, data + 2, la);
    memcpy(b, data + 2 + la, lb);
    char *za = strndup(a, la), *zb = strndup(b, lb);
    ZUL_FUZZ_CHECK((BSS1_Match(za, zb, 0) > 0) == (BSS1_Match(zb, za, 0) < 0));
    for (uint32_t n = static_cast<uint32_t>(la < lb ? la : lb); n > 0; n = n > 8 ? n / 2 : n - 1)
        ZUL_FUZZ_CHECK((BSS1_Match(a, b, n) > 0) == (BSS1_Match(b, a, n) < 0));

    const char *p = b, *token = nullptr, *delimiters = (data[0] & 1) ? za : nullptr;
    uint32_t n = static_cast<uint32_t>(lb), length = 0;
    if (data[0] & 2)
        BSS1_Tokenize(&p, &n, &p, &n, delimiters);
    else
        for (uint32_t calls = 0;
             BSS1_Tokenize(&p, &n, &token, &length, delimiters) == STC1_Success;)
            ZUL_FUZZ_CHECK(++calls <= lb);
    free(za);
    free(zb);
    free(a);
    free(b);
    return 0;
}
