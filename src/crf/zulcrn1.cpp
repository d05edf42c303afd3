// CRF1_New: makes a console, a resource with a format object of its own;
// and write_format, the sink of that format object, which adds finished
// lines to the console's chain of output chunks.
//
// Each line record's length byte is followed by its text, and the next
// record's length byte stands right behind the text.  That byte is read
// first and then replaced with a line feed, so text and line end leave as
// one run without copying twice.  A line never splits over two chunks; a
// chunk with too little room is left with its room unused.
#include "crf/zulcr.h"
#include "internal/zulunits.h"

#include <stdlib.h>
#include <string.h>

ZULRA_CRF1_UNIT("zulcrn1");

// A chunk for a run of `n` bytes behind the ring's last: n and the header
// rounded up to whole units of allocation.  Null without memory.
static ZULCR_chunk_t *new_chunk(ZULCR_ccb_t *ccb, uint32_t n)
{
    size_t bytes = (sizeof(ZULCR_chunk_t) + n + ZULCR_CHUNK_UNIT - 1) / ZULCR_CHUNK_UNIT * ZULCR_CHUNK_UNIT;
    ZULCR_chunk_t *fresh = static_cast<ZULCR_chunk_t *>(malloc(bytes));
    if (fresh == nullptr)
        return nullptr;
    fresh->used = 0;
    fresh->size = static_cast<uint32_t>(bytes - sizeof(ZULCR_chunk_t));
    fresh->text = reinterpret_cast<char *>(fresh + 1);
    ZUL_RingInit(ZULCR_chunkRing, fresh);
    if (ccb->writing != nullptr)
        ZUL_RingSplice(ZULCR_chunkRing, ccb->writing, fresh);
    ccb->writing = fresh;
    return fresh;
}

// Adds the `count` line records at `records` to the console's output, each
// with its line feed, under the console's lock.  A line that finds no
// memory is lost, and the next is tried.
static int add_lines(ZULCR_ccb_t *ccb, char *records, uint32_t count)
{
    int status = CRF1_OK;
    ZULSS_HOLD(&ccb->lock);
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

        if (chunk == nullptr || chunk->size - chunk->used <= n)
            chunk = new_chunk(ccb, n);
        if (chunk == nullptr) {
            status = CRF1_NoOutputMemory; // this line is lost
            continue;
        }
        memcpy(chunk->text + chunk->used, text, n);
        chunk->used += n;
        ccb->pending += n;
        if (chunk->used == chunk->size)
            chunk = nullptr;
    }
    return status;
}

static int write_format(void *console, char *records, uint32_t count)
{
    ZULCR_ENTRY("write_format", RAS1_PRIVATE);
    if (records == nullptr || count == 0)
        ZULCR_RETURN(CRF1_OK);
    ZULCR_RETURN(add_lines(static_cast<ZULCR_ccb_t *>(console), records, count));
}

int CRF1_New(uint32_t *console)
{
    ZULCR_ENTRY("CRF1_New", RAS1_PUBLIC);

    int status = CRF1_OK;
    ZULCR_cvt_t *cvt = ZULCR_Cvt();
    ZULCR_ccb_t *ccb = nullptr;
    uint32_t handle = 0;
    if (console == nullptr)
        status = CRF1_BadArgument;
    else if ((cvt->flags & ZULCR_BUILT) == 0)
        status = CRF1_Unusable;
    else if ((ccb = static_cast<ZULCR_ccb_t *>(calloc(1, sizeof(ZULCR_ccb_t)))) == nullptr)
        status = CRF1_NoMemory;
    else if (RES1_Create(&handle, cvt->consoleClass, 0, ccb) != STC1_Success) {
        free(ccb);
        status = CRF1_NoResource;
    } else {
        ccb->resource = handle;
        if (BSS1_NewFormat(&ccb->format, ccb, write_format, 0, 0) != STC1_Success) {
            // The destructor frees the record once the creator's use goes.
            ccb->format = nullptr;
            RES1_Destroy(handle);
            status = CRF1_NoFormat;
        } else {
            *console = handle;
        }
        RES1_Drop(handle);
    }
    ZULCR_RETURN(status);
}
