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
// The capture ring takes no lock either.  Each thread writes its records
// into a ring of its own (zulracr), publishing each through its slot's
// stamp (ZULRA_capture_t), so that two threads that log at once never
// meet in a slot, and readers never see one half written.
#include "ras/zulralg.h"

#include "internal/zulfeed.h"
#include "platform/zulplat.h"

#include <stdlib.h>
#include <string.h>

// The lock that the library's own default store takes as its store lock
// (ZULRA_PrepareTargetStore).  All zero bytes are a valid, unused lock.
static constinit ZULSS_lock_t ring_lock = {};

ZULSS_lock_t *ZULRA_DefaultStoreLock(void)
{
    return &ring_lock;
}

// A context keeps a buffer of up to this size for its next message; a
// larger one, left by a very long line, goes back to the heap.
#define KEPT_PENDING 4096u

// Begins `count` records in the calling thread's ring: the number of the
// first.  Only the ring's thread writes `written`, so the count moves
// without a locked instruction; a signal handler on the thread that logs
// between the load and the store takes the same numbers, and the record
// it writes there is then overwritten by the interrupted line's: it is
// missing from the ring, never mixed into another.  The records of one
// call are consecutive, so that the records of one line stand side by
// side in the ring.
static uint64_t claim_records(ZULRA_ring_t *ring, uint32_t count)
{
    uint64_t n = __atomic_load_n(&ring->written, __ATOMIC_RELAXED);
    __atomic_store_n(&ring->written, n + count, __ATOMIC_RELAXED);
    __atomic_signal_fence(__ATOMIC_SEQ_CST);
    return n;
}

// The time that orders a line's records among those of other threads: its
// head's, in milliseconds.
static uint64_t order_of(const ZULRA_fctx_t *context)
{
    return static_cast<uint64_t>(context->time.seconds) * 1000u +
           context->time.nanoseconds / 1000000u;
}

// Puts a record's text (at most a slot's worth of it) into the ring as
// record `n`.  The text is moved in whole words: the bytes up to its
// length rounded up to a word are readable (a record lies in a format
// object's area, which holds a record's room behind the start of any
// record), and the slot's length says what counts.  The slot is marked as
// being written first, and the mark is taken off last: a reader that
// finds the same even stamp before and after its copy has a whole record.
// A slot that this thread is still filling (a signal handler on it logs
// a whole ring's worth of records) is left alone.
static void put_record(ZULRA_ring_t *ring, uint64_t n, uint64_t order, const char *text,
                       uint32_t length)
{
    static_assert(sizeof ring->slots[0].text == ZULSS_RECORD_LENGTH + 1, "a slot holds one record");
    ZULRA_capture_t *slot = &ring->slots[n % ZULRA_CAPTURE_SLOTS];
    uint64_t want = (n + 1) * 2;
    if ((__atomic_load_n(&slot->stamp, __ATOMIC_RELAXED) & 1) != 0)
        return;
    // Release stores (plain moves on x86) keep the mark before the text.
    __atomic_store_n(&slot->stamp, want | 1, __ATOMIC_RELAXED);
    if (length > sizeof slot->text)
        length = sizeof slot->text;
    uint64_t *to = reinterpret_cast<uint64_t *>(slot->text);
    for (uint32_t at = 0; at < length; at += 8) {
        uint64_t word;
        memcpy(&word, text + at, sizeof word);
        __atomic_store_n(to++, word, __ATOMIC_RELEASE);
    }
    __atomic_store_n(&slot->order, order, __ATOMIC_RELEASE);
    __atomic_store_n(&slot->length, length, __ATOMIC_RELEASE);
    __atomic_store_n(&slot->stamp, want, __ATOMIC_RELEASE);
}

// Copies the records of a batch to the calling thread's ring.
static void capture(const ZULRA_fctx_t *context, const char *records, uint32_t count)
{
    ZULRA_ring_t *ring = count == 0 ? nullptr : ZULRA_ThreadRing();
    if (ring == nullptr)
        return;
    uint64_t n = claim_records(ring, count);
    uint64_t order = order_of(context);
    const char *p = records;
    for (uint32_t i = 0; i < count; i++) {
        uint32_t length = static_cast<unsigned char>(*p) & ZULSS_RECORD_LENGTH;
        put_record(ring, n + i, order, p + 1, length);
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
        ZULRA_ring_t *ring = ZULRA_ThreadRing();
        if (ring != nullptr) {
            uint32_t records = length <= limit ? 1 : (length + limit - 1) / limit;
            uint32_t empty = ended && length % limit == 0;
            uint64_t n = claim_records(ring, records + empty);
            uint64_t order = order_of(context);
            for (uint32_t at = 0, i = 0; i < records; i++, at += limit)
                put_record(ring, n + i, order, text + at,
                           length - at < limit ? length - at : limit);
            if (empty)
                put_record(ring, n + records, order, text, 0);
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
static int put_batch(ZULRA_fctx_t *context, char *records, uint32_t count)
{
    ZULRA_store_t *store = context->store;
    ASSERT_STORE_HELD(store);
    int whole_messages = store->messages && context->headed;
    capture(context, records, count);

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
        result = put_batch(context, records, count);
    }
    write_handed_off();
    return result;
}
