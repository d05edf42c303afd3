// Fuzz target: the scanner, on a stack of inputs.
//
// Input: a control byte, then up to three texts separated by lines of
// "----".  Control bits 0-2 give the look-ahead, bits 3-5 the number of
// tokens asked for per call less 1, bit 6 feeds the last text through a
// read function in pieces of 1 to 3 bytes, bit 7 makes '-' an identifier
// byte.  The texts are pushed in order, so the last one is read first.
// Every input must end, each with one status LEX1_End, within a number of
// calls bounded by the input's size.
#include <string.h>

#include <algorithm>

#include <zul/lex1.h>

#include "harness.h"

struct Feed {
    const uint8_t *data;
    size_t size, at;
};

static uint32_t read_feed(void *context, uint32_t *userWord, char *buffer, uint32_t capacity)
{
    Feed *feed = static_cast<Feed *>(context);
    size_t n = std::min({size_t{1} + (*userWord)++ % 3, size_t{capacity}, feed->size - feed->at});
    memcpy(buffer, feed->data + feed->at, n);
    feed->at += n;
    return static_cast<uint32_t>(n);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    uint8_t control = data[0];
    const uint8_t *parts[3];
    size_t sizes[3];
    size_t count = zul_fuzz_split(data + 1, size - 1, parts, sizes, 3);
    uint32_t lookahead = control & 7, ask = ((control >> 3) & 7) + 1;
    ZULLX_handle_t h;
    ZUL_FUZZ_CHECK(LEX1_New(&h, lookahead, nullptr, nullptr) == LEX1_OK);
    uint16_t ident = LEX1_CLASS_IDENT;
    if (control & 0x80)
        LEX1_Character(h, '-', &ident, nullptr);
    bool fed = (control & 0x40) != 0;
    for (size_t i = 0; i + fed < count; ++i)
        LEX1_String(h, reinterpret_cast<const char *>(parts[i]), static_cast<uint32_t>(sizes[i]));
    Feed feed = {parts[count - 1], sizes[count - 1], 0};
    if (fed)
        LEX1_Input(h, read_feed, &feed, 4);
    // Calls after the last input has ended give LEX1_End as well.
    size_t ends = 0, calls = 0, bound = size + 2 * (lookahead + 3) + 8;
    while (ends < count + lookahead + 3) {
        ZUL_FUZZ_CHECK(++calls <= bound);
        const ZULLX_token_t *tokens[8];
        uint32_t delivered = 0;
        ends += LEX1_Token(h, tokens, ask, &delivered) == LEX1_End;
    }
    ZUL_FUZZ_CHECK(LEX1_Delete(&h) == LEX1_OK);
    return 0;
}
