// zulrafh - ZULRA_FormatHandler: the output routine of every log format
// object; and the capture ring's writing.
//
// It is handed a batch of records (a length byte, bit 7 set when the line
// goes on in the next record, then the text).  It copies each record to
// the capture ring, compacts the texts in place at the start of the same
// buffer with a line feed behind each finished line, and gives the
// finished lines to the store's write routine in one call, under the
// store's lock unless the store needs none (the default store whose lines
// are held in chunks of the writers' own, zulrabu).  A line that the
// batch leaves open waits in the context until a later batch of the same
// message ends it, and then goes to the store whole: a store never gets
// part of a line, so another thread's line can never come between the
// parts of a long one.
//
// A store that takes whole messages (the JSON and journal targets, which
// make one record of a message) gets all the lines of a message in one
// call when the message ends; lines that come before the head, the
// opening block, go out at once as lines of their own.
//
// The same whole lines go to the tails' feed (zulrafd) while a tail is
// attached.
//
// The capture ring takes no lock either.  A thread claims a block of its
// records with one atomic add and fills them itself; each slot is claimed
// and published through its stamp (ZULRA_capture_t), so that two threads
// that log at once, or two stores, never meet in a slot, and readers
// never see one half written.
#include "ras/zulralg.h"

#include "internal/zulfeed.h"
#include "platform/zulplat.h"

#include <stdlib.h>
#include <string.h>

// The lock that the library's own default store takes as its store lock
// (ZULRA_PrepareTargetStore).  All zero bytes are a valid, unused lock.
static constinit ZULSS_lock_t ring_lock = {};

constinit ZULRA_ringcount_t ZULRA_ringCount = {};

ZULSS_lock_t *ZULRA_DefaultStoreLock(void)
{
    return &ring_lock;
}

// The ring that ZULRA_MakeRing made, for the child of a fork.
static constinit ZULRA_capture_t *made = nullptr;

// The child of a fork: a slot that a thread of the parent was filling at
// the fork would stay marked as being filled for ever, and every record
// that comes to it would be left out; it is emptied instead.
static void clear_in_child(void)
{
    ZULRA_capture_t *slots = __atomic_load_n(&made, __ATOMIC_ACQUIRE);
    if (slots == nullptr)
        return;
    for (uint32_t i = 0; i < ZULRA_CAPTURE_SLOTS; i++)
        if ((__atomic_load_n(&slots[i].stamp, __ATOMIC_RELAXED) & 1) != 0)
            __atomic_store_n(&slots[i].stamp, 0u, __ATOMIC_RELAXED);
}

ZULRA_capture_t *ZULRA_MakeRing(void)
{
    size_t size = ZULRA_CAPTURE_SLOTS * sizeof(ZULRA_capture_t);
    static_assert(ZULRA_CAPTURE_SLOTS * sizeof(ZULRA_capture_t) % 64 == 0, "whole cache lines");
    void *slots = aligned_alloc(64, size);
    if (slots == nullptr)
        return nullptr;
    memset(slots, 0, size);
    __atomic_store_n(&made, static_cast<ZULRA_capture_t *>(slots), __ATOMIC_RELEASE);
    (void)ZULPL_OnFork(nullptr, clear_in_child);
    return static_cast<ZULRA_capture_t *>(slots);
}

// A context keeps a buffer of up to this size for its next message; a
// larger one, left by a very long line, goes back to the heap.
#define KEPT_PENDING 4096u

// The numbers of `count` records of the ring for the calling thread, the
// first returned: from the thread's block while it has room and is new,
// else from a block claimed now.  A block is new while less than half a
// ring has been claimed since it was; a thread that was away longer
// starts a new one, so that its records stand among the newest.  The
// records of one call are consecutive, so that the records of one line
// stand side by side in the ring.
static uint64_t claim_records(ZULRA_tcb_t *tcb, uint32_t count)
{
    if (tcb == nullptr)
        return __atomic_fetch_add(&ZULRA_ringCount.claimed, count, __ATOMIC_RELAXED);
    uint64_t n = tcb->captureNext;
    uint64_t claimed = __atomic_load_n(&ZULRA_ringCount.claimed, __ATOMIC_RELAXED);
    if (tcb->captureEnd - n < count || claimed - n > ZULRA_CAPTURE_SLOTS / 2) {
        uint32_t size = count > ZULRA_CAPTURE_BLOCK ? count : ZULRA_CAPTURE_BLOCK;
        n = __atomic_fetch_add(&ZULRA_ringCount.claimed, size, __ATOMIC_RELAXED);
        tcb->captureEnd = n + size;
    }
    tcb->captureNext = n + count;
    return n;
}

