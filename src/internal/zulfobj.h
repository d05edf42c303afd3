// internal/zulfobj.h - format objects that their sink keeps from one
// message to the next, and plain text without the directive engine.
//
// The log opens a format object for every line.  Rather than allocate one
// each time, it keeps one object with each of its format contexts: it
// marks the object as kept, so that BSS1_EndFormat hands over the last
// batch and makes the closing call of the sink but does not free it, and
// empties it again before the next line.  Text whose every byte is known,
// such as a line head built by hand, goes in without a directive.
#ifndef ZUL_SRC_INTERNAL_ZULFOBJ_H
#define ZUL_SRC_INTERNAL_ZULFOBJ_H

#include <zul/bss1.h>

#include <stdarg.h>
#include <stddef.h>

// From now on BSS1_EndFormat leaves `object` alive: its sink owns it from
// the closing call on, and must neither look at it nor let another
// thread have it before that call.
void ZULSS_KeepFormat(ZULSS_format_t *object);

// Empties an object that BSS1_EndFormat has ended, for the next message:
// no records, nothing open.
void ZULSS_ReuseFormat(ZULSS_format_t *object);

// Puts `length` bytes of plain text into the object, as a text directive
// would: a line feed ends a record, a long line goes on in the next.
void ZULSS_WriteText(ZULSS_format_t *object, const char *text, size_t length);

// Formats `format` with `arguments` into `to`, which has room for `room`
// bytes, flat, with no format object: for a message that makes one line
// of plain text and the bare conversions d, i, u, x, X (with no size
// letter, or one of l, ll, L, q, j, z, Z, t), s, c and %%, byte for byte
// what the engine would put into a format object's records.  Returns the
// length, with *ended 1 when the format's last character was the line's
// line feed (which is not written); or -1 when the format or a value asks
// for more (another directive, a flag, a width, a second line, a line
// feed in a text or a character, a carriage return before the line feed,
// a line longer than the room).  The arguments are used up either way.
long ZULSS_FormatFlat(char *to, size_t room, const char *format, va_list arguments, int *ended);

// Room in the open record for `length` bytes of text that hold no line
// feed: the address to write them at, where they now count as written;
// null when they do not fit, and nothing changes.  For text built in
// place, such as a line head.
static inline char *ZULSS_Claim(ZULSS_format_t *object, uint32_t length)
{
    if (length > object->limit - object->used)
        return NULL;
    char *to = object->current + 1 + object->used;
    object->used += length;
    return to;
}

#endif
