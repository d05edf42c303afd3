// zulraqn - RAS1_QueryClassName: the names of a class word.
//
// The rows of the class table are taken in order, and each row whose bits
// are all still present gives its name in short form and takes its bits
// away, so that 0xFFFFFE80 reads "EVERYE EVERYU ER".  Bits that no row
// names are left out.
//
// The short form is the shortest start of the name that RAS1_QueryClassValue
// reads back as this row.  That is the row's shortest abbreviation unless
// an earlier row takes the same text: "ST" is STATE, so STORAGE prints as
// "STO".
#include "ras/zulralg.h"

#include <string.h>

// The length in which `row` prints: the shortest start of its name that
// RAS1_QueryClassValue reads back as this row.
static uint32_t printed_length(const ZULRA_class_t *row)
{
    for (uint32_t n = row->minLength; n < row->maxLength; n++)
        if (ZULRA_FindClass(row->text, n, 0) == row)
            return n;
    return row->maxLength;
}

// Writes the names into `buffer`, which has room for `room` characters
// and a NUL behind them.  Stores the text's length in *used.
static int write_names(uint32_t classes, char *buffer, uint32_t room, uint32_t *used)
{
    const ZULRA_class_t *row = ZULRA_ClassTable();
    uint32_t at = 0;
    int status = STC1_Success;
    for (; classes != 0 && row->value != 0; row++) {
        if ((row->value & classes) != row->value)
            continue;
        uint32_t printed = printed_length(row);
        uint32_t need = (at != 0 ? 1 : 0) + printed;
        if (need > room - at) {
            status = STC1_Shortage;
            break;
        }
        if (at != 0)
            buffer[at++] = ' ';
        memcpy(buffer + at, row->text, printed);
        at += printed;
        classes &= ~row->value;
    }
    buffer[at] = '\0';
    *used = at;
    return status;
}

int RAS1_QueryClassName(uint32_t classes, char *buffer, uint32_t *length)
{
    if (buffer == nullptr || length == nullptr)
        return STC1_BadArgument;
    // One byte of the buffer is kept for the NUL; a size of 0 has no room
    // for a name, and the NUL still goes to the first byte.
    uint32_t room = *length != 0 ? *length - 1 : 0;
    return write_names(classes, buffer, room, length);
}

uint32_t ZULRA_ClassNames(uint32_t classes, char *buffer, uint32_t size)
{
    uint32_t used = 0;
    if (buffer == nullptr || size == 0)
        return 0;
    (void)write_names(classes, buffer, size - 1, &used);
    return used;
}
