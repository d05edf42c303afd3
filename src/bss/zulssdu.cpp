// zulssdu - BSS1_Dump: the library's hexadecimal dump.
//
// Sixteen bytes a line: the offset, the bytes in hexadecimal in groups of
// eight and four, and the bytes as text.  A run of lines equal to the one
// before is folded into one "Same as above" line, so that a large block of
// zeros costs two lines.
#include "bss/zulssfmt.h"

#include <string.h>

#define LINE_BYTES 16u
#define LINE_WIDTH 57
#define TEXT_COLUMN 41

static const char digits[] = "0123456789ABCDEF";

// Printable and not white space, in the C locale whatever the program's.
static int shown(unsigned char c)
{
    return c > 0x20 && c < 0x7F;
}

// Lays out up to 16 bytes in a line of LINE_WIDTH characters.
static void build_line(char *line, const unsigned char *bytes, uint32_t count)
{
    memset(line, ' ', LINE_WIDTH);
    int at = 0;
    for (uint32_t i = 0; i < LINE_BYTES; i++) {
        if (i % 8 == 0)
            at++; // each group of eight opens with a blank
        if (i % 4 == 0)
            at++; // and each group of four with another
        if (i < count) {
            line[at] = digits[bytes[i] >> 4];
            line[at + 1] = digits[bytes[i] & 15];
            line[TEXT_COLUMN + i] = shown(bytes[i]) ? (char)bytes[i] : '.';
        }
        at += 2;
    }
}

int BSS1_Dump(ZULSS_format_t *object, const void *data, uint32_t length)
{
    if (length == 0 || object == nullptr || data == nullptr)
        return 0;

    // The dump starts on a record of its own.
    ZULSS_FlushRecords(object, 1);

    const unsigned char *bytes = (const unsigned char *)data;
    uint32_t offset = 0;
    char line[LINE_WIDTH];
    while (offset < length) {
        uint32_t count = length - offset < LINE_BYTES ? length - offset : LINE_BYTES;
        build_line(line, bytes + offset, count);
        ZULSS_Print(object, "    %08X %*.*s\n", offset, LINE_WIDTH, LINE_WIDTH, (const char *)line);
        offset += count;

        // Whole groups equal to the one before them are stepped over; a
        // short last group is always shown.
        uint32_t first = offset;
        while (length - offset >= LINE_BYTES &&
               memcmp(bytes + offset, bytes + offset - LINE_BYTES, LINE_BYTES) == 0)
            offset += LINE_BYTES;
        if (offset != first)
            ZULSS_Print(object,
                        "    **************  %08X - %08X: Same as above  **************\n",
                        first, offset);
    }
    return 0;
}
