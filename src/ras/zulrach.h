// ras/zulrach.h - chunks of a shared area that one thread fills with whole
// lines and another seals: the protocol of the default store's buffer
// (zulrabu) and of the tails' feed (zulrafd).
//
// A thread that logs claims a chunk of the area with one atomic add on a
// word of the area's, and then appends its lines to the chunk with no
// word shared with the threads that log beside it: the chunk's header
// sits on the chunk's own first cache line.  So two threads that run at
// once pass no cache line back and forth for each line, only for each
// chunk.  The text of a chunk is a run of whole lines, in the order in
// which its thread wrote them.
//
// Whoever empties the area (the thread that writes the buffer out, the
// console server's thread) first seals each chunk: from then on its owner
// appends nothing more to it and claims a new one.  An append marks the
// chunk busy for the time of its copy, and a seal waits for that mark to
// go, so that no line is cut or lost, and no chunk is emptied while its
// owner still copies into it.  A chunk is claimed under a tag (the area's
// generation, or the claim's number) that its header takes when the owner
// starts it: an owner that comes back to a chunk that was emptied and
// claimed again finds another tag, and goes elsewhere.
#ifndef ZUL_SRC_RAS_ZULRACH_H
#define ZUL_SRC_RAS_ZULRACH_H

#include <stdint.h>

#include "platform/zulplat.h"

// The header at the start of a chunk.  `state` holds, from the low bits
// up: the bytes of whole lines in the chunk (20 bits), the count of those
// lines (20 bits), the busy mark, the seal, and the tag (22 bits).
// `done` is what the chunk's reader has taken of the bytes; `dropped` is
// free for the area's own use.
typedef struct ZULRA_chunkhead {
    uint64_t state;
    uint32_t done;
    uint32_t dropped;
} ZULRA_chunkhead_t;

#define ZULRA_CHUNK_USED 0xFFFFFull
#define ZULRA_CHUNK_LINE (1ull << 20)
#define ZULRA_CHUNK_LINES (0xFFFFFull << 20)
#define ZULRA_CHUNK_BUSY (1ull << 40)
#define ZULRA_CHUNK_SEALED (1ull << 41)
#define ZULRA_CHUNK_TAG_SHIFT 42
#define ZULRA_CHUNK_TAGS 0x3FFFFFu

static inline uint32_t ZULRA_ChunkTag(uint64_t state)
{
    return static_cast<uint32_t>(state >> ZULRA_CHUNK_TAG_SHIFT);
}

static inline uint32_t ZULRA_ChunkUsed(uint64_t state)
{
    return static_cast<uint32_t>(state & ZULRA_CHUNK_USED);
}

static inline uint32_t ZULRA_ChunkLines(uint64_t state)
{
    return static_cast<uint32_t>((state & ZULRA_CHUNK_LINES) >> 20);
}

static inline uint64_t ZULRA_ChunkState(uint32_t tag)
{
    return static_cast<uint64_t>(tag & ZULRA_CHUNK_TAGS) << ZULRA_CHUNK_TAG_SHIFT;
}

// Whether tag `tag` is later than the tag of `state`: tags go up from
// claim to claim of the same memory, and wrap within their 22 bits.  A
// state of zero bytes is memory never used (or given back to the system
// and mapped afresh), older than any tag.
static inline int ZULRA_ChunkOlder(uint64_t state, uint32_t tag)
{
    if (state == 0)
        return 1;
    uint32_t ahead = (tag - ZULRA_ChunkTag(state)) & ZULRA_CHUNK_TAGS;
    return ahead != 0 && ahead < (ZULRA_CHUNK_TAGS + 1) / 2;
}

