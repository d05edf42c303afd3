// zulrafh - ZULRA_FormatHandler: the output routine of every log format
// object.
//
// It is handed a batch of records (a length byte, bit 7 set when the line
// goes on in the next record, then the text).  Under the store's lock it
// copies each record to the capture ring, compacts the texts in place at
// the start of the same buffer with a line feed behind each finished line,
// and gives the whole batch to the store's write routine in one call.
#include "ras/zulralg.h"

#include <string.h>

// Two stores can write at once, each under its own lock, and both write
// the ring.  The ring has a lock of its own, taken once per batch inside
// the store's lock, so that slots are never claimed twice, the slot at the
// write position always has length 0, and one batch's records stand side
// by side.  All zero bytes are a valid, unused lock.
static constinit ZULSS_lock_t ring_lock = {};

// Copies the records of a batch to the ring.
static void capture(ZULRA_pcb_t *block, const char *records, uint32_t count)
{
    if (__atomic_load_n(&block->captureHold, __ATOMIC_ACQUIRE) != 0 ||
        __atomic_load_n(&block->capture, __ATOMIC_ACQUIRE) == nullptr)
        return;
    BSS1_GetLock(&ring_lock);
    ZULRA_capture_t *slot = block->capture;
    const char *p = records;
    for (uint32_t i = 0; i < count; i++) {
        uint32_t length = (unsigned char)*p & ZULSS_RECORD_LENGTH;
        if (length > sizeof slot->text)
            length = sizeof slot->text;
        memcpy(slot->text, p + 1, length);
        slot->length = length;
        slot = slot->next;
        slot->length = 0;
        p += 1 + length;
    }
    __atomic_store_n(&block->capture, slot, __ATOMIC_RELEASE);
    BSS1_ReleaseLock(&ring_lock);
}

int ZULRA_FormatHandler(void *argument, char *records, uint32_t count)
{
    ZULRA_fctx_t *context = (ZULRA_fctx_t *)argument;
    ZULRA_pcb_t *block = ZULRA_Pcb();

    // The object is about to go: its context is free for the next one.
    if (count == 0 || records == nullptr) {
        context->format = nullptr;
        BSS1_GetLock(&block->lock);
        context->next = block->freeContexts;
        block->freeContexts = context;
        BSS1_ReleaseLock(&block->lock);
        return 0;
    }

    ZULRA_store_t *store = context->store;
    int result = 0;
    BSS1_GetLock(&store->lock);

    capture(block, records, count);

    // Compaction: the text of each record moves down to the end of the
    // output so far, and a finished line gets a line feed in the place of
    // the next record's length byte.  The output never overtakes the
    // record being read, so each length byte is read before anything
    // could overwrite it.
    char *out = records;
    const char *p = records;
    unsigned char header = (unsigned char)*p;
    for (uint32_t i = 0; i < count; i++) {
        uint32_t length = header & ZULSS_RECORD_LENGTH;
        int continued = (header & ZULSS_RECORD_CONTINUED) != 0;
        const char *text = p + 1;
        p = text + length;
        header = (unsigned char)*p; // the next record's, or the zero byte
        memmove(out, text, length);
        out += length;
        if (!continued)
            *out++ = '\n';
    }

    uint32_t total = (uint32_t)(out - records);
    if (total != 0 && store->write != nullptr)
        result = store->write(store->data, records, total, context->entry, context->flags);

    BSS1_ReleaseLock(&store->lock);
    return result;
}
