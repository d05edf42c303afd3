// CRF1_Fetch: moves a console's output to the caller's buffer.
//
// Output is read from a plain chain of its own.  When that is empty the
// whole circular chain being written is taken over and cut open, so that
// later output joins behind what is being read.  No lock is taken: one
// thread at a time writes to and reads from a console.
#include "crf/zulcr.h"
#include "internal/zulunits.h"

#include <stdlib.h>
#include <string.h>

ZULRA_CRF1_UNIT("zulcrf1");

int CRF1_Fetch(uint32_t console, char *buffer, uint32_t size, uint32_t *count)
{
    ZULCR_ENTRY("CRF1_Fetch", RAS1_PUBLIC);

    if (count != nullptr)
        *count = 0;
    ZULCR_cvt_t *cvt;
    void *record = nullptr;
    int status = ZULCR_Open(console, ZULCR_CONSOLE, &cvt, &record);
    if (status != CRF1_OK)
        ZULCR_RETURN(status);
    ZULCR_ccb_t *ccb = static_cast<ZULCR_ccb_t *>(record);
    if (ccb->pending == 0)
        status = CRF1_Empty;
    else if (buffer == nullptr && size != 0)
        status = CRF1_BadArgument;

    uint32_t moved = 0;
    while (status == CRF1_OK && size != 0 && ccb->pending != 0) {
        if (ccb->reading == nullptr) {
            if (ccb->writing == nullptr) {
                status = CRF1_OutOfStep;
                break;
            }
            ccb->reading = ZUL_RingOpen(ZULCR_chunkRing, ccb->writing);
            ccb->writing = nullptr;
        }
        ZULCR_chunk_t *chunk = ccb->reading;
        uint32_t n = chunk->used < size ? chunk->used : size;
        memcpy(buffer + moved, chunk->text, n);
        moved += n;
        size -= n;
        ccb->pending -= n;
        chunk->used -= n;
        if (chunk->used == 0) {
            ccb->reading = chunk->next;
            free(chunk);
        } else {
            chunk->text += n;
        }
    }
    if (count != nullptr)
        *count = moved;
    RES1_Drop(console);
    ZULCR_RETURN(status);
}
