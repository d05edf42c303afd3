// Fuzz target: BSS1_Match and BSS1_Tokenize against small models.
//
// Input: a control byte, a byte n, then n bytes of the first text A and
// the rest as the second text B (n is cut to what there is).  Control bit
// 0 gives Tokenize the delimiter set A (up to its first zero byte) rather
// than null; bit 1 takes the first token in place (text and token at one
// address).
//
// Match is compared with a model over the full texts (length 0, on copies
// cut at their first zero byte), over the common length and over every
// shorter length, and must be antisymmetric.  Tokenize walks B to its end
// and each token must be the model's, with the text and count it leaves.
#include <stdlib.h>
#include <string.h>

#include <zul/bss1.h>

#include "harness.h"

namespace {

bool is_letter(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

unsigned char upper(unsigned char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<unsigned char>(c - 'a' + 'A') : c;
}

// The documented comparison: equal bytes match, letters match their other
// case, and the first pair that doesn't gives its difference as signed
// 8-bit values.  Length 0 compares whole texts, shorter first by length.
int model_match(const char *a, const char *b, uint32_t length)
{
    if (length == 0) {
        size_t la = strlen(a), lb = strlen(b);
        if (la != lb)
            return static_cast<int>(la) - static_cast<int>(lb);
        length = static_cast<uint32_t>(la);
    }
    for (uint32_t i = 0; i < length; i++) {
        unsigned char x = static_cast<unsigned char>(a[i]), y = static_cast<unsigned char>(b[i]);
        if (x == y || (is_letter(x) && is_letter(y) && upper(x) == upper(y)))
            continue;
        return static_cast<signed char>(x) - static_cast<signed char>(y);
    }
    return 0;
}

int sign(int v)
{
    return (v > 0) - (v < 0);
}

bool is_white(unsigned char c)
{
    return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\v' || c == '\f';
}

bool is_delimiter(unsigned char c, const char *delimiters)
{
    if (delimiters == nullptr)
        return is_white(c);
    return c != 0 && strchr(delimiters, c) != nullptr;
}

// The documented tokenizer: white space delimiters and zero bytes vanish,
// other delimiters are tokens of one byte, a token runs to the next
// delimiter or zero byte.
struct Token {
    int status;
    const char *token;
    uint32_t length;
    const char *text;
    uint32_t remaining;
};

Token model_tokenize(const char *text, uint32_t remaining, const char *delimiters)
{
    const char *p = text;
    const char *end = text + remaining;
    while (p < end) {
        unsigned char c = static_cast<unsigned char>(*p);
        if (c != 0 && !is_delimiter(c, delimiters))
            break;
        if (c != 0 && !is_white(c))
            return {STC1_Success, p, 1, p + 1, static_cast<uint32_t>(end - p - 1)};
        p++;
    }
    if (p == end)
        return {STC1_NotThere, nullptr, 0, end, 0};
    const char *start = p;
    while (p < end && *p != 0 && !is_delimiter(static_cast<unsigned char>(*p), delimiters))
        p++;
    return {STC1_Success, start, static_cast<uint32_t>(p - start), p,
            static_cast<uint32_t>(end - p)};
}

void check_match(const char *a, size_t la, const char *b, size_t lb)
{
    // Whole texts: copies cut at their first zero byte.
    char *za = strndup(a, la), *zb = strndup(b, lb);
    int got = BSS1_Match(za, zb, 0);
    ZUL_FUZZ_CHECK(got == model_match(za, zb, 0));
    ZUL_FUZZ_CHECK(sign(BSS1_Match(zb, za, 0)) == -sign(got));
    ZUL_FUZZ_CHECK(BSS1_Match(za, za, 0) == 0);
    free(za);
    free(zb);

    // Counted: zero bytes don't stop the comparison.
    uint32_t common = static_cast<uint32_t>(la < lb ? la : lb);
    for (uint32_t n = common; n > 0; n = n > 8 ? n / 2 : n - 1) {
        got = BSS1_Match(a, b, n);
        ZUL_FUZZ_CHECK(got == model_match(a, b, n));
        ZUL_FUZZ_CHECK(sign(BSS1_Match(b, a, n)) == -sign(got));
    }
}

void check_tokenize(const char *text, uint32_t size, const char *delimiters, bool inPlace)
{
    if (inPlace) {
        const char *p = text;
        uint32_t n = size;
        int status = BSS1_Tokenize(&p, &n, &p, &n, delimiters);
        Token want = model_tokenize(text, size, delimiters);
        ZUL_FUZZ_CHECK(status == want.status && p == want.token && n == want.length);
        return;
    }
    const char *p = text;
    uint32_t n = size;
    for (uint32_t calls = 0;; calls++) {
        ZUL_FUZZ_CHECK(calls <= size);
        Token want = model_tokenize(p, n, delimiters);
        const char *token = reinterpret_cast<const char *>(1);
        uint32_t length = 12345;
        int status = BSS1_Tokenize(&p, &n, &token, &length, delimiters);
        ZUL_FUZZ_CHECK(status == want.status);
        ZUL_FUZZ_CHECK(token == want.token && length == want.length);
        ZUL_FUZZ_CHECK(p == want.text && n == want.remaining);
        if (status != STC1_Success)
            break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2 || size > UINT32_MAX)
        return -1;
    unsigned control = data[0];
    size_t la = data[1] < size - 2 ? data[1] : size - 2;
    size_t lb = size - 2 - la;
    // Exact-size copies, so that a byte read beyond either text is seen.
    char *a = static_cast<char *>(malloc(la ? la : 1));
    char *b = static_cast<char *>(malloc(lb ? lb : 1));
    memcpy(a, data + 2, la);
    memcpy(b, data + 2 + la, lb);

    check_match(a, la, b, lb);
    char *delimiters = (control & 1) ? strndup(a, la) : nullptr;
    check_tokenize(b, static_cast<uint32_t>(lb), delimiters, (control & 2) != 0);

    free(delimiters);
    free(a);
    free(b);
    return 0;
}
