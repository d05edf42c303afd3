// zulrafd - ZULRA_Feed and its kin: the ring of chunks through which every
// line of the log reaches the console server's tails.
//
// The ring is mapped when the first tail attaches and stays mapped for
// the life of the process, so that a thread that logs can never write to
// memory that has gone; when the last tail leaves, its pages go back to
// the system.  A thread that logs claims chunk number n (slot n % the
// ring's chunks) with a compare-and-swap on `claimed`, as long as n is
// less than `released` + the ring's chunks, and fills it with whole lines
// (ras/zulrach.h).  The server seals the chunks in the order of their
// numbers, reads them, and releases them once every tail has passed them.
// Each thread's chunks are numbered in the order it claimed them and hold
// its lines in the order it wrote them, so the lines of a thread reach a
// tail in that order.
//
// A thread that finds no chunk to claim, because the server has not let
// go of enough of them, drops its lines and counts them; the count goes
// into the header of the next chunk it starts, so that the tails hear of
// the loss where it happened.  A line too long for a chunk is counted so
// too.
#include "ras/zulralg.h"
#include "ras/zulrach.h"

#include "internal/zulfeed.h"
#include "platform/zulplso.h"

#include <string.h>

namespace {

constexpr uint32_t kRoom = ZULRA_FEED_CHUNK - static_cast<uint32_t>(sizeof(ZULRA_chunkhead_t));
constexpr size_t kRingBytes = static_cast<size_t>(ZULRA_FEED_CHUNK) * ZULRA_FEED_CHUNKS;

// The words that every line reads come first; the words that claims move,
// the wake, and the server's own each have a cache line of their own.
struct Feed {
    char *ring;       // mapped at the first opening, never unmapped
    uint32_t open;    // 1 while a tail is attached
    uint32_t epoch;   // moves at each opening: chunks claimed before it are given up
    int wake;         // the server's wake pipe
    alignas(64) uint64_t claimed;  // chunks claimed so far
    uint32_t orphans;              // lines dropped by threads that could not say so themselves
    alignas(64) uint64_t released; // chunks the server has let go of
    alignas(64) uint32_t asleep;   // 1: the server waits, and the next claim wakes it
    uint32_t waking;               // threads between reading `asleep` and writing the byte
    alignas(64) uint64_t end;      // the server's: chunks sealed so far
};

constinit Feed feed = {};

ZULRA_chunkhead_t *chunk_at(uint64_t number)
{
    char *at = feed.ring + (number % ZULRA_FEED_CHUNKS) * ZULRA_FEED_CHUNK;
    return reinterpret_cast<ZULRA_chunkhead_t *>(at);
}

uint32_t count_lines(const char *text, uint32_t length)
{
    uint32_t n = 0;
    for (const char *p = text, *end = text + length;
         (p = static_cast<const char *>(memchr(p, '\n', static_cast<size_t>(end - p)))) != nullptr;
         ++p)
        ++n;
    return n;
}

// A claim that finds the server waiting wakes it.  `waking` tells the
// server, when it closes the feed, that a thread may still be about to
// write to the pipe.
void wake_server()
{
    if (__atomic_load_n(&feed.asleep, __ATOMIC_SEQ_CST) == 0)
        return;
    __atomic_fetch_add(&feed.waking, 1u, __ATOMIC_SEQ_CST);
    if (__atomic_exchange_n(&feed.asleep, 0u, __ATOMIC_SEQ_CST) != 0)
        ZULPL_Wake(feed.wake);
    __atomic_fetch_sub(&feed.waking, 1u, __ATOMIC_RELEASE);
}

// Gives the thread the next chunk of the ring: 1, or 0 when the ring has
// none free.
int claim(ZULRA_tcb_t *tcb)
{
    uint64_t number = __atomic_load_n(&feed.claimed, __ATOMIC_RELAXED);
    do {
        if (number >= __atomic_load_n(&feed.released, __ATOMIC_ACQUIRE) + ZULRA_FEED_CHUNKS)
            return 0;
    } while (!__atomic_compare_exchange_n(&feed.claimed, &number, number + 1, false,
                                          __ATOMIC_SEQ_CST, __ATOMIC_RELAXED));
    uint32_t dropped = tcb->fedDropped;
    if (__atomic_load_n(&feed.orphans, __ATOMIC_RELAXED) != 0)
        dropped += __atomic_exchange_n(&feed.orphans, 0u, __ATOMIC_RELAXED);
    ZULRA_chunkhead_t *head = chunk_at(number);
    tcb->fedDropped = 0;
    if (!ZULRA_ChunkStart(head, static_cast<uint32_t>(number), dropped)) {
        // The server sealed the chunk empty before the thread came to
        // start it: the count goes with the next one the thread claims.
        tcb->fedDropped = dropped;
        tcb->fed = nullptr;
        return 1;
    }
    tcb->fed = head;
    tcb->fedTag = static_cast<uint32_t>(number);
    wake_server();
    return 1;
}

} // namespace

