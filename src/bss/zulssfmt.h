// bss/zulssfmt.h - private pieces of the format engine: the record area,
// the text adapter and the constants the engine's units share.
#ifndef ZUL_SRC_BSS_ZULSSFMT_H
#define ZUL_SRC_BSS_ZULSSFMT_H

#include "internal/zulprint.h"

#include <zul/bss1.h>

#include <string.h>

// Bytes of fill and text put together before they go into the object.
#define ZULSS_STAGE_SIZE 128u

// Buffer of a floating conversion: the format built for sprintf and the
// text that sprintf writes behind it.
#define ZULSS_REAL_BUFFER 16384u

// Allocates and sets up an object whose record area holds at least
// `request` bytes.  Null if memory ran out.
ZULSS_format_t *ZULSS_CreateFormat(uint32_t request);

// Ends the record being built, with `flag` 0 or ZULSS_RECORD_CONTINUED,
// and hands the batch over when the area is nearly full.
void ZULSS_FinishRecord(ZULSS_format_t *object, uint32_t flag);

// Hands the gathered records to the sink.  An open line is closed first:
// marked as continued unless `final`.  Returns the sink's result, or 0
// when there was nothing to hand over.
int ZULSS_FlushRecords(ZULSS_format_t *object, int final);

// Puts a piece of text into the object: line feeds end records (a carriage
// return right before one in the same piece is dropped), and a line longer
// than the record limit goes on in a continued record.
void ZULSS_PutSlow(ZULSS_format_t *object, const char *text, size_t length);

static inline void ZULSS_PutText(ZULSS_format_t *object, const char *text, size_t length)
{
    // The common case: the piece fits in the open record and holds no
    // line feed.  One scan and one copy.
    uint32_t room = object->limit - object->used;
    if (length <= room && length != 0) {
        char *to = object->current + 1 + object->used;
        if (length <= 16) {
            // Short pieces are checked while they are copied; a line feed
            // leaves the copy to be redone by the general path.
            for (size_t i = 0; i < length; ++i) {
                if (text[i] == '\n')
                    goto general;
                to[i] = text[i];
            }
        } else {
            if (memchr(text, '\n', length))
                goto general;
            memcpy(to, text, length);
        }
        object->used += (uint32_t)length;
        return;
    }
general:
    ZULSS_PutSlow(object, text, length);
}

// The text adapter installed by BSS1_BeginFormat: turns a batch of records
// into lines of text in place and hands them to the caller's text sink.
typedef struct ZULSS_textsink {
    ZULSS_format_t *object;
    void *argument;
    ZULSS_sink_t sink;
} ZULSS_textsink_t;

int ZULSS_TextAdapter(void *argument, char *data, uint32_t count);


#endif
