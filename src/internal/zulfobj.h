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

#endif
