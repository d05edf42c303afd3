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
// by side.  The library's own default store uses the ring's lock as its
// store lock, so that its lines, nearly all of the log, are captured with
// no second lock (ZULRA_PrepareTargetStore).  All zero bytes are a valid,
// unused lock.
static constinit ZULSS_lock_t ring_lock = {};

constinit std::atomic<ZULRA_feed_t> ZULRA_feed{nullptr};

ZULSS_lock_t *ZULRA_RingLock(void)
{
    return &ring_lock;
}

// Whether the store's lock is the ring's.
static int holds_ring(const ZULRA_store_t *store)
{
    return __atomic_load_n(&store->lock.handle, __ATOMIC_RELAXED) ==
           __atomic_load_n(&ring_lock.handle, __ATOMIC_RELAXED);
}

// A context keeps a buffer of up to this size for its next message; a
// larger one, left by a very long line, goes back to the heap.
#define KEPT_PENDING 4096u

// Records of a batch whose lengths are noted before the batch is
// compacted, so that the ring can be written from the compacted text; a
// longer batch (a long message) is captured before it is compacted.
#define NOTED 16u

// Copies a record's text to the slot at the write position and moves the
// position on.  The caller holds the ring.  A whole slot's worth is copied,
// in a few wide moves rather than a copy of the exact length: from the
// start of any record's text the format object's area holds at least that
// much (a record is begun only with a full record's room left), and the
// slot's length says what counts.
static ZULRA_capture_t *capture_record(ZULRA_capture_t *slot, const char *text, uint32_t length)
{
    static_assert(sizeof slot->text == ZULSS_RECORD_LENGTH + 1, "a slot holds one record");
    if (length > sizeof slot->text)
        length = sizeof slot->text;
    memcpy(slot->text, text, sizeof slot->text);
    // Lengths are read without the lock by the failure report.
    __atomic_store_n(&slot->length, length, __ATOMIC_RELAXED);
    slot = slot->next;
    __atomic_store_n(&slot->length, 0u, __ATOMIC_RELAXED);
    return slot;
}

// Takes the ring for a batch of `store`: the slot at the write position,
// or null when there is no ring or a reader holds it (the ring is then
// not taken).  The caller holds the store's lock.
static ZULRA_capture_t *take_ring(ZULRA_pcb_t *block, const ZULRA_store_t *store, int *locked)
{
    *locked = 0;
    if (__atomic_load_n(&block->capture, __ATOMIC_ACQUIRE) == nullptr)
        return nullptr;
    if (!holds_ring(store)) {
        BSS1_GetLock(&ring_lock);
        *locked = 1;
    }
    if (block->captureHold != 0) {
        if (*locked)
            BSS1_ReleaseLock(&ring_lock);
        *locked = 0;
        return nullptr;
    }
    return block->capture;
}

static void give_ring(ZULRA_pcb_t *block, ZULRA_capture_t *slot, int locked)
{
    __atomic_store_n(&block->capture, slot, __ATOMIC_RELEASE);
    if (locked)
        BSS1_ReleaseLock(&ring_lock);
}

// Copies the records of a batch to the ring, unless a reader holds it.
static void capture(ZULRA_pcb_t *block, const ZULRA_store_t *store, const char *records,
                    uint32_t count)
{
    int locked;
    ZULRA_capture_t *slot = take_ring(block, store, &locked);
    if (slot == nullptr)
        return;
    const char *p = records;
    for (uint32_t i = 0; i < count; i++) {
        uint32_t length = (unsigned char)*p & ZULSS_RECORD_LENGTH;
        slot = capture_record(slot, p + 1, length);
        p += 1 + length;
    }
    give_ring(block, slot, locked);
}

// The same from a batch already compacted: `heads` are the records'
// length bytes, and a line feed follows each record that ends a line.
static void capture_compacted(ZULRA_pcb_t *block, const ZULRA_store_t *store, const char *text,
                              const unsigned char *heads, uint32_t count)
{
    int locked;
    ZULRA_capture_t *slot = take_ring(block, store, &locked);
    if (slot == nullptr)
        return;
    for (uint32_t i = 0; i < count; i++) {
        uint32_t length = heads[i] & ZULSS_RECORD_LENGTH;
        slot = capture_record(slot, text, length);
        text += length + ((heads[i] & ZULSS_RECORD_CONTINUED) == 0);
    }
    give_ring(block, slot, locked);
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

// Gives back the store's lock, feeds the tails what waits for them, and
// then writes what the store's routine handed off to be written without
// the lock (a full half of the default store's buffer): a tail sees a
// line when the store has taken it, not when it reaches the file.
static void release_store(ZULRA_store_t *store, fed_t *fed)
{
    BSS1_ReleaseLock(&store->lock);
    feed_now(fed);
    if (ZULRA_handedOff != nullptr)
        ZULRA_WriteHandedOff();
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
        release_store(context->store, &fed);
    }
    if (context->pendingSize > KEPT_PENDING) {
        free(context->pending);
        context->pending = nullptr;
        context->pendingSize = 0;
    }
    ZULRA_GiveContext(block, ZULRA_Tcb(), context);
    return result;
}

