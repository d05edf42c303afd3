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

static int write_format(void *console, char *records, uint32_t count)
{
    RAS1_DECLARE_ENTRY(entry, "write_format", RAS1_PRIVATE);
    RAS1_ENTRY(entry, classes, flow);

    if (records == nullptr || count == 0) {
        RAS1_EXIT_VALUE(entry, flow, CRF1_OK);
        return CRF1_OK;
    }
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
    RAS1_EXIT_VALUE(entry, flow, status);
    return status;
}

int CRF1_New(uint32_t *console)
{
    RAS1_DECLARE_ENTRY(entry, "CRF1_New", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);

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
    RAS1_EXIT_VALUE(entry, flow, status);
    return status;
}