void ZULRA_Feed(const char *text, uint32_t length, uint32_t lines)
{
    if (__atomic_load_n(&feed.open, __ATOMIC_ACQUIRE) == 0 || length == 0)
        return;
    if (lines == 0)
        lines = count_lines(text, length);
    ZULRA_tcb_t *tcb = ZULRA_Tcb();
    if (tcb == nullptr) {
        __atomic_fetch_add(&feed.orphans, lines, __ATOMIC_RELAXED);
        return;
    }
    if (length > kRoom) {
        tcb->fedDropped += lines;
        return;
    }
    uint32_t epoch = __atomic_load_n(&feed.epoch, __ATOMIC_RELAXED);
    if (tcb->fedEpoch != epoch) {
        tcb->fed = nullptr;
        tcb->fedEpoch = epoch;
    }
    for (;;) {
        if (tcb->fed != nullptr) {
            uint64_t was;
            int64_t at = ZULRA_ChunkBegin(tcb->fed, tcb->fedTag, length, kRoom, &was);
            if (at >= 0) {
                memcpy(reinterpret_cast<char *>(tcb->fed + 1) + at, text, length);
                ZULRA_ChunkEnd(tcb->fed, was, length, lines);
                return;
            }
            tcb->fed = nullptr;
        }
        if (!claim(tcb)) {
            tcb->fedDropped += lines;
            return;
        }
    }
}

void ZULRA_FeedLeave(ZULRA_tcb_t *tcb)
{
    if (tcb->fedDropped != 0)
        __atomic_fetch_add(&feed.orphans, tcb->fedDropped, __ATOMIC_RELAXED);
    tcb->fedDropped = 0;
    tcb->fed = nullptr;
}

int ZULRA_FeedOpen(int wake)
{
    if (feed.ring == nullptr) {
        char *ring = static_cast<char *>(ZULPL_MapPages(kRingBytes));
        if (ring == nullptr)
            return -1;
        __atomic_store_n(&feed.ring, ring, __ATOMIC_RELEASE);
    }
    feed.wake = wake;
    uint64_t claimed = __atomic_load_n(&feed.claimed, __ATOMIC_ACQUIRE);
    feed.end = claimed;
    __atomic_store_n(&feed.released, claimed, __ATOMIC_RELEASE);
    __atomic_fetch_add(&feed.epoch, 1u, __ATOMIC_RELEASE);
    __atomic_store_n(&feed.open, 1u, __ATOMIC_RELEASE);
    return 0;
}

void ZULRA_FeedClose(void)
{
    __atomic_store_n(&feed.open, 0u, __ATOMIC_RELEASE);
    __atomic_store_n(&feed.asleep, 0u, __ATOMIC_SEQ_CST);
    while (__atomic_load_n(&feed.waking, __ATOMIC_SEQ_CST) != 0)
        ZULPL_Yield();
    ZULPL_DropPages(feed.ring, kRingBytes);
}

void ZULRA_FeedForget(void)
{
    __atomic_store_n(&feed.open, 0u, __ATOMIC_RELAXED);
    __atomic_store_n(&feed.asleep, 0u, __ATOMIC_RELAXED);
    __atomic_store_n(&feed.waking, 0u, __ATOMIC_RELAXED);
    ZULPL_DropPages(feed.ring, kRingBytes);
}

uint64_t ZULRA_FeedSeal(uint64_t *first)
{
    *first = __atomic_load_n(&feed.released, __ATOMIC_RELAXED);
    uint64_t claimed = __atomic_load_n(&feed.claimed, __ATOMIC_ACQUIRE);
    // A chunk claimed and not yet started is sealed empty: its thread,
    // when it comes to start it, claims another, so the server never
    // waits for a thread that is held up.  Nor for a chunk whose header a
    // thread still copying from before the feed was last closed has set
    // back to an older tag: it is passed by in the same way.
    while (feed.end < claimed) {
        uint64_t state;
        if (!ZULRA_ChunkSeal(chunk_at(feed.end), static_cast<uint32_t>(feed.end), 1, &state))
            break;
        feed.end++;
    }
    return feed.end;
}

void ZULRA_FeedChunk(uint64_t number, ZULRA_feedchunk_t *chunk)
{
    ZULRA_chunkhead_t *head = chunk_at(number);
    uint64_t state = __atomic_load_n(&head->state, __ATOMIC_ACQUIRE);
    chunk->text = reinterpret_cast<const char *>(head + 1);
    chunk->length = ZULRA_ChunkUsed(state);
    chunk->lines = ZULRA_ChunkLines(state);
    chunk->dropped = __atomic_load_n(&head->dropped, __ATOMIC_RELAXED);
}

void ZULRA_FeedRelease(uint64_t number)
{
    __atomic_store_n(&feed.released, number, __ATOMIC_RELEASE);
}

int ZULRA_FeedSleep(void)
{
    if (__atomic_load_n(&feed.claimed, __ATOMIC_ACQUIRE) != feed.end)
        return 0;
    __atomic_store_n(&feed.asleep, 1u, __ATOMIC_SEQ_CST);
    if (__atomic_load_n(&feed.claimed, __ATOMIC_SEQ_CST) == feed.end)
        return 1;
    __atomic_store_n(&feed.asleep, 0u, __ATOMIC_RELAXED);
    return 0;
}
