// zulrabu - lines held for large writes: the buffer of the default store's
// text and JSON targets, and its writing out.
//
// A line costs the writer a copy into the buffer; the buffer goes to the
// file in one write(2) when a half of it is full, with an ERROR line, when
// a line comes and the oldest held is older than ZULRA_HOLD_AGE, on `ras1
// flush` and `ras1 reopen`, and when the process ends: at exit, before
// fork, and from a signal that ends it (the failure report's and the
// others, see ZULPL_OnEnding).  Those last are drains: they run without the
// store's lock, which the thread that dies may hold, and with write(2)
// only.
//
// The buffer has two halves, each cut into chunks.  A thread that logs
// claims a chunk of the half being filled and copies its lines into it,
// without the store's lock and without touching a word that the threads
// logging beside it write (zulrach.h): a line costs no lock and passes no
// cache line between processors.  The lines of one thread therefore stand
// in the file in the order it wrote them, while those of two threads that
// log at the same moment stand in runs of a chunk each rather than line
// by line.
//
// The store's lock is taken only for the rare turns: when a half is full
// (the thread that finds it so hands it off and goes on in the other),
// when an ERROR line or the age sends the lines out, and for a line too
// long for a chunk, which goes out on its own after all the lines held.
// A full half, or one whose oldest line has aged, is written by the log's
// own thread, "zul-log", started the first time, so that the thread that
// logs does not pay for the copy into the page cache; with
// ZUL_RAS1_WRITER=caller, or where that thread cannot be started, by the
// thread that handed it off once it has given the lock back, so that
// other threads add their lines meanwhile rather than wait for the disk.
// An ERROR line and the console's flush are written by the thread that
// asks, before it goes on.
// The other half must be written before chunks are claimed in it again
// (when the writer thread has not got to it yet, the thread that hands
// off writes it itself, or waits for the write under way), and halves are
// written in the order they were filled; the writer of a half first seals
// each of its chunks, waiting for a copy under way, so that no line is
// cut and none comes in after the half has gone out.
//
// So that a drain can run at any moment, on any thread, the words are
// read and written with atomic operations: each chunk's header says how
// many bytes of whole lines it holds and how many of those are in the file
// (`done`), and `writer` names the thread that is writing, so that two
// writes never run at once.  Only a writer in ordinary code empties a
// half, so that a drain that interrupts it finds nothing left to write
// rather than everything again.
#include "ras/zulralg.h"
#include "ras/zulrach.h"
#include "internal/zullock.h"
#include "internal/zullogout.h"

#include "platform/zulplat.h"
#include "platform/zulplsg.h"

#include <stdio_ext.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/uio.h>

constinit thread_local __attribute__((tls_model("initial-exec"))) ZULRA_target_t *ZULRA_handedOff =
    nullptr;

