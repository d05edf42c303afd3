// BSS1_Tokenize: the next token of a counted text.
#include "bss/zulss.h"
#include "internal/zulascii.h"

namespace {

// Membership of the delimiter set, one bit per byte value.  A zero byte is
// never a member here; callers treat it on its own.
struct Set {
    uint64_t bits[4];
    bool Has(unsigned char c) const { return (bits[c >> 6] >> (c & 63)) & 1; }
};

} // namespace

int BSS1_Tokenize(const char **text, uint32_t *remaining, const char **token,
                  uint32_t *tokenLength, const char *delimiters)
{
    if (text == nullptr || remaining == nullptr || token == nullptr || tokenLength == nullptr)
        return STC1_BadArgument;

    // Read both before clearing the outputs: they may be the same words.
    const char *at = *text;
    uint32_t left = at != nullptr ? *remaining : 0;
    *token = nullptr;
    *tokenLength = 0;

    Set set = {{0, 0, 0, 0}};
    if (delimiters == nullptr)
        delimiters = " \n\r\t\v\f";
    for (const unsigned char *d = reinterpret_cast<const unsigned char *>(delimiters); *d; ++d)
        set.bits[*d >> 6] |= uint64_t{1} << (*d & 63);

    const char *start = nullptr;
    uint32_t length = 0;
    while (left > 0) {
        unsigned char c = static_cast<unsigned char>(*at);
        if (c != 0 && !set.Has(c)) {
            // A token starts: it runs up to a delimiter, a zero byte or
            // the end of the count; the byte that ends it stays unread.
            start = at;
            while (left > 0 && *at != '\0' && !set.Has(static_cast<unsigned char>(*at))) {
                ++at;
                --left;
            }
            length = static_cast<uint32_t>(at - start);
            break;
        }
        if (c != 0 && !ZUL_AsciiSpace(c)) {
            // A delimiter that is not white space is a token by itself.
            start = at;
            length = 1;
            ++at;
            --left;
            break;
        }
        ++at; // white space, or a zero byte, between tokens
        --left;
    }

    // Where an output shares its word with an input, the token overwrites
    // the input: that is how a name is trimmed in place.
    if (static_cast<const void *>(text) != static_cast<const void *>(token))
        *text = at;
    if (static_cast<const void *>(remaining) != static_cast<const void *>(tokenLength))
        *remaining = left;
    if (start == nullptr)
        return STC1_NotThere;
    *token = start;
    *tokenLength = length;
    return STC1_Success;
}
