// zulrafh - ZULRA_FormatHandler: the output routine of every log format
// object.
//
// It is handed a batch of records (a length byte, bit 7 set when the line
// goes on in the next record, then the text).  Under the store's lock it
// copies each record to the capture ring, compacts the texts in place at
// the start of the same buffer with a line feed behind each finished line,
// and gives the finished lines to the store's write routine in one call.
// A line that the batch leaves open waits in the context until a later
// batch of the same message ends it, and then goes to the store whole: a
// store never gets part of a line, so another thread's line can never
// come between the parts of a long one.  The same whole lines go to the
// feed of the console server's tails while one is attached.
#include "ras/zulralg.h"

#include "internal/zulfeed.h"

#include <stdlib.h>
#include <string.h>

// Two stores can write at once, each under its own lock, and both write
// the ring.  The ring has a lock of its own, taken once per batch inside
// the store's lock, so that slots are never claimed twice, the slot at the
// write position always has length 0, and one batch's records stand side
// by side.  All zero bytes are a valid, unused lock.
static constinit ZULSS_lock_t ring_lock = {};

constinit std::atomic<ZULRA_feed_t> ZULRA_feed{nullptr};

// A context keeps a buffer of up to this size for its next message; a
// larger one, left by a very long line, goes back to the heap.
#define KEPT_PENDING 4096u

// Copies the records of a batch to the ring, unless a reader holds it.
static void capture(ZULRA_pcb_t *block, const char *records, uint32_t count)
{
    if (__atomic_load_n(&block->capture, __ATOMIC_ACQUIRE) == nullptr)
        return;
    BSS1_GetLock(&ring_lock);
    if (block->captureHold != 0) {
        BSS1_ReleaseLock(&ring_lock);
        return;
    }
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

// The count of readers changes under the ring's lock, which a capture
// holds throughout: a reader that has raised it walks the ring with no
// lock while every writer passes the ring by.
void ZULRA_HoldCapture(ZULRA_pcb_t *block, int hold)
{
    BSS1_GetLock(&ring_lock);
    if (hold)
        block->captureHold++;
    else if (block->captureHold != 0)
        block->captureHold--;
    BSS1_ReleaseLock(&ring_lock);
}

// Adds text to the open line of the context; 0 without memory.
static int keep(ZULRA_fctx_t *context, const char *text, uint32_t length)
{
    if (length == 0)
        return 1;
    uint64_t need = (uint64_t)context->pendingLength + length;
    if (need > UINT32_MAX)
        return 0;
    if (need > context->pendingSize) {
        uint64_t size = context->pendingSize ? context->pendingSize : 256;
        while (size < need)
            size *= 2;
        if (size > UINT32_MAX)
            size = need;
        char *grown = (char *)realloc(context->pending, (size_t)size);
        if (grown == nullptr)
            return 0;
        context->pending = grown;
        context->pendingSize = (uint32_t)size;
    }
    memcpy(context->pending + context->pendingLength, text, length);
    context->pendingLength = (uint32_t)need;
    return 1;
}

// Gives text to the store's routine, and to the tails' feed while one
// is attached.  The caller holds the store's lock.
static int write_out(ZULRA_fctx_t *context, const char *text, uint32_t length)
{
    ZULRA_store_t *store = context->store;
    if (length == 0)
        return 0;
    ZULRA_feed_t feed = ZULRA_feed.load(std::memory_order_relaxed);
    if (feed != nullptr)
        feed(text, length);
    if (store->write == nullptr)
        return 0;
    return store->write(store->data, text, length, context->entry, context->flags);
}

// Gives the open line to the store and empties it.  The caller holds the
// store's lock.
static int write_pending(ZULRA_fctx_t *context)
{
    int result = write_out(context, context->pending, context->pendingLength);
    context->pendingLength = 0;
    return result;
}

// The message ends.  A line still open (its last record was flushed with
// the continuation bit) is ended and written; the context, with its format
// object, is then free for the next message, first of all the thread's.
static int end_message(ZULRA_pcb_t *block, ZULRA_fctx_t *context)
{
    int result = 0;
    if (context->pendingLength != 0) {
        BSS1_GetLock(&context->store->lock);
        if (!keep(context, "\n", 1))
            (void)write_pending(context); // the line end is lost, not the text
        result = write_pending(context);
        BSS1_ReleaseLock(&context->store->lock);
    }
    if (context->pendingSize > KEPT_PENDING) {
        free(context->pending);
        context->pending = nullptr;
        context->pendingSize = 0;
    }
    ZULRA_GiveContext(block, ZULRA_Tcb(), context);
    return result;
}

int ZULRA_FormatHandler(void *argument, char *records, uint32_t count)
{
    ZULRA_fctx_t *context = (ZULRA_fctx_t *)argument;
    ZULRA_pcb_t *block = ZULRA_Pcb();

    if (count == 0 || records == nullptr)
        return end_message(block, context);

    ZULRA_store_t *store = context->store;
    int result = 0;
    BSS1_GetLock(&store->lock);

    capture(block, records, count);

    // The common batch: one record that ends its line.  The zero byte
    // behind it becomes the line feed, and the text goes out where it is.
    unsigned char first = (unsigned char)*records;
    if (count == 1 && context->pendingLength == 0 && (first & ZULSS_RECORD_CONTINUED) == 0) {
        uint32_t length = first & ZULSS_RECORD_LENGTH;
        records[1 + length] = '\n';
        result = write_out(context, records + 1, length + 1);
        BSS1_ReleaseLock(&store->lock);
        return result;
    }

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

    // The finished lines end at the last line feed; what stands behind it
    // is the start of a line that a later batch ends.
    uint32_t total = (uint32_t)(out - records);
    uint32_t whole = total;
    while (whole > 0 && records[whole - 1] != '\n')
        whole--;

    if (context->pendingLength == 0) {
        result = write_out(context, records, whole);
    } else if (whole != 0) {
        // The batch ends the open line: the line's start and its end go
        // out together.
        if (keep(context, records, whole)) {
            result = write_pending(context);
        } else {
            (void)write_pending(context); // torn without memory, not lost
            result = write_out(context, records, whole);
        }
    }
    if (!keep(context, records + whole, total - whole)) {
        (void)write_pending(context);
        result = write_out(context, records + whole, total - whole);
    }

    BSS1_ReleaseLock(&store->lock);
    return result;
}
