// internal/zulfeed.h - the log's lines for watchers outside the process:
// the console server's tails read every line as the log writes it.
//
// While a tail is attached, every thread that logs puts each line once
// into the feed, a ring of chunks in memory shared by all the tails
// (src/ras/zulrafd.cpp), whatever the store, the target, or the number of
// tails; the console server's thread writes each tail's socket from there
// (src/crf/zulcrtl.cpp).  A thread claims a chunk of the ring with one
// atomic operation and fills it with whole lines of its own, so a line
// costs its writer one copy and no word shared with other threads.  A
// thread that finds the ring full of chunks that the server has not yet
// let go of drops its lines, counts them, and says how many in the header
// of its next chunk, where they were lost: the program never waits for a
// tail.
//
// Everything but ZULRA_Feed runs on the console server's thread only.
#ifndef ZUL_SRC_INTERNAL_ZULFEED_H
#define ZUL_SRC_INTERNAL_ZULFEED_H

#include <stdint.h>

// A chunk of the ring holds this many bytes, its header included; a line
// longer than the rest does not fit and is counted as dropped.  The ring
// holds ZULRA_FEED_CHUNKS of them.
#define ZULRA_FEED_CHUNK 8192u
#define ZULRA_FEED_CHUNKS 128u

// Gives `length` bytes of whole lines, `lines` of them, each ending with
// a line feed, to the feed, as they go to their store.  The lines of one
// thread reach the tails in the order the thread gives them.  Does
// nothing, at the cost of one load, while no tail is attached.
void ZULRA_Feed(const char *text, uint32_t length, uint32_t lines);

// Opens the feed for the first tail: from now on lines go into the ring.
// `wake` is the server's wake pipe, written when a line comes while the
// server sleeps.  0, or -1 without memory.
int ZULRA_FeedOpen(int wake);

// Closes the feed when the last tail has gone: lines stop coming, and the
// ring's memory goes back to the system.  Returns once no thread that
// logs can still write to `wake`.
void ZULRA_FeedClose(void);

// The child of a fork: its parent's tails are not its own; the feed is
// closed without waiting for threads that do not exist here.
void ZULRA_FeedForget(void);

// Seals the chunks that threads have filled since the last turn, as far
// as it can (a chunk being copied into just now waits for the next turn).
// Chunks from the first still held, `*first`, up to the one returned are
// final: their lines can be read, and will not change.
uint64_t ZULRA_FeedSeal(uint64_t *first);

// A sealed chunk, by its number.
typedef struct ZULRA_feedchunk {
    const char *text;  // its lines
    uint32_t length;   // bytes of them
    uint32_t lines;    // how many
    uint32_t dropped;  // lines that its thread dropped just before it
} ZULRA_feedchunk_t;

void ZULRA_FeedChunk(uint64_t number, ZULRA_feedchunk_t *chunk);

// Lets threads that log reuse the chunks before `number`, which every
// tail has passed.
void ZULRA_FeedRelease(uint64_t number);

// The server is about to wait with nothing left to write: 1 when a line
// that comes from now on will wake it; 0 when lines came meanwhile, and
// the server should look again.
int ZULRA_FeedSleep(void);

#endif