int ZULRA_PutLine(ZULRA_fctx_t *context, char *text, uint32_t length, int ended)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    ZULRA_store_t *store = context->store;
    // The records of one line are pieces of a record's greatest length,
    // the last one shorter; a line that ends its message with a line feed
    // just where a record is full gets an empty record for it.
    uint32_t limit = context->format->limit;
    text[length] = '\n';
    fed_t fed = {ZULRA_feed.load(std::memory_order_relaxed), nullptr, 0};
    BSS1_GetLock(&store->lock);
    int locked;
    ZULRA_capture_t *slot = take_ring(block, store, &locked);
    if (slot != nullptr) {
        uint32_t at = 0;
        do {
            uint32_t piece = length - at < limit ? length - at : limit;
            slot = capture_record(slot, text + at, piece);
            at += piece;
        } while (at < length);
        if (ended && length % limit == 0)
            slot = capture_record(slot, text, 0);
        give_ring(block, slot, locked);
    }
    int result = write_out(context, text, length + 1, &fed, 1);
    release_store(store, &fed);
    ZULRA_GiveContext(block, ZULRA_Tcb(), context);
    return result;
}

// Compacts a batch in place: the text of each record moves down to the
// end of the output so far, and a finished line gets a line feed in the
// place of the next record's length byte.  The output never overtakes the
// record being read, so each length byte is read before anything could
// overwrite it.  The first `noted` length bytes are kept in `heads`.
// Returns the length of the output.
static uint32_t compact(char *records, uint32_t count, unsigned char *heads, uint32_t noted)
{
    char *out = records;
    const char *p = records;
    unsigned char header = (unsigned char)*p;
    for (uint32_t i = 0; i < count; i++) {
        if (i < noted)
            heads[i] = header;
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
    return (uint32_t)(out - records);
}

int ZULRA_FormatHandler(void *argument, char *records, uint32_t count)
{
    ZULRA_fctx_t *context = (ZULRA_fctx_t *)argument;
    ZULRA_pcb_t *block = ZULRA_Pcb();

    if (count == 0 || records == nullptr)
        return end_message(block, context);

    ZULRA_store_t *store = context->store;
    int result = 0;
    int whole_messages = store->messages && context->headed;
    fed_t fed = {ZULRA_feed.load(std::memory_order_relaxed), nullptr, 0};

    // The common batch: one record that ends its line.  The zero byte
    // behind it becomes the line feed, and the text goes out where it is.
    unsigned char first = (unsigned char)*records;
    if (count == 1 && context->pendingLength == 0 && (first & ZULSS_RECORD_CONTINUED) == 0 &&
        !whole_messages) {
        uint32_t length = first & ZULSS_RECORD_LENGTH;
        records[1 + length] = '\n';
        BSS1_GetLock(&store->lock);
        int locked;
        ZULRA_capture_t *slot = take_ring(block, store, &locked);
        if (slot != nullptr)
            give_ring(block, capture_record(slot, records + 1, length), locked);
        result = write_out(context, records + 1, length + 1, &fed, 1);
        release_store(store, &fed);
        return result;
    }

    // A batch of a few records (a line longer than one record, say) is
    // compacted before the store's lock is taken, and captured from the
    // compacted text under it; only a long batch is captured first.
    unsigned char heads[NOTED];
    uint32_t total;
    if (count <= NOTED) {
        total = compact(records, count, heads, count);
        BSS1_GetLock(&store->lock);
        capture_compacted(block, store, records, heads, count);
    } else {
        BSS1_GetLock(&store->lock);
        capture(block, store, records, count);
        total = compact(records, count, heads, 0);
    }

    // A whole-message store waits for the message's end.  Without memory
    // to hold it, what is held and this batch go out as they are: the
    // message then makes more than one record, but nothing is lost.
    if (whole_messages) {
        if (!keep(context, records, total)) {
            (void)write_pending(context, &fed, 0);
            result = write_out(context, records, total, &fed, 1);
        }
        release_store(store, &fed);
        return result;
    }

    // The finished lines end at the last line feed; what stands behind it
    // is the start of a line that a later batch ends.
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

    release_store(store, &fed);
    return result;
}