// The owner starts a chunk it has just claimed under `tag`, with `dropped`
// in its header: 1 when it may append to it; 0 when it was sealed before
// it started (its reader has passed it by), or when it already bears a
// later tag (the owner was held up so long after its claim that the
// memory has been emptied and claimed again since), and the owner must
// claim another.  A thread that held the same memory under an older tag
// and is still copying into it (it had not yet seen that it lost it) is
// waited for: its copy ends in a moment, and its append then fails.
static inline int ZULRA_ChunkStart(ZULRA_chunkhead_t *head, uint32_t tag, uint32_t dropped)
{
    tag &= ZULRA_CHUNK_TAGS;
    uint64_t was = __atomic_load_n(&head->state, __ATOMIC_ACQUIRE);
    for (;;) {
        if (!ZULRA_ChunkOlder(was, tag))
            return 0;
        if ((was & ZULRA_CHUNK_BUSY) != 0) {
            ZULPL_Yield();
            was = __atomic_load_n(&head->state, __ATOMIC_ACQUIRE);
            continue;
        }
        // The chunk is taken first, marked busy, and its header words are
        // set only then: a thread that fails here must not touch them,
        // for the chunk may by now hold the lines of its next owner, and
        // a `done` set back to 0 would have them written a second time.
        // The busy mark keeps sealers of this tag away until the header
        // is right; one that seals the chunk under another tag meanwhile
        // has passed it by, and the owner goes elsewhere.
        uint64_t taken = ZULRA_ChunkState(tag) | ZULRA_CHUNK_BUSY;
        if (__atomic_compare_exchange_n(&head->state, &was, taken, false, __ATOMIC_ACQUIRE,
                                        __ATOMIC_ACQUIRE)) {
            __atomic_store_n(&head->done, 0u, __ATOMIC_RELAXED);
            __atomic_store_n(&head->dropped, dropped, __ATOMIC_RELAXED);
            return __atomic_compare_exchange_n(&head->state, &taken, ZULRA_ChunkState(tag), false,
                                               __ATOMIC_RELEASE, __ATOMIC_RELAXED);
        }
    }
}

// The owner begins to append `length` bytes to its chunk of tag `tag`,
// which holds `room` bytes of text: the offset to copy them to, with the
// chunk marked busy and the state before it in `*was`; or -1 when the
// chunk has been sealed or taken over, or has no room, and the owner must
// claim another.
static inline int64_t ZULRA_ChunkBegin(ZULRA_chunkhead_t *head, uint32_t tag, uint32_t length,
                                       uint32_t room, uint64_t *was)
{
    uint64_t state = __atomic_load_n(&head->state, __ATOMIC_RELAXED);
    if (ZULRA_ChunkTag(state) != (tag & ZULRA_CHUNK_TAGS) ||
        (state & (ZULRA_CHUNK_BUSY | ZULRA_CHUNK_SEALED)) != 0 ||
        ZULRA_ChunkUsed(state) + static_cast<uint64_t>(length) > room)
        return -1;
    if (!__atomic_compare_exchange_n(&head->state, &state, state | ZULRA_CHUNK_BUSY, false,
                                     __ATOMIC_ACQUIRE, __ATOMIC_RELAXED))
        return -1;
    *was = state;
    return ZULRA_ChunkUsed(state);
}

// The append is in place: `length` more bytes, `lines` more lines, and the
// busy mark gone.  Only the owner changes a busy state, so a store does.
static inline void ZULRA_ChunkEnd(ZULRA_chunkhead_t *head, uint64_t was, uint32_t length,
                                  uint32_t lines)
{
    __atomic_store_n(&head->state, was + length + lines * ZULRA_CHUNK_LINE, __ATOMIC_RELEASE);
}

// Seals the chunk for its reader, which expects it under `tag`: 1 with the
// final state in `*sealed`; 0 when its owner is appending just now (the
// caller waits or tries later).  A chunk that still bears an older tag was
// claimed and not yet started: with `unstarted` it is sealed empty under
// `tag`, and its owner goes elsewhere when it comes to start it; without,
// the call gives 0 as for a chunk being appended to.
static inline int ZULRA_ChunkSeal(ZULRA_chunkhead_t *head, uint32_t tag, int unstarted,
                                  uint64_t *sealed)
{
    tag &= ZULRA_CHUNK_TAGS;
    uint64_t state = __atomic_load_n(&head->state, __ATOMIC_ACQUIRE);
    for (;;) {
        uint64_t next;
        if (ZULRA_ChunkTag(state) != tag) {
            if (!unstarted)
                return 0;
            next = ZULRA_ChunkState(tag) | ZULRA_CHUNK_SEALED;
        } else if ((state & ZULRA_CHUNK_SEALED) != 0) {
            next = state;
        } else if ((state & ZULRA_CHUNK_BUSY) != 0) {
            return 0;
        } else {
            next = state | ZULRA_CHUNK_SEALED;
        }
        if (next == state ||
            __atomic_compare_exchange_n(&head->state, &state, next, false, __ATOMIC_ACQ_REL,
                                        __ATOMIC_ACQUIRE)) {
            *sealed = next;
            return 1;
        }
    }
}

#endif
