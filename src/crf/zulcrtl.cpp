// ZULCR_TailAttach and its kin: the queues of log lines of the console
// server's tails, and the feed through which the log fills them.
//
// Each tail has a ring of ZULCR_TAIL_QUEUE bytes.  A thread that logs puts
// its batch of whole lines into every tail under one brief lock, or, when
// a tail's ring has no room for the batch, only counts its lines as
// dropped: it never waits for a tail's reader, its socket or the server
// thread.  The server thread writes the bytes straight from the ring to
// the socket, and reports lines dropped by a line of its own where they
// were lost, "*** N lines dropped".
//
// A tail that the server has emptied is marked asleep; the first line fed
// to it wakes the server with one byte on its wake pipe.  So a busy log
// costs one wake for each turn of the server rather than one for each
// line, and a tail whose socket is full costs none: the server watches
// that socket instead.
#include "crf/zulcrso.h"

#include <stdio.h>
#include <string.h>

#include "internal/zulfeed.h"
#include "platform/zulplat.h"

struct ZULCR_tail {
    uint32_t head;     // bytes put in since the tail was attached; wraps
    uint32_t taken;    // bytes taken out likewise
    uint64_t dropped;  // lines lost since the last report of a loss
    uint8_t asleep;    // nothing waits and the server is not looking
    char ring[ZULCR_TAIL_QUEUE];
};

namespace {

static_assert((ZULCR_TAIL_QUEUE & (ZULCR_TAIL_QUEUE - 1)) == 0, "the ring's size is a power of two");

// Room for the longest report of a loss, so that a full ring is told
// apart without formatting one.
constexpr uint32_t kReportMax = 48;

// Everything here is guarded by `lock`, which is taken inside a store's
// lock by the threads that log, and alone by the server thread.  Nothing
// under it writes to the log.
struct Feed {
    ZULSS_lock_t lock;
    uint32_t count;
    int wake;
    ZULCR_tail_t *tails[ZULCR_TAILS];
};

constinit Feed feed = {};

uint32_t used(const ZULCR_tail_t *t)
{
    return t->head - t->taken;
}

void put(ZULCR_tail_t *t, const char *text, uint32_t length)
{
    uint32_t at = t->head & (ZULCR_TAIL_QUEUE - 1);
    uint32_t first = ZULCR_TAIL_QUEUE - at < length ? ZULCR_TAIL_QUEUE - at : length;
    memcpy(t->ring + at, text, first);
    memcpy(t->ring, text + first, length - first);
    t->head += length;
}

uint32_t report(char *text, uint64_t lines)
{
    return uint32_t(snprintf(text, kReportMax, "*** %llu %s dropped\n", static_cast<unsigned long long>(lines),
                             lines == 1 ? "line" : "lines"));
}

uint64_t count_lines(const char *text, uint32_t length)
{
    uint64_t n = 0;
    for (const char *p = text, *end = text + length; (p = static_cast<const char *>(memchr(p, '\n', size_t(end - p)))) != nullptr; ++p)
        ++n;
    return n;
}

// The feed: runs on every thread that logs, under its store's lock.
void feed_lines(const char *text, uint32_t length)
{
    uint64_t lines = 0;
    bool wake = false;
    BSS1_GetLock(&feed.lock);
    for (uint32_t i = 0; i < feed.count; ++i) {
        ZULCR_tail_t *t = feed.tails[i];
        uint32_t room = ZULCR_TAIL_QUEUE - used(t);
        if (t->dropped == 0 && length <= room) {
            put(t, text, length);
        } else if (t->dropped != 0 && length + kReportMax <= room) {
            char line[kReportMax];
            put(t, line, report(line, t->dropped));
            put(t, text, length);
            t->dropped = 0;
        } else {
            if (lines == 0)
                lines = count_lines(text, length);
            t->dropped += lines;
            continue;
        }
        if (t->asleep) {
            t->asleep = 0;
            wake = true;
        }
    }
    // The byte goes while the lock is held, so that the server cannot
    // have detached the last tail and closed the pipe in between.
    if (wake)
        ZULPL_Wake(feed.wake);
    BSS1_ReleaseLock(&feed.lock);
}

} // namespace

// A tail's queue is pages of its own, so that a tail that leaves gives its
// memory back to the system rather than to the heap.
uint32_t ZULCR_TailAttach(ZULCR_tail_t **tail, int wake)
{
    ZULCR_tail_t *t = static_cast<ZULCR_tail_t *>(ZULPL_MapPages(sizeof *t));
    if (t == nullptr)
        return ZULCR_REPLY_NO_MEMORY;
    t->asleep = 1;
    BSS1_GetLock(&feed.lock);
    if (feed.count == ZULCR_TAILS) {
        BSS1_ReleaseLock(&feed.lock);
        ZULPL_UnmapPages(t, sizeof *t);
        return ZULCR_REPLY_TOO_MANY_TAILS;
    }
    feed.wake = wake;
    feed.tails[feed.count++] = t;
    ZULRA_feed.store(feed_lines, std::memory_order_relaxed);
    BSS1_ReleaseLock(&feed.lock);
    *tail = t;
    return 0;
}

void ZULCR_TailDetach(ZULCR_tail_t *tail)
{
    BSS1_GetLock(&feed.lock);
    for (uint32_t i = 0; i < feed.count; ++i)
        if (feed.tails[i] == tail) {
            feed.tails[i] = feed.tails[--feed.count];
            break;
        }
    if (feed.count == 0)
        ZULRA_feed.store(nullptr, std::memory_order_relaxed);
    BSS1_ReleaseLock(&feed.lock);
    ZULPL_UnmapPages(tail, sizeof *tail);
}

uint32_t ZULCR_TailPeek(ZULCR_tail_t *t, ZULPL_piece_t pieces[2], bool arm)
{
    BSS1_GetLock(&feed.lock);
    // Lines were lost and none came after them: the report goes in alone,
    // into a ring that is empty.
    if (used(t) == 0 && t->dropped != 0) {
        char line[kReportMax];
        put(t, line, report(line, t->dropped));
        t->dropped = 0;
    }
    uint32_t n = used(t);
    uint32_t count = 0;
    if (n == 0) {
        t->asleep = uint8_t(arm);
    } else {
        // The bytes between `taken` and `head` stay where they are until
        // ZULCR_TailTaken gives them up, so the caller reads them without
        // the lock.
        uint32_t at = t->taken & (ZULCR_TAIL_QUEUE - 1);
        uint32_t first = ZULCR_TAIL_QUEUE - at < n ? ZULCR_TAIL_QUEUE - at : n;
        pieces[count++] = {t->ring + at, first};
        if (n > first)
            pieces[count++] = {t->ring, size_t(n - first)};
    }
    BSS1_ReleaseLock(&feed.lock);
    return count;
}

void ZULCR_TailTaken(ZULCR_tail_t *t, uint32_t length)
{
    BSS1_GetLock(&feed.lock);
    t->taken += length;
    BSS1_ReleaseLock(&feed.lock);
}

void ZULCR_TailForget(void)
{
    ZULRA_feed.store(nullptr, std::memory_order_relaxed);
    for (uint32_t i = 0; i < feed.count; ++i)
        ZULPL_UnmapPages(feed.tails[i], sizeof *feed.tails[i]);
    memset(&feed, 0, sizeof feed);
}