// Puts a record's text (at most a slot's worth of it) into the ring as
// record `n`.  The text is moved in whole words: the bytes up to its
// length rounded up to a word are readable (a record lies in a format
// object's area, which holds a record's room behind the start of any
// record), and the slot's length says what counts.  A slot that another
// writer is filling, or that holds a newer record already (this thread's
// block was overtaken while the thread was away), is left alone: the
// record is missing from the ring, as it would be once overwritten.
static void put_record(ZULRA_capture_t *slots, uint64_t n, const char *text, uint32_t length)
{
    static_assert(sizeof slots->text == ZULSS_RECORD_LENGTH + 1, "a slot holds one record");
    ZULRA_capture_t *slot = &slots[n % ZULRA_CAPTURE_SLOTS];
    uint64_t want = (n + 1) * 2;
    uint64_t was = __atomic_load_n(&slot->stamp, __ATOMIC_RELAXED);
    if ((was & 1) != 0 || (was != 0 && static_cast<int64_t>(was - want) >= 0))
        return;
    if (!__atomic_compare_exchange_n(&slot->stamp, &was, want | 1, false, __ATOMIC_ACQUIRE,
                                     __ATOMIC_RELAXED))
        return;
    if (length > sizeof slot->text)
        length = sizeof slot->text;
    uint64_t *to = reinterpret_cast<uint64_t *>(slot->text);
    for (uint32_t at = 0; at < length; at += 8) {
        uint64_t word;
        memcpy(&word, text + at, sizeof word);
        __atomic_store_n(to++, word, __ATOMIC_RELEASE);
    }
    __atomic_store_n(&slot->length, length, __ATOMIC_RELEASE);
    __atomic_store_n(&slot->stamp, want, __ATOMIC_RELEASE);
}

// Copies the records of a batch to the ring.
static void capture(ZULRA_pcb_t *block, const char *records, uint32_t count)
{
    ZULRA_capture_t *slots = __atomic_load_n(&block->capture, __ATOMIC_ACQUIRE);
    if (slots == nullptr || count == 0)
        return;
    uint64_t n = claim_records(ZULRA_Tcb(), count);
    const char *p = records;
    for (uint32_t i = 0; i < count; i++) {
        uint32_t length = static_cast<unsigned char>(*p) & ZULSS_RECORD_LENGTH;
        put_record(slots, n + i, p + 1, length);
        p += 1 + length;
    }
}

// Adds text to the open line of the context; 0 without memory.
static int keep(ZULRA_fctx_t *context, const char *text, uint32_t length)
{
    if (length == 0)
        return 1;
    uint64_t need = static_cast<uint64_t>(context->pendingLength) + length;
    if (need > UINT32_MAX)
        return 0;
    if (need > context->pendingSize) {
        uint64_t size = context->pendingSize ? context->pendingSize : 256;
        while (size < need)
            size *= 2;
        if (size > UINT32_MAX)
            size = need;
        char *grown = static_cast<char *>(realloc(context->pending, static_cast<size_t>(size)));
        if (grown == nullptr)
            return 0;
        context->pending = grown;
        context->pendingSize = static_cast<uint32_t>(size);
    }
    memcpy(context->pending + context->pendingLength, text, length);
    context->pendingLength = static_cast<uint32_t>(need);
    return 1;
}

constinit thread_local __attribute__((tls_model("initial-exec"))) const ZULRA_fctx_t *ZULRA_writing =
    nullptr;

// Whether the store takes lines without its lock: the library's default
// store while its target holds lines in chunks of the writers' own
// (zulrabu), once its opening block is in.  A line that finds the block
// being written takes the lock, which the block's writer holds, and so
// follows the block.
static int lockless(const ZULRA_store_t *store)
{
    return store->write == ZULRA_WriteStream && __atomic_load_n(&store->ready, __ATOMIC_ACQUIRE) &&
           ZULRA_HoldsInChunks(static_cast<const ZULRA_target_t *>(store->data));
}

// The lock to hold while a line goes to the store: the store's, or none
// (null) where the store needs none.
static ZULSS_lock_t *store_lock(ZULRA_store_t *store)
{
    return lockless(store) ? nullptr : &store->lock;
}

// The caller holds the store's lock, or the store needs none.
#define ASSERT_STORE_HELD(store) ZUL_ASSERT(lockless(store) || ZULSS_LockHeld(&(store)->lock))

// Writes what the store's routine handed off to be written once the
// store's lock is given back (a full half of the default store's buffer).
static inline void write_handed_off()
{
    if (ZULRA_handedOff != nullptr)
        ZULRA_WriteHandedOff();
}

// Gives whole lines to the store's routine.  The caller holds the
// store's lock, or the store needs none.
static int write_store(ZULRA_fctx_t *context, const char *text, uint32_t length)
{
    ZULRA_store_t *store = context->store;
    ASSERT_STORE_HELD(store);
    if (length == 0 || store->write == nullptr)
        return 0;
    const ZULRA_fctx_t *outer = ZULRA_writing;
    ZULRA_writing = context;
    int result = store->write(store->data, text, length, context->entry, context->flags);
    ZULRA_writing = outer;
    return result;
}

// Gives whole lines to the tails' feed and to the store's routine;
// `lines` of them, 0 for not counted.  The caller holds the store's lock,
// or the store needs none.
static int write_out(ZULRA_fctx_t *context, const char *text, uint32_t length, uint32_t lines)
{
    if (length != 0)
        ZULRA_Feed(text, length, lines);
    return write_store(context, text, length);
}