namespace {

// The half that the calling thread handed off (ZULRA_handedOff), as
// ticket_of gives it.
constinit thread_local __attribute__((tls_model("initial-exec"))) uint64_t handedTicket = 0;

// The chunk that the calling thread is starting or copying a line into,
// for a drain that interrupts it in a signal handler: that copy cannot
// end while the drain runs, and the drain must not wait for it.
constinit thread_local __attribute__((tls_model("initial-exec"))) ZULRA_chunkhead_t *copying =
    nullptr;

// The buffer unless ZUL_RAS1_BUFFER says otherwise, and the bounds of
// what it may say.
constexpr uint32_t kDefaultSize = 1024u * 1024u;
constexpr uint32_t kLeastSize = 4u * 1024u;
constexpr uint32_t kMostSize = 64u * 1024u * 1024u;

// A chunk: 4 KiB, or a quarter of a half where halves are smaller, so that
// a half of the least size still has a chunk for each of four threads.
// A thread claims one for some 25 lines of a usual length.
constexpr uint32_t kChunk = 4096;

// How long a drain waits for a write under way on another thread, and
// for a pipe's reader to take a page, before it writes on or gives up.
constexpr uint32_t kPatience = 1000;

// How long a thread that hands a half off waits for the writer thread to
// write the other, in milliseconds, before it writes it itself.
constexpr uint32_t kHandPatience = 50;

// Room reserved on the disk ahead of the log's end (reserve_ahead).
constexpr uint64_t kReserve = 4u << 20;

// Pieces gathered into one write(2).
constexpr int kGather = 64;

// How often a drain gives the processor away while a chunk's owner copies
// a line in, before it writes the chunk as it stands.
constexpr uint32_t kBusyTries = 100;

// Claims the writing for thread `self`: 1 when it now holds it; 0 when it
// held it already (a drain in a signal handler that interrupted this
// thread's own write) or, in a drain, gave up waiting after `patience`
// milliseconds.  Ordinary code (`patience` 0) waits as long as it takes,
// giving the processor away while it does: the writing is one write(2)
// of a half, some tens of microseconds.
int take_writer(ZULRA_hold_t *hold, uint32_t self, uint32_t patience)
{
    for (uint32_t tries = 0;; tries++) {
        uint32_t expected = 0;
        if (__atomic_compare_exchange_n(&hold->writer, &expected, self, false, __ATOMIC_ACQUIRE,
                                        __ATOMIC_RELAXED))
            return 1;
        if (expected == self)
            return 0;
        if (patience == 0) {
            ZULPL_Yield();
        } else {
            if (tries >= patience)
                return 0;
            ZULPL_Sleep(1);
        }
    }
}

uint32_t generation(uint64_t claim)
{
    return static_cast<uint32_t>(claim >> 32);
}

uint32_t claimed(uint64_t claim)
{
    return static_cast<uint32_t>(claim);
}

uint64_t claim_word(uint32_t generation, uint32_t bytes)
{
    return static_cast<uint64_t>(generation) << 32 | bytes;
}

ZULRA_chunkhead_t *chunk_at(const ZULRA_hold_t *hold, uint32_t half, uint32_t index)
{
    char *at = hold->bytes + static_cast<size_t>(half) * hold->size +
               static_cast<size_t>(index) * hold->chunk;
    return reinterpret_cast<ZULRA_chunkhead_t *>(at);
}

char *text_of(ZULRA_chunkhead_t *head)
{
    return reinterpret_cast<char *>(head + 1);
}

uint32_t room(const ZULRA_hold_t *hold)
{
    return hold->chunk - static_cast<uint32_t>(sizeof(ZULRA_chunkhead_t));
}

// Reserves room on the disk ahead of a write of up to `bytes` bytes, a
// few megabytes at a time, without changing the file's size: a write into
// reserved room skips the file system's search for room page by page,
// which costs as much as the copy of the bytes itself on ext4.  So a log
// file may hold up to kReserve bytes of room beyond its end, as the
// journal's files do; the room is filled as the log grows and given back
// when the file is emptied or removed.  The room is reserved again when
// the write offset has moved back before it (a reopen onto a new file, an
// emptying by logrotate's copytruncate).  Where the file system or the
// descriptor cannot reserve, it is not asked again.  The caller holds
// `writing`.
void reserve_ahead(ZULRA_target_t *target, uint64_t bytes)
{
    ZULRA_hold_t *hold = &target->hold;
    ZUL_ASSERT_HELD(&hold->writing);
    if (hold->unreserved)
        return;
    int64_t at = ZULPL_WriteOffset(target->fd);
    if (at < 0) {
        hold->unreserved = 1;
        return;
    }
    uint64_t from = static_cast<uint64_t>(at);
    if (from >= hold->reservedFrom && from + bytes <= hold->reserved)
        return;
    if (ZULPL_ReserveRoom(target->fd, at, bytes + kReserve) != 0) {
        hold->unreserved = 1;
        return;
    }
    hold->reservedFrom = from;
    hold->reserved = from + bytes + kReserve;
}

// Seals each chunk claimed in half `half`, whose generation is `g`, and
// writes what each holds beyond its `done`.  Returns the bytes written.
// The caller holds `writing` and the `writer` word, and the half is shut to claims.
uint32_t write_chunks(ZULRA_target_t *target, uint32_t half, uint32_t g, uint32_t count)
{
    ZULRA_hold_t *hold = &target->hold;
    ZUL_ASSERT_HELD(&hold->writing);
    ZUL_ASSERT(__atomic_load_n(&hold->writer, __ATOMIC_RELAXED) == ZULPL_ThreadId());
    if (count != 0)
        reserve_ahead(target, static_cast<uint64_t>(count) * hold->chunk);
    struct iovec pieces[kGather];
    ZULRA_chunkhead_t *heads[kGather];
    uint32_t ends[kGather];
    uint32_t written = 0;
    int n = 0;
    for (uint32_t i = 0; i <= count; i++) {
        if (n == kGather || (i == count && n > 0)) {
            ZULPL_WriteGathered(target->fd, pieces, n);
            for (int j = 0; j < n; j++)
                __atomic_store_n(&heads[j]->done, ends[j], __ATOMIC_RELEASE);
            n = 0;
        }
        if (i == count)
            break;
        ZULRA_chunkhead_t *head = chunk_at(hold, half, i);
        uint64_t state;
        while (!ZULRA_ChunkSeal(head, g, 1, &state))
            ZULPL_Yield(); // its owner is copying a line in
        uint32_t used = ZULRA_ChunkUsed(state);
        uint32_t done = __atomic_load_n(&head->done, __ATOMIC_ACQUIRE);
        if (used <= done)
            continue;
        pieces[n] = {text_of(head) + done, used - done};
        heads[n] = head;
        ends[n] = used;
        written += used - done;
        n++;
    }
    return written;
}

// A half handed off to be written after the store's lock is given back:
// its generation << 32 | its number.
uint64_t ticket_of(const ZULRA_hold_t *hold, uint32_t half)
{
    return claim_word(generation(__atomic_load_n(&hold->claim[half], __ATOMIC_ACQUIRE)), half);
}

constexpr uint64_t kAnyGeneration = ~uint64_t{0};

// Writes half `half`, which is not the one being filled, and empties it:
// it is shut to claims under its next generation until it is opened for
// filling.  Nothing is done if it has become the half being filled:
// whoever made it so wrote it first.  With `expect`, a ticket, only that
// generation of the half is written: one that a hand-off has written (and
// perhaps opened) since is left alone.  Returns the bytes written.
uint32_t write_half(ZULRA_target_t *target, uint32_t half, uint64_t expect = kAnyGeneration)
{
    ZULRA_hold_t *hold = &target->hold;
    // Writers in ordinary code wait for each other asleep on `writing`: a
    // thread that has filled a half while the other is still being
    // written gives its processor to the writer rather than spin for the
    // tens of microseconds of a write(2).  Then only a drain on another
    // thread can hold the `writer` word meanwhile, for a bounded time.
    ZULSS_HOLD(&hold->writing);
    int owned = take_writer(hold, ZULPL_ThreadId(), 0);
    uint32_t written = 0;
    uint64_t claim = __atomic_load_n(&hold->claim[half], __ATOMIC_ACQUIRE);
    uint32_t g = generation(claim);
    if (__atomic_load_n(&hold->fill, __ATOMIC_ACQUIRE) != half &&
        (expect == kAnyGeneration ||
         (g == generation(expect) && claimed(claim) >= ZULRA_HOLD_SHUT))) {
        uint32_t count = __atomic_load_n(&hold->count[half], __ATOMIC_ACQUIRE);
        written = write_chunks(target, half, g, count);
        if (owned) {
            __atomic_store_n(&hold->count[half], 0u, __ATOMIC_RELAXED);
            __atomic_store_n(&hold->claim[half], claim_word(g + 1, ZULRA_HOLD_SHUT),
                             __ATOMIC_RELEASE);
        }
    }
    if (owned) {
        __atomic_store_n(&hold->writer, 0u, __ATOMIC_RELEASE);
        if (written != 0 &&
            __atomic_load_n(&hold->behind, __ATOMIC_RELAXED) == ZULRA_BEHIND_RUNNING) {
            __atomic_fetch_add(&hold->written, 1u, __ATOMIC_RELEASE);
            ZULPL_WakeWord(&hold->written);
        }
    }
    return written;
}

// With the writer thread running, waits for it to write half `half`,
// handed to it and not yet written, for up to kHandPatience: the calling
// thread's processor goes to the writer rather than to a write(2) of its
// own.  A writer thread held up longer (stopped in a debugger, or writing
// to a pipe that nobody reads) leaves the half to the caller.
void await_writer(ZULRA_hold_t *hold, uint32_t half)
{
    if (__atomic_load_n(&hold->behind, __ATOMIC_ACQUIRE) != ZULRA_BEHIND_RUNNING)
        return;
    uint32_t began = ZULPL_Ticks();
    for (;;) {
        uint32_t seen = __atomic_load_n(&hold->written, __ATOMIC_ACQUIRE);
        if (__atomic_load_n(&hold->count[half], __ATOMIC_ACQUIRE) == 0)
            return;
        uint32_t waited = ZULPL_Ticks() - began;
        if (waited >= kHandPatience)
            return;
        ZULPL_WaitWord(&hold->written, seen, kHandPatience - waited);
    }
}

// Shuts the half being filled to claims and opens the other, written out
// first, for filling; `*written` (if not null) gets the bytes that took.
// Returns the half shut, which its chunks' owners stop filling and the
// caller writes.  The caller holds the store's lock.
uint32_t hand_off(ZULRA_target_t *target, uint32_t *written = nullptr)
{
    ZUL_ASSERT_HELD(ZULRA_DefaultStoreLock());
    ZULRA_hold_t *hold = &target->hold;
    uint32_t full = __atomic_load_n(&hold->fill, __ATOMIC_RELAXED);
    uint32_t other = 1 - full;
    await_writer(hold, other);
    uint32_t older = write_half(target, other);
    if (written != nullptr)
        *written = older;
    // The halves change places holding the writer's word, so that a drain
    // on another thread sees them either before or after, and writes the
    // older lines first: one that read which half is being filled just
    // before the change would take the other half's newer lines for the
    // older ones.
    int owned = take_writer(hold, ZULPL_ThreadId(), 0);
    uint32_t g = generation(__atomic_load_n(&hold->claim[other], __ATOMIC_RELAXED));
    __atomic_store_n(&hold->oldest[other], 0u, __ATOMIC_RELAXED);
    __atomic_store_n(&hold->claim[other], claim_word(g, 0), __ATOMIC_RELEASE);
    uint32_t g_full = generation(__atomic_load_n(&hold->claim[full], __ATOMIC_RELAXED));
    uint64_t was = __atomic_exchange_n(&hold->claim[full], claim_word(g_full, ZULRA_HOLD_SHUT),
                                       __ATOMIC_ACQ_REL);
    uint32_t bytes = claimed(was) < hold->size ? claimed(was) : hold->size;
    __atomic_store_n(&hold->count[full], bytes / hold->chunk, __ATOMIC_RELEASE);
    __atomic_store_n(&hold->fill, other, __ATOMIC_RELEASE);
    if (owned)
        __atomic_store_n(&hold->writer, 0u, __ATOMIC_RELEASE);
    return full;
}

// The writer thread: writes the halves handed to it, full or aged, in the
// order they were filled, and sleeps between them.  It takes no store lock,
// only the turn of writers in ordinary code (`writing`), so a thread that
// hands off while it writes waits for it at most one write(2).  It runs
// to the end of the process: the buffer is never freed, and the drain at
// exit takes the `writer` word from it as from any thread.
void *write_behind(void *data)
{
    ZULPL_ThreadName("zul-log");
    ZULRA_target_t *target = static_cast<ZULRA_target_t *>(data);
    ZULRA_hold_t *hold = &target->hold;
    uint32_t seen = 0;
    for (;;) {
        uint32_t posted = __atomic_load_n(&hold->posted, __ATOMIC_ACQUIRE);
        if (posted == seen) {
            ZULPL_WaitWord(&hold->posted, seen, 0);
            continue;
        }
        seen = posted;
        // The half handed off last.  Where the halves have turned again
        // meanwhile, the thread that turned them wrote it, and its ticket
        // no longer matches.
        uint64_t ticket = __atomic_load_n(&hold->handed, __ATOMIC_ACQUIRE);
        (void)write_half(target, claimed(ticket), ticket);
    }
    return nullptr;
}

// Passes the half just handed off, as `ticket` names it, to the writer
// thread, starting it the first time: 1; 0 when the caller must write it
// itself.
int pass_to_writer(ZULRA_target_t *target, uint64_t ticket)
{
    ZULRA_hold_t *hold = &target->hold;
    uint32_t state = __atomic_load_n(&hold->behind, __ATOMIC_ACQUIRE);
    if (state == ZULRA_BEHIND_UNSTARTED &&
        __atomic_compare_exchange_n(&hold->behind, &state, ZULRA_BEHIND_RUNNING, false,
                                    __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE)) {
        ZULPL_thread_t thread;
        if (ZULPL_ThreadStart(&thread, write_behind, target) != 0) {
            __atomic_store_n(&hold->behind, ZULRA_BEHIND_NONE, __ATOMIC_RELEASE);
            return 0;
        }
        state = ZULRA_BEHIND_RUNNING;
    }
    if (state != ZULRA_BEHIND_RUNNING)
        return 0;
    __atomic_store_n(&hold->handed, ticket, __ATOMIC_RELAXED);
    __atomic_fetch_add(&hold->posted, 1u, __ATOMIC_RELEASE);
    ZULPL_WakeWord(&hold->posted);
    return 1;
}

// Hands the half being filled off, if it is still half `half`, to be
// written once the calling thread has given back the store's lock
// (ZULRA_WriteHandedOff); `full` asks for it only when no chunk is left in
// it to claim, and `pass` passes it to the writer thread instead, where
// one runs.  The
// pass is made under the lock, so that the next hand-off, which may wait
// for the writer thread to have written this half, never waits for a
// thread that has not yet passed it on.  Takes the store's lock.
void send_off(ZULRA_target_t *target, uint32_t half, int full, int pass)
{
    ZULSS_HOLD(ZULRA_DefaultStoreLock());
    ZULRA_hold_t *hold = &target->hold;
    if (__atomic_load_n(&hold->fill, __ATOMIC_ACQUIRE) != half)
        return; // another thread handed it off meanwhile
    if (full && claimed(__atomic_load_n(&hold->claim[half], __ATOMIC_ACQUIRE)) + hold->chunk <=
                    hold->size)
        return;
    uint64_t ticket = ticket_of(hold, hand_off(target));
    if (pass && pass_to_writer(target, ticket))
        return;
    ZULRA_handedOff = target;
    handedTicket = ticket;
}

// Gives the calling thread a chunk of the half being filled, at the time
// `now`; with the half full, the thread hands it off, or, where another
// does, waits on the store's lock until it has.
void claim_chunk(ZULRA_target_t *target, ZULRA_tcb_t *tcb, uint32_t now)
{
    ZULRA_hold_t *hold = &target->hold;
    uint32_t half = __atomic_load_n(&hold->fill, __ATOMIC_ACQUIRE);
    uint64_t claim = __atomic_load_n(&hold->claim[half], __ATOMIC_RELAXED);
    if (claimed(claim) + hold->chunk <= hold->size)
        claim = __atomic_fetch_add(&hold->claim[half], hold->chunk, __ATOMIC_ACQ_REL);
    uint32_t at = claimed(claim);
    if (at + hold->chunk > hold->size) {
        send_off(target, half, 1, 1);
        return;
    }
    if (at == 0)
        __atomic_store_n(&hold->oldest[half], now | 1u, __ATOMIC_RELAXED);
    ZULRA_chunkhead_t *head = chunk_at(hold, half, at / hold->chunk);
    copying = head;
    int started = ZULRA_ChunkStart(head, generation(claim), 0);
    copying = nullptr;
    if (started) {
        tcb->held = head;
        tcb->heldTag = generation(claim);
        tcb->heldHalf = half;
    }
}

// Copies whole lines into the calling thread's chunk, claiming chunks
// until one takes them.  `length` fits an empty chunk.
void append(ZULRA_target_t *target, ZULRA_tcb_t *tcb, const char *text, uint32_t length,
            uint32_t now)
{
    ZULRA_hold_t *hold = &target->hold;
    for (;;) {
        if (tcb->held != nullptr) {
            uint64_t was;
            copying = tcb->held;
            int64_t at = ZULRA_ChunkBegin(tcb->held, tcb->heldTag, length, room(hold), &was);
            if (at >= 0) {
                memcpy(text_of(tcb->held) + at, text, length);
                ZULRA_ChunkEnd(tcb->held, was, length, 0);
                copying = nullptr;
                return;
            }
            copying = nullptr;
            tcb->held = nullptr;
        }
        claim_chunk(target, tcb, now);
    }
}

// The head's time of the line being written, in milliseconds.
uint32_t line_time()
{
    ZULSS_time_t now;
    if (ZULRA_writing != nullptr)
        now = ZULRA_writing->time;
    else
        BSS1_GetTime(&now);
    return now.seconds * 1000u + now.nanoseconds / 1000000u;
}

// A size such as 65536, 64k or 1M; 0 for anything else.
uint32_t read_size(const char *text)
{
    char *end;
    unsigned long long value = strtoull(text, &end, 10);
    if (end == text)
        return 0;
    if (*end == 'k' || *end == 'K')
        value *= 1024u, end++;
    else if (*end == 'm' || *end == 'M')
        value *= 1024u * 1024u, end++;
    if (*end != '\0' || value < kLeastSize || value > kMostSize)
        return 0;
    return static_cast<uint32_t>(value);
}

// Writes a line of `n` bytes that snprintf made in `line` of `size`
// bytes to standard error: what a setting that could not be read says.
void say(const char *line, int n, size_t size)
{
    if (n > 0)
        ZULPL_WriteAll(2, line, static_cast<size_t>(n) < size ? static_cast<size_t>(n) : size - 1);
}

// The buffer's size that ZUL_RAS1_BUFFER asks for, 0 for none.  A value
// that is none of the forms keeps the default, and says so.
uint32_t wanted_size(const char *setting)
{
    if (setting == nullptr || *setting == '\0' || strcasecmp(setting, "on") == 0 ||
        strcasecmp(setting, "yes") == 0)
        return kDefaultSize;
    if (strcasecmp(setting, "off") == 0 || strcasecmp(setting, "no") == 0 ||
        strcmp(setting, "0") == 0)
        return 0;
    uint32_t size = read_size(setting);
    if (size != 0)
        return size;
    char line[256];
    int n = snprintf(line, sizeof line,
                     "ZUL_RAS1_BUFFER: \"%.64s\" is not off, on or a size from 4K to 64M; the log "
                     "holds up to %uK\n",
                     setting, kDefaultSize / 1024u);
    say(line, n, sizeof line);
    return kDefaultSize;
}

// Who writes a half handed off, as ZUL_RAS1_WRITER asks: ZULRA_BEHIND_*.  A
// value that is neither form keeps the writer thread, and says so.
uint32_t wanted_writer(const char *setting)
{
    if (setting == nullptr || *setting == '\0' || strcasecmp(setting, "thread") == 0)
        return ZULRA_BEHIND_UNSTARTED;
    if (strcasecmp(setting, "caller") == 0)
        return ZULRA_BEHIND_NONE;
    char line[160];
    int n = snprintf(line, sizeof line,
                     "ZUL_RAS1_WRITER: \"%.64s\" is not thread or caller; the log's own thread "
                     "writes it\n",
                     setting);
    say(line, n, sizeof line);
    return ZULRA_BEHIND_UNSTARTED;
}

// What half `half` holds beyond what is in the file, chunk by chunk, with
// write(2) only: a drain's.  A half that is shut counts as claimed
// whole, so that each of its chunks is looked at; the halves do not
// change places while a drain runs (hand_off holds the writer's word
// for it).
//
// Only the chunks claimed when the drain begins are looked at, and each
// is sealed before it is written, a chunk claimed and not yet started
// too (sealed empty): so every thread that logs while a drain runs (a
// fork's, or another thread's end) puts its next lines into a chunk
// claimed after it began, which the next writing of the buffer takes
// after these, and keeps its lines in order.  A copy under way on another
// thread ends in a moment and is waited for, up to kPatience
// milliseconds; one that the drain interrupted on its own thread never
// ends while it runs, and that chunk is written as far as its whole
// lines go.
void drain_half(ZULRA_target_t *target, uint32_t half)
{
    ZULRA_hold_t *hold = &target->hold;
    uint64_t claim = __atomic_load_n(&hold->claim[half], __ATOMIC_ACQUIRE);
    uint32_t g = generation(claim);
    uint32_t chunks = hold->size / hold->chunk;
    uint32_t limit = claimed(claim) / hold->chunk < chunks ? claimed(claim) / hold->chunk : chunks;
    for (uint32_t i = 0; i < limit; i++) {
        ZULRA_chunkhead_t *head = chunk_at(hold, half, i);
        uint64_t state;
        for (uint32_t tries = 0; !ZULRA_ChunkSeal(head, g, 1, &state); tries++) {
            if (head == copying || tries == kBusyTries + kPatience) {
                state = __atomic_load_n(&head->state, __ATOMIC_ACQUIRE);
                break;
            }
            if (tries < kBusyTries)
                ZULPL_Yield();
            else
                ZULPL_Sleep(1);
        }
        if (ZULRA_ChunkTag(state) != (g & ZULRA_CHUNK_TAGS))
            continue;
        uint32_t used = ZULRA_ChunkUsed(state);
        uint32_t done = __atomic_load_n(&head->done, __ATOMIC_ACQUIRE);
        if (used <= done)
            continue;
        size_t n = ZULPL_WriteWithin(target->fd, text_of(head) + done, used - done, kPatience);
        __atomic_store_n(&head->done, done + static_cast<uint32_t>(n), __ATOMIC_RELEASE);
    }
}

void drain_now()
{
    ZULRA_WriteOutLog(0);
}

void drain_ending()
{
    ZULRA_WriteOutLog(1);
}

// The child of a fork: what the buffer holds are the parent's lines,
// which the parent writes; the child starts empty, with both halves in a
// generation of their own.  Every chunk in use is sealed, so that the
// chunk the forking thread held is no longer its: its next line claims a
// chunk of the child's.  A thread that was writing in the parent does not
// exist here.
void empty_in_child()
{
    ZULRA_target_t *target = ZULRA_Target();
    if (target == nullptr || target->hold.bytes == nullptr)
        return;
    ZULRA_hold_t *hold = &target->hold;
    uint32_t fill = __atomic_load_n(&hold->fill, __ATOMIC_RELAXED);
    for (uint32_t k = 0; k < 2; k++) {
        for (uint32_t i = 0; i < hold->size / hold->chunk; i++) {
            // A chunk that a thread of the parent was copying into at the
            // fork stays busy for ever here, unless the mark goes.
            ZULRA_chunkhead_t *head = chunk_at(hold, k, i);
            uint64_t state = __atomic_load_n(&head->state, __ATOMIC_RELAXED);
            if (state != 0)
                __atomic_store_n(&head->state, (state & ~ZULRA_CHUNK_BUSY) | ZULRA_CHUNK_SEALED,
                                 __ATOMIC_RELAXED);
        }
        uint32_t g = generation(__atomic_load_n(&hold->claim[k], __ATOMIC_RELAXED)) + 1;
        __atomic_store_n(&hold->count[k], 0u, __ATOMIC_RELAXED);
        __atomic_store_n(&hold->oldest[k], 0u, __ATOMIC_RELAXED);
        __atomic_store_n(&hold->claim[k], claim_word(g, k == fill ? 0 : ZULRA_HOLD_SHUT),
                         __ATOMIC_RELAXED);
    }
    __atomic_store_n(&hold->writer, 0u, __ATOMIC_RELEASE);
    // The writer thread is the parent's: the child starts its own at its
    // first half to write.
    if (__atomic_load_n(&hold->behind, __ATOMIC_RELAXED) == ZULRA_BEHIND_RUNNING)
        __atomic_store_n(&hold->behind, ZULRA_BEHIND_UNSTARTED, __ATOMIC_RELAXED);
    __atomic_store_n(&hold->posted, 0u, __ATOMIC_RELAXED);
    __atomic_store_n(&hold->written, 0u, __ATOMIC_RELAXED);
    ZULRA_handedOff = nullptr;
}

// At exit, and when the library is unloaded: lines held go out, and
// threads that still write do so line by line.
__attribute__((destructor)) void drain_at_exit()
{
    ZULRA_WriteOutLog(1);
}

} // namespace

