// ZULCR_TailAttach and its kin: the console server's tails, and how each
// is written from the log's feed.
//
// Every line of the log goes once into the feed (internal/zulfeed.h),
// however many tails there are, and the server thread writes each tail's
// socket straight from it.  A tail is a place in the feed: the chunk it
// reads and how much of it it has taken.  The threads that log may reuse
// a chunk once every tail has passed it; a tail that holds more than half
// of the feed (its reader is slow, or has stopped) is moved forward, and
// the lines it passes over are counted from the chunks' own counts, so
// that the report "*** N lines dropped" that it gets before its next line
// is exact.  Lines that a thread could not put into the feed at all are
// counted in the header of its next chunk, and reported to each tail in
// the same place.
//
// A tail is given at most ZULCR_TAIL_BUDGET bytes a millisecond: what
// its reader and the server spend on it is bounded, whatever the log
// writes, so that tails do not take the processors from the threads that
// log.  A tail that falls behind by that loses lines, and is told.
//
// A short write can cut a line: its rest is kept in the tail and goes
// first next time, so a tail's reader always gets whole lines, and the
// report of a loss never lands inside one.
#include "crf/zulcrso.h"

#include <stdio.h>
#include <string.h>

#include "internal/zulfeed.h"

struct ZULCR_tail {
    uint64_t chunk;    // the feed's chunk being read
    uint32_t offset;   // bytes of it taken
    uint32_t lines;    // lines of it taken
    uint32_t counted;  // the lines its thread dropped before it are in `dropped`
    uint64_t dropped;  // lines lost and not yet reported
    uint32_t budget;   // bytes it may still be given in millisecond `tick`
    uint32_t tick;
    uint32_t owedAt;   // `owed[owedAt, owedLength)` goes out before anything else
    uint32_t owedLength;
    char owed[ZULRA_FEED_CHUNK + 64]; // the rest of a cut line, and a report
};

namespace {

// Room for the longest report of a loss.
constexpr uint32_t kReportMax = 48;

// The server thread's own: the tails, and the feed's end as the turn
// sealed it.
struct Tails {
    uint32_t count;
    uint64_t end;
    ZULCR_tail_t *tails[ZULCR_TAILS];
};

constinit Tails tails = {};

uint32_t count_lines(const char *text, uint32_t length)
{
    uint32_t n = 0;
    for (const char *p = text, *end = text + length;
         (p = static_cast<const char *>(memchr(p, '\n', size_t(end - p)))) != nullptr; ++p)
        ++n;
    return n;
}

void next_chunk(ZULCR_tail_t *t)
{
    ++t->chunk;
    t->offset = 0;
    t->lines = 0;
    t->counted = 0;
}

// Moves the tail on to where it has lines to take: past the chunks it has
// taken whole, counting the losses that come before a chunk as it
// reaches it.
void settle(ZULCR_tail_t *t)
{
    while (t->chunk < tails.end) {
        ZULRA_feedchunk_t c;
        ZULRA_FeedChunk(t->chunk, &c);
        if (!t->counted) {
            t->dropped += c.dropped;
            t->counted = 1;
        }
        if (t->offset < c.length)
            return;
        next_chunk(t);
    }
}

// Moves the tail forward to chunk `to`, counting the lines it passes.
void skip(ZULCR_tail_t *t, uint64_t to)
{
    for (; t->chunk < to; next_chunk(t)) {
        ZULRA_feedchunk_t c;
        ZULRA_FeedChunk(t->chunk, &c);
        t->dropped += (c.lines - t->lines) + (t->counted ? 0u : c.dropped);
    }
}

// The report of the tail's losses goes behind what it is owed already.
void owe_report(ZULCR_tail_t *t)
{
    if (t->dropped == 0 || t->owedLength + kReportMax > sizeof t->owed)
        return;
    int n = snprintf(t->owed + t->owedLength, kReportMax, "*** %llu %s dropped\n",
                     static_cast<unsigned long long>(t->dropped), t->dropped == 1 ? "line" : "lines");
    if (n > 0 && uint32_t(n) < kReportMax) {
        t->owedLength += uint32_t(n);
        t->dropped = 0;
    }
}

} // namespace

// A tail's memory is pages of its own, so that a tail that leaves gives it
// back to the system rather than to the heap.
uint32_t ZULCR_TailAttach(ZULCR_tail_t **tail, int wake)
{
    if (tails.count == ZULCR_TAILS)
        return ZULCR_REPLY_TOO_MANY_TAILS;
    ZULCR_tail_t *t = static_cast<ZULCR_tail_t *>(ZULPL_MapPages(sizeof *t));
    if (t == nullptr)
        return ZULCR_REPLY_NO_MEMORY;
    if (tails.count == 0 && ZULRA_FeedOpen(wake) != 0) {
        ZULPL_UnmapPages(t, sizeof *t);
        return ZULCR_REPLY_NO_MEMORY;
    }
    uint64_t first;
    tails.end = ZULRA_FeedSeal(&first);
    t->chunk = tails.end;
    tails.tails[tails.count++] = t;
    *tail = t;
    return 0;
}