// Gives the open line to the store and empties it.  The caller holds the
// store's lock, or the store needs none.
static int write_pending(ZULRA_fctx_t *context)
{
    int result = write_out(context, context->pending, context->pendingLength, 0);
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
        {
            ZULSS_HOLD(store_lock(context->store));
            // A message held whole may already end its last line.
            int ended = context->pending[context->pendingLength - 1] == '\n';
            if (!ended && !keep(context, "\n", 1))
                (void)write_pending(context); // the line end is lost, not the text
            result = write_pending(context);
        }
        write_handed_off();
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
    ZULSS_lock_t *lock = store_lock(store);
    int result;
    {
        ZULSS_HOLD(lock);
        ZULRA_capture_t *slots = __atomic_load_n(&block->capture, __ATOMIC_ACQUIRE);
        if (slots != nullptr) {
            uint32_t records = length == 0 ? 1 : (length + limit - 1) / limit;
            uint32_t empty = ended && length % limit == 0;
            uint64_t n = claim_records(ZULRA_Tcb(), records + empty);
            for (uint32_t at = 0, i = 0; i < records; i++, at += limit)
                put_record(slots, n + i, text + at, length - at < limit ? length - at : limit);
            if (empty)
                put_record(slots, n + records, text, 0);
        }
        // A store with a lock gives its line to the tails once the lock is
        // given back: the copy then does not lengthen the time in which
        // the threads that share the store exclude each other.
        result = lock != nullptr ? write_store(context, text, length + 1)
                                 : write_out(context, text, length + 1, 1);
    }
    if (lock != nullptr)
        ZULRA_Feed(text, length + 1, 1);
    write_handed_off();
    ZULRA_GiveContext(block, ZULRA_Tcb(), context);
    return result;
}

// Compacts a batch in place: the text of each record moves down to the
// end of the output so far, and a finished line gets a line feed in the
// place of the next record's length byte.  The output never overtakes the
// record being read, so each length byte is read before anything could
// overwrite it.  Returns the length of the output.
static uint32_t compact(char *records, uint32_t count)
{
    char *out = records;
    const char *p = records;
    unsigned char header = static_cast<unsigned char>(*p);
    for (uint32_t i = 0; i < count; i++) {
        uint32_t length = header & ZULSS_RECORD_LENGTH;
        int continued = (header & ZULSS_RECORD_CONTINUED) != 0;
        const char *text = p + 1;
        p = text + length;
        header = static_cast<unsigned char>(*p); // the next record's, or the zero byte
        memmove(out, text, length);
        out += length;
        if (!continued)
            *out++ = '\n';
    }
    return static_cast<uint32_t>(out - records);
}

// A batch of records of the context's message goes to the ring and, as
// whole lines, to the store.  The caller holds the store's lock, or the
// store needs none.
static int put_batch(ZULRA_pcb_t *block, ZULRA_fctx_t *context, char *records, uint32_t count)
{
    ZULRA_store_t *store = context->store;
    ASSERT_STORE_HELD(store);
    int whole_messages = store->messages && context->headed;
    capture(block, records, count);

    // The common batch: one record that ends its line.  The zero byte
    // behind it becomes the line feed, and the text goes out where it is.
    unsigned char first = static_cast<unsigned char>(*records);
    if (count == 1 && context->pendingLength == 0 && (first & ZULSS_RECORD_CONTINUED) == 0 &&
        !whole_messages) {
        uint32_t length = first & ZULSS_RECORD_LENGTH;
        records[1 + length] = '\n';
        return write_out(context, records + 1, length + 1, 1);
    }

    uint32_t total = compact(records, count);

    // A whole-message store waits for the message's end.  Without memory
    // to hold it, what is held and this batch go out as they are: the
    // message then makes more than one record, but nothing is lost.
    if (whole_messages) {
        if (keep(context, records, total))
            return 0;
        (void)write_pending(context);
        return write_out(context, records, total, 0);
    }

    // The finished lines end at the last line feed; what stands behind it
    // is the start of a line that a later batch ends.
    uint32_t whole = total;
    while (whole > 0 && records[whole - 1] != '\n')
        whole--;

    int result = 0;
    if (context->pendingLength == 0) {
        result = write_out(context, records, whole, 0);
    } else if (whole != 0) {
        // The batch ends the open line: the line's start and its end go
        // out together.
        if (keep(context, records, whole)) {
            result = write_pending(context);
        } else {
            (void)write_pending(context); // torn without memory, not lost
            result = write_out(context, records, whole, 0);
        }
    }
    if (!keep(context, records + whole, total - whole)) {
        (void)write_pending(context);
        result = write_out(context, records + whole, total - whole, 0);
    }
    return result;
}

int ZULRA_FormatHandler(void *argument, char *records, uint32_t count)
{
    ZULRA_fctx_t *context = static_cast<ZULRA_fctx_t *>(argument);
    ZULRA_pcb_t *block = ZULRA_Pcb();

    if (count == 0 || records == nullptr)
        return end_message(block, context);

    int result;
    {
        ZULSS_HOLD(store_lock(context->store));
        result = put_batch(block, context, records, count);
    }
    write_handed_off();
    return result;
}