void ZULRA_HoldLines(ZULRA_target_t *target, const char *setting, const char *writer)
{
    if (target->form == ZULRA_TO_JOURNAL || ZULPL_FileKind(target->fd) == ZULPL_FILE_TERMINAL)
        return;
    uint32_t size = wanted_size(setting);
    if (size == 0)
        return;
    uint32_t chunk = size / 4 < kChunk ? (size / 4) & ~63u : kChunk;
    size -= size % chunk;
    // Zeroed, so that no chunk bears the tag of a generation in use.
    char *bytes = static_cast<char *>(calloc(2, size));
    if (bytes == nullptr)
        return; // each line is written as it comes
    ZULRA_hold_t *hold = &target->hold;
    hold->size = size;
    hold->chunk = chunk;
    hold->claim[0] = claim_word(1, 0);
    hold->claim[1] = claim_word(1, ZULRA_HOLD_SHUT);
    hold->behind = wanted_writer(writer);
    __atomic_store_n(&hold->bytes, bytes, __ATOMIC_RELEASE);
    (void)ZULPL_OnFork(drain_now, empty_in_child);
}

int ZULRA_HoldsInChunks(const ZULRA_target_t *target)
{
    return __atomic_load_n(&target->hold.bytes, __ATOMIC_ACQUIRE) != nullptr;
}

