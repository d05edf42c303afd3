// Fuzz target: the scanner, on a stack of inputs.
//
// Input: a control byte, then up to three texts separated by lines of
// "----".  Control bits 0-2 give the look-ahead, bits 3-5 the number of
// tokens asked for per call less 1, bit 6 feeds the last text through a
// read function in pieces of 1 to 3 bytes rather than as a text input,
// bit 7 turns the byte '-' into an identifier byte.  The texts are pushed
// in order, so the last one is read first.
//
// Every call must return a status of the scan, deliver no more than it was
// asked for nor more than the ring holds, fill the rest of the array with
// <end-of-scan>, and give tokens of a known kind whose text lies within
// the input.  The number of calls until every input has ended is bounded
// by the input's size.
#include <string.h>

#include <zul/lex1.h>

#include "harness.h"

namespace {

struct Feed {
    const uint8_t *data;
    size_t size;
    size_t at;
};

uint32_t read_feed(void *context, uint32_t *userWord, char *buffer, uint32_t capacity)
{
    Feed *feed = static_cast<Feed *>(context);
    size_t n = 1 + (*userWord)++ % 3;
    if (n > capacity)
        n = capacity;
    if (n > feed->size - feed->at)
        n = feed->size - feed->at;
    memcpy(buffer, feed->data + feed->at, n);
    feed->at += n;
    return static_cast<uint32_t>(n);
}

} // namespace

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
    if (control & 0x80) {
        uint16_t ident = LEX1_CLASS_IDENT;
        ZUL_FUZZ_CHECK(LEX1_Character(h, '-', &ident, nullptr) == LEX1_OK);
    }
    Feed feed = {};
    for (size_t i = 0; i < count; ++i) {
        if (i + 1 == count && (control & 0x40)) {
            feed = {parts[i], sizes[i], 0};
            ZUL_FUZZ_CHECK(LEX1_Input(h, read_feed, &feed, 4) == LEX1_OK);
        } else {
            ZUL_FUZZ_CHECK(LEX1_String(h, reinterpret_cast<const char *>(parts[i]),
                                       static_cast<uint32_t>(sizes[i])) == LEX1_OK);
        }
    }

    // Each input ends with one status 2; the calls after the last one
    // give 2 as well.
    size_t ends = 0, calls = 0, bound = size + 2 * (lookahead + 3) + 8;
    while (ends < count + lookahead + 3) {
        ZUL_FUZZ_CHECK(++calls <= bound);
        const ZULLX_token_t *tokens[8];
        uint32_t delivered = 99;
        int status = LEX1_Token(h, tokens, ask, &delivered);
        ZUL_FUZZ_CHECK(status == LEX1_OK || status == LEX1_End || status == LEX1_OpenString);
        ZUL_FUZZ_CHECK(delivered <= ask && delivered <= lookahead + 2);
        ZUL_FUZZ_CHECK((status == LEX1_OK) == (delivered != 0));
        for (uint32_t i = 0; i < ask; ++i) {
            const ZULLX_token_t *t = tokens[i];
            if (i >= delivered) {
                ZUL_FUZZ_CHECK(t->kind == LEX1_KIND_NONE && t->length == 13);
                continue;
            }
            ZUL_FUZZ_CHECK(t->kind >= LEX1_KIND_NUMBER && t->kind <= LEX1_KIND_STRING);
            ZUL_FUZZ_CHECK(t->text != nullptr && t->length < size);
            ZUL_FUZZ_CHECK(t->length != 0 || t->kind == LEX1_KIND_STRING);
        }
        if (status == LEX1_End)
            ++ends;
    }
    ZUL_FUZZ_CHECK(LEX1_Delete(&h) == LEX1_OK);
    ZUL_FUZZ_CHECK(LEX1_Delete(&h) == LEX1_BadHandle);
    return 0;
}
