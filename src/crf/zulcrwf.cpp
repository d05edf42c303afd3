// ZULCR_WriteFormat: the sink of a console's format object, which adds
// finished lines to the console's chain of output chunks.
//
// Each line record's length byte is followed by its text, and the next
// record's length byte stands right behind the text.  That byte is read
// first and then replaced with a line feed, so text and line end leave as
// one run without copying twice.  A line never splits over two chunks; a
// chunk with too little room is left with its room unused.
#include "crf/zulcr.h"

#include <stdlib.h>
#include <string.h>

int ZULCR_WriteFormat(void *console, char *records, uint32_t count)
{
    if (records == nullptr || count == 0)
        return CRF1_OK;
    ZULCR_ccb_t *ccb = static_cast<ZULCR_ccb_t *>(console);
    int status = CRF1_OK;
    BSS1_GetLock(&ccb->lock);
    ZULCR_chunk_t *chunk = ccb->writing;
    if (chunk != nullptr && chunk->used >= chunk->size)
        chunk = nullptr;
    char *record = records;
    uint8_t lengthByte = static_cast<uint8_t>(record[0]);
    for (uint32_t i = 0; i < count; i++) {
        uint32_t length = lengthByte & ZULSS_RECORD_LENGTH;
        char *text = record + 1;
        char *after = text + length;
        lengthByte = static_cast<uint8_t>(*after);
        *after = '\n';
        uint32_t n = length + 1;
        record = after;

        if (chunk == nullptr || chunk->size - chunk->used <= n) {
            size_t bytes = (sizeof(ZULCR_chunk_t) + n + ZULCR_CHUNK_UNIT - 1) /
                           ZULCR_CHUNK_UNIT * ZULCR_CHUNK_UNIT;
            ZULCR_chunk_t *fresh = static_cast<ZULCR_chunk_t *>(malloc(bytes));
            if (fresh == nullptr) {
                status = CRF1_NoOutputMemory; // this line is lost
                chunk = nullptr;
                continue;
            }
            fresh->used = 0;
            fresh->size = static_cast<uint32_t>(bytes - sizeof(ZULCR_chunk_t));
            fresh->text = reinterpret_cast<char *>(fresh + 1);
            if (ccb->writing == nullptr) {
                fresh->next = fresh;
            } else {
                fresh->next = ccb->writing->next;
                ccb->writing->next = fresh;
            }
            ccb->writing = fresh;
            chunk = fresh;
        }
        memcpy(chunk->text + chunk->used, text, n);
        chunk->used += n;
        ccb->pending += n;
        if (chunk->used == chunk->size)
            chunk = nullptr;
    }
    BSS1_ReleaseLock(&ccb->lock);
    return status;
}