void ZULRA_WriteHandedOff(void)
{
    ZULRA_target_t *target = ZULRA_handedOff;
    if (target == nullptr)
        return;
    ZULRA_handedOff = nullptr;
    (void)write_half(target, claimed(handedTicket), handedTicket);
}

uint32_t ZULRA_WriteHeld(ZULRA_target_t *target)
{
    if (!ZULRA_HoldsInChunks(target))
        return 0;
    ZULSS_HOLD(ZULRA_DefaultStoreLock());
    uint32_t written;
    uint32_t full = hand_off(target, &written);
    written += write_half(target, full);
    // What the program wrote to the same stream since the lines held
    // follows them.
    if (target->stream != nullptr && __fpending(target->stream) != 0)
        fflush(target->stream);
    return written;
}

int ZULRA_Put(ZULRA_target_t *target, const char *text, uint32_t length, uint32_t flags)
{
    ZULRA_hold_t *hold = &target->hold;
    if (__atomic_load_n(&hold->bytes, __ATOMIC_ACQUIRE) == nullptr) {
        if (target->stream != nullptr && __fpending(target->stream) != 0)
            fflush(target->stream);
        ZULPL_WriteAll(target->fd, text, length);
        return 0;
    }
    // The program's own output to the same stream keeps its place: what
    // it wrote since the last line follows the lines held before it.
    if (target->stream != nullptr && __fpending(target->stream) != 0)
        ZULRA_WriteHeld(target);

    ZULRA_tcb_t *tcb = ZULRA_Tcb();
    if (length > room(hold) || tcb == nullptr) {
        // Longer than a chunk, or no thread block to hold a chunk for the
        // thread: after all the lines held, on its own.
        ZULSS_HOLD(ZULRA_DefaultStoreLock());
        ZULRA_WriteHeld(target);
        ZULPL_WriteAll(target->fd, text, length);
        return 0;
    }
    uint32_t now = line_time();
    if (__builtin_expect(__atomic_load_n(&hold->armed, __ATOMIC_RELAXED) == 0, 0) &&
        __atomic_exchange_n(&hold->armed, 1u, __ATOMIC_ACQ_REL) == 0) {
        // The signals that end a process are taken when there is first
        // something to lose: a process whose log writes nothing keeps
        // their dispositions as they were.
        ZULPL_OnEnding(drain_ending);
    }
    append(target, tcb, text, length, now);

    uint32_t half = tcb->heldHalf;
    uint32_t oldest = __atomic_load_n(&hold->oldest[half], __ATOMIC_RELAXED);
    // An ERROR line, and every line of a process that is ending, are in
    // the file before the call returns; lines that have aged go with the
    // writer thread, as a full half does.
    int now_out = RAS1_WRITE_KIND(flags) == RAS1_ERROR ||
                  __atomic_load_n(&hold->through, __ATOMIC_ACQUIRE) != 0;
    if (now_out || (oldest != 0 && static_cast<int32_t>(now - oldest) >=
                                       static_cast<int32_t>(ZULRA_HOLD_AGE)))
        send_off(target, half, 0, !now_out);
    return 0;
}