void ZULCR_TailDetach(ZULCR_tail_t *tail)
{
    for (uint32_t i = 0; i < tails.count; ++i)
        if (tails.tails[i] == tail) {
            tails.tails[i] = tails.tails[--tails.count];
            break;
        }
    if (tails.count == 0)
        ZULRA_FeedClose();
    ZULPL_UnmapPages(tail, sizeof *tail);
}

bool ZULCR_TailsAttached(void)
{
    return tails.count != 0;
}

void ZULCR_TailTurn(uint32_t now)
{
    (void)now;
    if (tails.count == 0)
        return;
    uint64_t first;
    tails.end = ZULRA_FeedSeal(&first);
    // Half the feed is kept free for the threads that log.
    if (tails.end - first > ZULRA_FEED_CHUNKS / 2) {
        uint64_t to = tails.end - ZULRA_FEED_CHUNKS / 2;
        for (uint32_t i = 0; i < tails.count; ++i)
            if (tails.tails[i]->chunk < to)
                skip(tails.tails[i], to);
    }
}

uint32_t ZULCR_TailPeek(ZULCR_tail_t *t, ZULPL_piece_t *pieces, uint32_t now, bool *more)
{
    if (t->tick != now) {
        t->tick = now;
        t->budget = ZULCR_TAIL_BUDGET;
    }
    settle(t);
    owe_report(t);
    *more = t->chunk < tails.end || t->owedAt < t->owedLength;
    uint32_t n = 0, given = 0;
    if (t->owedAt < t->owedLength) {
        pieces[n++] = {t->owed + t->owedAt, size_t(t->owedLength - t->owedAt)};
        given = t->owedLength - t->owedAt;
    }
    // Whole lines of the chunks that follow, within the budget; a chunk
    // whose thread dropped lines before it waits until the report has
    // gone out.
    for (uint64_t at = t->chunk; at < tails.end && n < ZULPL_PIECES_MAX && given < t->budget; ++at) {
        ZULRA_feedchunk_t c;
        ZULRA_FeedChunk(at, &c);
        if (at != t->chunk && c.dropped != 0)
            break;
        uint32_t from = at == t->chunk ? t->offset : 0;
        uint32_t length = c.length - from;
        if (length == 0)
            continue;
        if (given + length > t->budget) {
            // As many whole lines as the budget holds; the first line of
            // a write goes even if it alone is more.
            const char *text = c.text + from;
            const void *last = memrchr(text, '\n', t->budget - given);
            if (last == nullptr && given != 0)
                break;
            if (last == nullptr)
                last = memchr(text, '\n', length);
            pieces[n++] = {text, size_t(static_cast<const char *>(last) - text) + 1};
            break;
        }
        pieces[n++] = {c.text + from, length};
        given += length;
    }
    return n;
}

void ZULCR_TailTaken(ZULCR_tail_t *t, uint32_t length)
{
    t->budget = length < t->budget ? t->budget - length : 0;
    uint32_t owed = t->owedLength - t->owedAt;
    if (length < owed) {
        t->owedAt += length;
        return;
    }
    length -= owed;
    t->owedAt = t->owedLength = 0;
    while (length > 0 && t->chunk < tails.end) {
        ZULRA_feedchunk_t c;
        ZULRA_FeedChunk(t->chunk, &c);
        uint32_t left = c.length - t->offset;
        if (length >= left) {
            length -= left;
            next_chunk(t);
            settle(t);
            continue;
        }
        // The write ended inside this chunk: count the lines it took, and
        // keep the rest of a line it cut for the next write.
        const char *at = c.text + t->offset;
        t->lines += count_lines(at, length);
        t->offset += length;
        if (at[length - 1] != '\n') {
            const char *end = static_cast<const char *>(memchr(at + length, '\n', left - length));
            uint32_t rest = uint32_t(end - (at + length)) + 1;
            memcpy(t->owed, at + length, rest);
            t->owedLength = rest;
            t->offset += rest;
            t->lines += 1;
        }
        length = 0;
    }
}

bool ZULCR_TailRest(bool more)
{
    if (tails.count == 0)
        return false;
    uint64_t keep = tails.end;
    for (uint32_t i = 0; i < tails.count; ++i)
        if (tails.tails[i]->chunk < keep)
            keep = tails.tails[i]->chunk;
    ZULRA_FeedRelease(keep);
    return more || !ZULRA_FeedSleep();
}

void ZULCR_TailForget(void)
{
    ZULRA_FeedForget();
    for (uint32_t i = 0; i < tails.count; ++i)
        ZULPL_UnmapPages(tails.tails[i], sizeof *tails.tails[i]);
    memset(&tails, 0, sizeof tails);
}
