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
// come between the parts of a long one.
//
// A store that takes whole messages (the JSON and journal targets, which
// make one record of a message) gets all the lines of a message in one
// call when the message ends; lines that come before the head, the
// opening block, go out at once as lines of their own.
//
// The same whole lines go to the feed of the console server's tails
// while one is attached, once the store's lock has been released.
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

constinit thread_local __attribute__((tls_model("initial-exec"))) const ZULRA_fctx_t *ZULRA_writing =
    nullptr;

// The lines that one call of the handler gave its store, for the tails'
// feed (null while no tail is attached).  The feed gets them once the
// store's lock has been released, so that tails add nothing to the time
// in which a store's writers exclude each other; a thread's lines still
// reach it in the order the thread wrote them.  One piece waits, and only
// while its text stays where it is until the handler returns; an earlier
// piece is always fed before a later one.
typedef struct fed {
    ZULRA_feed_t feed;
    const char *text;
    uint32_t length;
} fed_t;

static void feed_now(fed_t *fed)
{
    if (fed->length != 0) {
        fed->feed(fed->text, fed->length);
        fed->length = 0;
    }
}

// Gives text to the store's routine, and to the feed: at once, or, when
// `stays`, once the lock is released.  The caller holds the store's lock.
static int write_out(ZULRA_fctx_t *context, const char *text, uint32_t length, fed_t *fed, int stays)
{
    ZULRA_store_t *store = context->store;
    if (length == 0)
        return 0;
    if (fed->feed != nullptr) {
        feed_now(fed);
        fed->text = text;
        fed->length = length;
        if (!stays)
            feed_now(fed);
    }
    if (store->write == nullptr)
        return 0;
    const ZULRA_fctx_t *outer = ZULRA_writing;
    ZULRA_writing = context;
    int result = store->write(store->data, text, length, context->entry, context->flags);
    ZULRA_writing = outer;
    return result;
}

// Gives the open line to the store and empties it; `stays` when nothing
// is kept in the context before the handler returns.  The caller holds
// the store's lock.
static int write_pending(ZULRA_fctx_t *context, fed_t *fed, int stays)
{
    int result = write_out(context, context->pending, context->pendingLength, fed, stays);
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
        fed_t fed = {ZULRA_feed.load(std::memory_order_relaxed), nullptr, 0};
        BSS1_GetLock(&context->store->lock);
        // A message held whole may already end its last line.
        int ended = context->pending[context->pendingLength - 1] == '\n';
        if (!ended && !keep(context, "\n", 1))
            (void)write_pending(context, &fed, 1); // the line end is lost, not the text
        result = write_pending(context, &fed, 1);
        BSS1_ReleaseLock(&context->store->lock);
        feed_now(&fed);
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
    fed_t fed = {ZULRA_feed.load(std::memory_order_relaxed), nullptr, 0};
    BSS1_GetLock(&store->lock);

    capture(block, records, count);

    // The common batch: one record that ends its line.  The zero byte
    // behind it becomes the line feed, and the text goes out where it is.
    unsigned char first = (unsigned char)*records;
    int whole_messages = store->messages && context->headed;
    if (count == 1 && context->pendingLength == 0 && (first & ZULSS_RECORD_CONTINUED) == 0 &&
        !whole_messages) {
        uint32_t length = first & ZULSS_RECORD_LENGTH;
        records[1 + length] = '\n';
        result = write_out(context, records + 1, length + 1, &fed, 1);
        BSS1_ReleaseLock(&store->lock);
        feed_now(&fed);
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

    // A whole-message store waits for the message's end.  Without memory
    // to hold it, what is held and this batch go out as they are: the
    // message then makes more than one record, but nothing is lost.
    if (whole_messages) {
        if (!keep(context, records, total)) {
            (void)write_pending(context, &fed, 0);
            result = write_out(context, records, total, &fed, 1);
        }
        BSS1_ReleaseLock(&store->lock);
        feed_now(&fed);
        return result;
    }

    uint32_t whole = total;
    while (whole > 0 && records[whole - 1] != '\n')
        whole--;

    // The records stay as they are until the handler returns; the open
    // line's buffer is refilled below, so what it gives goes to the feed
    // at once.
    if (context->pendingLength == 0) {
        result = write_out(context, records, whole, &fed, 1);
    } else if (whole != 0) {
        // The batch ends the open line: the line's start and its end go
        // out together.
        if (keep(context, records, whole)) {
            result = write_pending(context, &fed, 0);
        } else {
            (void)write_pending(context, &fed, 0); // torn without memory, not lost
            result = write_out(context, records, whole, &fed, 1);
        }
    }
    if (!keep(context, records + whole, total - whole)) {
        (void)write_pending(context, &fed, 0);
        result = write_out(context, records + whole, total - whole, &fed, 1);
    }

    BSS1_ReleaseLock(&store->lock);
    feed_now(&fed);
    return result;
}