void ZULRA_DrainHeld(ZULRA_target_t *target, int ending)
{
    ZULRA_hold_t *hold = &target->hold;
    if (__atomic_load_n(&hold->bytes, __ATOMIC_ACQUIRE) == nullptr)
        return;
    if (ending)
        __atomic_store_n(&hold->through, 1u, __ATOMIC_RELEASE);
    // A write under way on another thread is waited for, for a while:
    // beyond that the bytes it holds are written again rather than lost.
    // While this drain writes, no half is emptied, so the older half, the
    // one not being filled, goes first.
    int owned = take_writer(hold, ZULPL_ThreadId(), kPatience);
    uint32_t fill = __atomic_load_n(&hold->fill, __ATOMIC_ACQUIRE);
    drain_half(target, 1 - fill);
    drain_half(target, fill);
    if (owned)
        __atomic_store_n(&hold->writer, 0u, __ATOMIC_RELEASE);
}

void ZULRA_WriteOutLog(int ending)
{
    ZULRA_target_t *target = ZULRA_Target();
    if (target != nullptr)
        ZULRA_DrainHeld(target, ending);
}

void ZULRA_HoldAgain(void)
{
    ZULRA_target_t *target = ZULRA_Target();
    if (target != nullptr)
        __atomic_store_n(&target->hold.through, 0u, __ATOMIC_RELEASE);
}
