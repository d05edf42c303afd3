// ZULCR_Serve: the console server's thread: connections, framing, limits.
//
// One thread waits on an event set that holds the listening socket, a
// wake pipe and every connection, and never holds a library lock while
// it waits; a wait costs the same however many connections are quiet.
// Each connection has a console of its own.  A request is one line ending
// in LF; the reply is a header line "ZUL <status> <length>\n" and then
// exactly <length> bytes of the console's output, queued for the
// connection and written in the turn that ran the line, as far as the
// socket takes it.
//
// No client may hold the console from the others: a line must be whole
// within a few seconds, output that the client does not take stops its
// lines and then closes it, and when a new connection waits and none can
// be taken on, the connection that has been quiet longest makes room.
// When accepting fails (the process is out of descriptors) the listener
// rests until a connection closes or a short time has passed, and the log
// gets one line when that begins and one when it ends.
//
// A connection that asks for it with ".tail" becomes a tail: from then on
// it carries every line of the log as the log writes it, from the log's
// feed (zulcrtl.cpp), and takes no more lines.  A tail is bounded by the
// feed, which drops lines for it instead of growing, so it is exempt from
// the limits of time that keep command connections moving: an operator
// who reads slowly, or not at all for a while, loses lines and is told
// how many, and is never closed for it.
#include "crf/zulcrso.h"
#include "crf/zulcr.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "internal/zulring.h"
#include "internal/zulunits.h"
#include "platform/zulplat.h"

ZULRA_CRF1_UNIT("zulcrsv");

namespace {

constexpr uint32_t kEvents = ZULCR_SOCKET_CONNECTIONS + 2;

// Wrap-safe order of ticks: is `t` at or past `at`?
bool reached(uint32_t t, uint32_t at)
{
    return int32_t(t - at) >= 0;
}

uint32_t earlier(uint32_t a, uint32_t b)
{
    return int32_t(a - b) <= 0 ? a : b;
}

// Appends a piece of output; the piece and its text are one allocation.
void queue(ZULCR_conn_t *c, ZULCR_out_t *o, uint32_t now)
{
    o->next = nullptr;
    o->sent = 0;
    if (c->first == nullptr) {
        c->first = o;
        c->outSince = now;
    } else {
        c->last->next = o;
    }
    c->last = o;
    c->queued += o->length;
}

// Queues a reply of the server's own: a fixed message in place of console
// output.  False when there is no memory even for that.
bool queue_own(ZULCR_conn_t *c, uint32_t status, const char *message, uint32_t now)
{
    char head[40];
    int h = snprintf(head, sizeof head, "ZUL %u %u\n", unsigned(status), unsigned(strlen(message)));
    size_t n = size_t(h) + strlen(message);
    ZULCR_out_t *o = static_cast<ZULCR_out_t *>(malloc(sizeof *o + n));
    if (o == nullptr)
        return false;
    char *text = reinterpret_cast<char *>(o + 1);
    memcpy(text, head, size_t(h));
    memcpy(text + h, message, n - size_t(h));
    o->text = text;
    o->length = uint32_t(n);
    queue(c, o, now);
    return true;
}

// A reply is built in one allocation: the body goes behind room for the
// longest header, and the header is then written just before it, so that
// the reply is one run of bytes with the length actually filled in.
constexpr uint32_t kHead = 32;  // "ZUL " and two 10-digit numbers, a blank and LF

// A reply with room for `room` bytes of body at `*body`; null without
// memory.
ZULCR_out_t *new_reply(uint32_t room, char **body)
{
    ZULCR_out_t *o = static_cast<ZULCR_out_t *>(malloc(sizeof *o + kHead + room));
    if (o != nullptr)
        *body = reinterpret_cast<char *>(o + 1) + kHead;
    return o;
}

// Writes the header before the `length` bytes of body and queues the reply.
void queue_reply(ZULCR_conn_t *c, ZULCR_out_t *o, char *body, uint32_t status, uint32_t length, uint32_t now)
{
    char head[kHead + 1];
    int h = snprintf(head, sizeof head, "ZUL %u %u\n", unsigned(status), unsigned(length));
    memcpy(body - h, head, size_t(h));
    o->text = body - h;
    o->length = uint32_t(h) + length;
    queue(c, o, now);
}

// Runs one line on the connection's console and queues its reply.  False
// when the connection cannot be answered at all.
bool run_line(ZULCR_conn_t *c, const char *line, uint32_t length, uint32_t now)
{
    uint32_t pending = 0;
    int status = CRF1_Execute(c->console, line, length, &pending);
    char *body = nullptr;
    ZULCR_out_t *o = new_reply(pending, &body);
    if (o == nullptr) {
        // Without memory for the reply the output is drained and dropped,
        // so the next line starts clean.
        char scrap[512];
        uint32_t n = 0;
        while (CRF1_Fetch(c->console, scrap, sizeof scrap, &n) == 0 && n != 0) {
        }
        return queue_own(c, ZULCR_REPLY_NO_MEMORY, "No memory for the reply\n", now);
    }
    uint32_t got = 0;
    while (got < pending) {
        uint32_t n = 0;
        if (CRF1_Fetch(c->console, body + got, pending - got, &n) != 0 || n == 0)
            break;
        got += n;
    }
    queue_reply(c, o, body, uint32_t(status), got, now);
    return true;
}

// The server's own requests: a line that begins with a full stop, which
// no console line can usefully do (its first word must be a name).
enum class Request { None, Tail, TailRing, Subcommands };

// Which request the line is, and for ".subcommands" the word behind it.
// A line that only looks like one goes to the console as any other.
Request server_request(const char *line, uint32_t length, const char **word, uint32_t *wordLength)
{
    if (length == 0 || line[0] != '.')
        return Request::None;
    // The line's words, at most three.
    const char *words[3];
    uint32_t lengths[3], n = 0;
    for (uint32_t i = 0; i < length;) {
        if (line[i] == ' ' || line[i] == '\t') {
            ++i;
            continue;
        }
        if (n == 3)
            return Request::None;
        uint32_t from = i;
        while (i < length && line[i] != ' ' && line[i] != '\t')
            ++i;
        words[n] = line + from;
        lengths[n++] = i - from;
    }
    auto is = [&](uint32_t k, const char *text) {
        return k < n && lengths[k] == strlen(text) && memcmp(words[k], text, lengths[k]) == 0;
    };
    if (is(0, ZULCR_TAIL_REQUEST) && n == 1)
        return Request::Tail;
    if (is(0, ZULCR_TAIL_REQUEST) && n == 2 && is(1, "ring"))
        return Request::TailRing;
    if (is(0, ZULCR_SUBCOMMANDS_REQUEST) && n == 2) {
        *word = words[1];
        *wordLength = lengths[1];
        return Request::Subcommands;
    }
    return Request::None;
}

struct RingCopy {
    char *at;
};

void copy_ring_line(void *user, const char *text, uint32_t length)
{
    RingCopy *copy = static_cast<RingCopy *>(user);
    memcpy(copy->at, text, length);
    copy->at[length] = '\n';
    copy->at += length + 1;
}

// Makes the connection a tail: the reply "ZUL 100 <length>" with what the
// capture ring holds when `ring` asks for it, and the log's lines behind
// it.  When no tail can be attached the connection gets a reply that says
// why and stays as it was.  False when there is no memory even for that.
bool start_tail(ZULCR_server_t *s, ZULCR_conn_t *c, bool ring, uint32_t now)
{
    constexpr uint32_t kRingLines = 256;
    constexpr uint32_t kLineMax = 128 + 1;
    uint32_t status = ZULCR_TailAttach(&c->tail, s->wake[1]);
    if (status == ZULCR_REPLY_TOO_MANY_TAILS)
        return queue_own(c, status, "Too many tails: 32 are attached\n", now);
    char *body = nullptr;
    ZULCR_out_t *o = status == 0 ? new_reply(ring ? kRingLines * kLineMax : 0, &body) : nullptr;
    if (o == nullptr) {
        if (c->tail != nullptr)
            ZULCR_TailDetach(c->tail);
        c->tail = nullptr;
        return queue_own(c, ZULCR_REPLY_NO_MEMORY, "No memory for the reply\n", now);
    }
    // The lines written from the moment of attaching follow this reply; a
    // line written while the ring is read may come twice, none is missed.
    RingCopy copy = {body};
    if (ring)
        ZULRA_ReadRing(kRingLines, copy_ring_line, &copy);
    queue_reply(c, o, body, ZULCR_REPLY_TAIL, uint32_t(copy.at - body), now);
    return true;
}

// Answers ".subcommands WORD": the names of the listed subcommands of the
// command that WORD names, one a line, without running it, and the status
// that a line naming WORD would have had in finding the command.
bool answer_subcommands(ZULCR_conn_t *c, const char *word, uint32_t length, uint32_t now)
{
    int status = 0;
    uint32_t need = ZULCR_SubcommandNames(word, length, nullptr, 0, &status);
    for (;;) {
        char *body = nullptr;
        ZULCR_out_t *o = new_reply(need, &body);
        if (o == nullptr)
            return queue_own(c, ZULCR_REPLY_NO_MEMORY, "No memory for the reply\n", now);
        uint32_t got = ZULCR_SubcommandNames(word, length, body, need, &status);
        if (got <= need) {
            queue_reply(c, o, body, uint32_t(status), got, now);
            return true;
        }
        // Subcommands were added in the meantime.
        free(o);
        need = got;
    }
}

// Runs the complete lines in `in`, in order, while the queue has room;
// false when the connection is done for.  A tail request ends the lines:
// what the client sends after it is not read.
bool run_lines(ZULCR_server_t *s, ZULCR_conn_t *c, uint32_t now)
{
    bool ran = false;
    while (c->queued < ZULCR_SOCKET_OUTPUT && !c->closeAfter && c->tail == nullptr) {
        char *lf = static_cast<char *>(memchr(c->in, '\n', c->inUsed));
        if (lf == nullptr) {
            if (c->inUsed >= ZULCR_SOCKET_LINE) {
                c->inUsed = 0;
                c->closeAfter = 1;
                if (!queue_own(c, ZULCR_REPLY_TOO_LONG, "Line longer than 4095 bytes\n", now))
                    return false;
            }
            break;
        }
        uint32_t length = uint32_t(lf - c->in);
        uint32_t run = length;
        if (run > 0 && c->in[run - 1] == '\r')
            --run;
        const char *word = nullptr;
        uint32_t wordLength = 0;
        bool done = true;
        Request request = server_request(c->in, run, &word, &wordLength);
        switch (request) {
        case Request::None:
            done = run_line(c, c->in, run, now);
            break;
        case Request::Tail:
        case Request::TailRing:
            done = start_tail(s, c, request == Request::TailRing, now);
            break;
        case Request::Subcommands:
            done = answer_subcommands(c, word, wordLength, now);
            break;
        }
        if (!done)
            return false;
        ran = true;
        c->inUsed -= length + 1;
        memmove(c->in, lf + 1, c->inUsed);
    }
    if (c->tail != nullptr) {
        c->inUsed = 0;
        c->partial = 0;
        return true;
    }
    // The time of a line counts from its first byte, which came no later
    // than now when a line was run before it.
    bool partial = c->inUsed != 0 && memchr(c->in, '\n', c->inUsed) == nullptr;
    if (partial && (!c->partial || ran))
        c->lineSince = now;
    c->partial = uint8_t(partial);
    return true;
}

// Writes as much of the queue as the socket takes; false when the
// connection is broken.
bool flush(ZULCR_conn_t *c, uint32_t now)
{
    while (c->first != nullptr) {
        ZULPL_piece_t pieces[ZULPL_PIECES_MAX];
        uint32_t n = 0;
        for (ZULCR_out_t *o = c->first; o != nullptr && n < ZULPL_PIECES_MAX; o = o->next)
            pieces[n++] = {o->text + o->sent, size_t(o->length - o->sent)};
        long wrote = ZULPL_WritePieces(c->fd, pieces, n);
        if (wrote == -EAGAIN)
            return true;
        if (wrote <= 0)
            return false;
        c->queued -= uint32_t(wrote);
        c->lastActive = c->outSince = now;
        for (uint32_t left = uint32_t(wrote); left != 0;) {
            ZULCR_out_t *o = c->first;
            uint32_t take = o->length - o->sent < left ? o->length - o->sent : left;
            o->sent += take;
            left -= take;
            if (o->sent == o->length) {
                c->first = o->next;
                free(o);
            }
        }
    }
    c->last = nullptr;
    return true;
}

// Reads what has come, once: the event set reports the socket again while
// more waits.  False when the connection is broken.
bool take_input(ZULCR_conn_t *c, uint32_t now)
{
    if (c->ended || c->closeAfter || c->tail != nullptr || c->inUsed >= ZULCR_SOCKET_LINE)
        return true;
    long n = ZULPL_ReadSome(c->fd, c->in + c->inUsed, ZULCR_SOCKET_LINE - c->inUsed);
    if (n == -EAGAIN)
        return true;
    if (n < 0)
        return false;
    if (n == 0)
        c->ended = 1;
    c->inUsed += uint32_t(n);
    c->lastActive = now;
    return true;
}

// Runs what can run and writes what can be written, until neither moves.
// False when the connection is done: broken, or everything said and
// answered.
bool pump(ZULCR_server_t *s, ZULCR_conn_t *c, bool writable, uint32_t now)
{
    for (;;) {
        uint32_t before = c->queued;
        if (!run_lines(s, c, now))
            return false;
        if (c->first == nullptr || (c->queued == before && !writable))
            break;
        if (!flush(c, now))
            return false;
        writable = false;
        // Lines held back by a full queue may run now that it is empty.
        if (c->first != nullptr || c->inUsed == 0)
            break;
    }
    // With the queue empty every complete line has run, so a connection
    // whose input has ended is done; a line cut off by the end of input
    // is not run.  A tail goes on until its client has gone.
    return c->tail != nullptr || c->first != nullptr || !(c->closeAfter || c->ended);
}

// Writes a tail's replies, then its log lines, as far as the socket takes
// them and the tail's share of the millisecond allows.  False when the
// connection is broken.  A tail whose socket is full is left to the event
// set, which says when it has room; one with lines left over for a later
// millisecond is `polling`.
bool drain(ZULCR_conn_t *c, uint32_t now)
{
    c->blocked = 0;
    c->polling = 0;
    if (!flush(c, now))
        return false;
    if (c->first != nullptr) {
        c->blocked = 1;
        return true;
    }
    for (;;) {
        ZULPL_piece_t pieces[ZULPL_PIECES_MAX];
        bool more = false;
        uint32_t n = ZULCR_TailPeek(c->tail, pieces, now, &more);
        if (n == 0) {
            c->polling = uint8_t(more);
            return true;
        }
        long wrote = ZULPL_WritePieces(c->fd, pieces, n);
        if (wrote == -EAGAIN) {
            c->blocked = 1;
            return true;
        }
        if (wrote <= 0)
            return false;
        ZULCR_TailTaken(c->tail, uint32_t(wrote));
        c->lastActive = now;
        // A short write: the socket is full, and says so when it has room.
        size_t offered = 0;
        for (uint32_t i = 0; i < n; ++i)
            offered += pieces[i].length;
        if (size_t(wrote) < offered) {
            c->blocked = 1;
            return true;
        }
    }
}

// The earliest time at which the connection breaks a limit.  Tails have
// none: their queues bound them.
uint32_t deadline(const ZULCR_conn_t *c)
{
    uint32_t at = c->lastActive + ZULCR_SOCKET_IDLE;
    if (c->partial)
        at = earlier(at, c->lineSince + ZULCR_SOCKET_LINE_TIME);
    if (c->first != nullptr)
        at = earlier(at, c->outSince + ZULCR_SOCKET_OUTPUT_TIME);
    return at;
}

void due(ZULCR_server_t *s, uint32_t at)
{
    s->nextCheck = earlier(s->nextCheck, at);
}

// Keeps the event set's wish for the connection in step with its state:
// input while it may read, output while some waits.
void watch(ZULCR_server_t *s, ZULCR_conn_t *c)
{
    uint32_t want = c->first != nullptr || c->blocked ? ZULPL_IO_WRITE : 0u;
    if (c->tail == nullptr && !c->ended && !c->closeAfter && c->inUsed < ZULCR_SOCKET_LINE && c->queued < ZULCR_SOCKET_OUTPUT)
        want |= ZULPL_IO_READ;
    if (want != c->watched && ZULPL_EventChange(s->events, c->fd, uint32_t(c - s->conns), want) == 0)
        c->watched = want;
}

// Takes the spare descriptor back and watches the listener again.
void resume(ZULCR_server_t *s)
{
    if (s->spare < 0)
        s->spare = ZULPL_SpareFd();
    if (!s->listening && ZULPL_EventChange(s->events, s->listener, ZULCR_KEY_LISTENER, ZULPL_IO_READ) == 0)
        s->listening = 1;
}

// Stops watching the listener until a connection closes or the rest is
// over, so that a connection that cannot be taken on costs no turn.
void rest(ZULCR_server_t *s, uint32_t now)
{
    if (s->listening && ZULPL_EventChange(s->events, s->listener, ZULCR_KEY_LISTENER, 0) == 0)
        s->listening = 0;
    s->resumeAt = now + ZULCR_SOCKET_REST;
}

void close_conn(ZULCR_server_t *s, ZULCR_conn_t *c)
{
    ZULPL_EventRemove(s->events, c->fd);
    ZULPL_CloseFd(c->fd);
    if (c->tail != nullptr)
        ZULCR_TailDetach(c->tail);
    if (c->console != 0)
        CRF1_Delete(c->console);
    free(c->in);
    while (c->first != nullptr) {
        ZULCR_out_t *o = c->first;
        c->first = o->next;
        free(o);
    }
    memset(c, 0, sizeof *c);
    --s->connections;
    // A slot and a descriptor are free: a connection that waits may be
    // taken on now.
    resume(s);
}

// Serves one connection that the event set reported.
void serve(ZULCR_server_t *s, ZULCR_conn_t *c, uint32_t got, uint32_t now)
{
    bool keep;
    if ((got & ZULPL_IO_HANGUP) && (!(got & ZULPL_IO_READ) || c->tail != nullptr))
        keep = false;  // the peer has gone both ways: nothing to read, no one to answer
    else if (c->tail != nullptr)
        keep = drain(c, now);
    else
        keep = (!(got & ZULPL_IO_READ) || take_input(c, now)) && pump(s, c, (got & ZULPL_IO_WRITE) != 0, now) &&
               (c->tail == nullptr || drain(c, now));
    if (!keep) {
        close_conn(s, c);
        return;
    }
    watch(s, c);
    if (c->tail == nullptr)
        due(s, deadline(c));
}

// A turn of the tails: what the threads that log have written since the
// last goes to each tail whose socket is not known to be full.  True when
// the server is to look again within a millisecond (a tail has lines left
// over, or a thread is still copying one in); false when the next line
// will wake it.  So a line of a quiet log leaves at once, and a busy log
// costs a turn a millisecond, each moving many lines.
bool feed_tails(ZULCR_server_t *s, uint32_t now)
{
    if (!ZULCR_TailsAttached())
        return false;
    ZULCR_TailTurn(now);
    bool more = false;
    for (ZULCR_conn_t *c = s->conns; c < s->conns + ZULCR_SOCKET_CONNECTIONS; ++c) {
        if (!c->used || c->tail == nullptr || c->blocked)
            continue;
        if (!drain(c, now)) {
            close_conn(s, c);
            continue;
        }
        watch(s, c);
        more = more || c->polling;
    }
    return ZULCR_TailRest(more);
}

// Closes the connections past their limits.  A line not whole in time
// gets a reply that says so first.
void check_limits(ZULCR_server_t *s, uint32_t now)
{
    s->nextCheck = now + ZULCR_SOCKET_IDLE;
    for (ZULCR_conn_t *c = s->conns; c < s->conns + ZULCR_SOCKET_CONNECTIONS; ++c) {
        if (!c->used || c->tail != nullptr)
            continue;
        if (!reached(now, deadline(c))) {
            due(s, deadline(c));
            continue;
        }
        if (c->partial && reached(now, c->lineSince + ZULCR_SOCKET_LINE_TIME) && c->first == nullptr &&
            queue_own(c, ZULCR_REPLY_TOO_SLOW, "Line not completed within 3 s\n", now)) {
            c->closeAfter = 1;
            c->partial = 0;
            c->inUsed = 0;
            if (flush(c, now) && c->first != nullptr) {
                watch(s, c);
                due(s, deadline(c));
                continue;
            }
        }
        close_conn(s, c);
    }
}

// Closes the connection that has moved no byte for longest, if that is at
// least ZULCR_SOCKET_QUIET: a new connection needs its slot or its
// descriptor.  A tail is never closed so: a quiet tail is one whose log is
// quiet, or whose reader is slow, and it holds a slot of its own share.
// False when every connection is busy.
bool make_room(ZULCR_server_t *s, uint32_t now)
{
    ZULCR_conn_t *quietest = nullptr;
    for (ZULCR_conn_t *c = s->conns; c < s->conns + ZULCR_SOCKET_CONNECTIONS; ++c)
        if (c->used && c->tail == nullptr && now - c->lastActive >= ZULCR_SOCKET_QUIET &&
            (quietest == nullptr || now - c->lastActive > now - quietest->lastActive))
            quietest = c;
    if (quietest == nullptr)
        return false;
    close_conn(s, quietest);
    return true;
}

void refuse(int fd, uint32_t status, const char *message)
{
    char text[160];
    int n = snprintf(text, sizeof text, "ZUL %u %u\n%s", unsigned(status), unsigned(strlen(message)), message);
    // Best effort: the socket is new and its buffer empty, so the short
    // reply fits; a peer that has gone loses nothing.
    ZULPL_piece_t piece = {text, size_t(n)};
    ZULPL_WritePieces(fd, &piece, 1);
    ZULPL_CloseFd(fd);
}

bool out_of_descriptors(int error)
{
    return error == -EMFILE || error == -ENFILE;
}

// A failed accept: the first of a run is logged, the others counted.
void note_failure(ZULCR_server_t *s, ZULRA_entry_t *entry, int error, uint32_t now)
{
    if (s->failed++ != 0)
        return;
    s->failedSince = now;
    s->failedError = -error;
    RAS1_LOG(*entry, RAS1_ReadClass(entry), RAS1_ERROR,
             "Console connection not accepted: %s; waiting connections are taken on as descriptors free\n",
             strerror(-error));
}

void note_success(ZULCR_server_t *s, ZULRA_entry_t *entry, uint32_t now)
{
    if (s->failed != 0)
        RAS1_LOG(*entry, RAS1_ReadClass(entry), RAS1_ERROR,
                 "Console connections accepted again after %u failed attempts in %u ms (%s)\n",
                 unsigned(s->failed), unsigned(now - s->failedSince), strerror(s->failedError));
    s->failed = 0;
}

// Takes on the connections that wait.  A new connection needs a slot and
// a descriptor: without a slot, or when the process has no descriptor
// left and the spare has been spent, the quietest connection makes room
// or the listener rests.
void take_on(ZULCR_server_t *s, ZULRA_entry_t *entry, uint32_t now)
{
    bool spareSpent = false;
    for (;;) {
        if (s->connections == ZULCR_SOCKET_CONNECTIONS && !make_room(s, now)) {
            rest(s, now);
            return;
        }
        uint32_t uid = 0, pid = 0;
        int fd = ZULPL_AcceptLocal(s->listener, &uid, &pid);
        if (fd == -EAGAIN)
            return;
        if (fd == -ECONNABORTED)
            continue;
        if (fd < 0) {
            note_failure(s, entry, fd, now);
            if (out_of_descriptors(fd) && s->spare >= 0) {
                ZULPL_CloseFd(s->spare);
                s->spare = -1;
                spareSpent = true;
                continue;
            }
            if (out_of_descriptors(fd) && make_room(s, now))
                continue;
            rest(s, now);
            return;
        }
        // The run of failures ends when a connection is taken on without
        // the spare's help.
        if (!spareSpent)
            note_success(s, entry, now);
        spareSpent = false;
        if (uid != s->ownerUid && uid != 0) {
            RAS1_LOG(*entry, RAS1_ReadClass(entry), RAS1_ERROR,
                     "Console connection from uid %u (pid %u) refused: only uid %u or root may connect\n",
                     unsigned(uid), unsigned(pid), unsigned(s->ownerUid));
            refuse(fd, ZULCR_REPLY_REFUSED, "Not permitted\n");
            continue;
        }
        ZULCR_conn_t *c = s->conns;
        while (c->used)
            ++c;
        uint32_t key = uint32_t(c - s->conns);
        c->in = static_cast<char *>(malloc(ZULCR_SOCKET_LINE));
        if (c->in == nullptr || CRF1_New(&c->console) != 0 ||
            ZULPL_EventAdd(s->events, fd, key, ZULPL_IO_READ) != 0) {
            if (c->console != 0)
                CRF1_Delete(c->console);
            free(c->in);
            memset(c, 0, sizeof *c);
            refuse(fd, ZULCR_REPLY_NO_CONSOLE, "Console could not be made\n");
            continue;
        }
        c->fd = fd;
        c->used = 1;
        c->watched = ZULPL_IO_READ;
        c->lastActive = now;
        ++s->connections;
        due(s, deadline(c));
    }
}

} // namespace

void *ZULCR_Serve(void *server)
{
    // No Entry line: a server opened at library load must not start the
    // trace before the program's main.  The class word is read when there
    // is something to say.
    RAS1_DECLARE_ENTRY(entry, "ZULCR_Serve", RAS1_PRIVATE);

    ZULCR_server_t *s = static_cast<ZULCR_server_t *>(server);
    ZULPL_event_t events[kEvents];
    uint32_t now = ZULPL_Ticks();
    s->nextCheck = now + ZULCR_SOCKET_IDLE;
    bool polling = false;
    while (!s->stopping.load(std::memory_order_acquire)) {
        uint32_t until = s->listening ? s->nextCheck : earlier(s->nextCheck, s->resumeAt);
        int wait = reached(now, until) ? 0 : int(until - now);
        if (polling && wait > 1)
            wait = 1;
        int ready = ZULPL_EventWait(s->events, events, kEvents, wait);
        now = ZULPL_Ticks();
        if (ready < 0)
            ZULPL_Sleep(10);
        bool waiting = false;
        for (int i = 0; i < ready; ++i) {
            uint32_t key = events[i].key;
            if (key == ZULCR_KEY_WAKE) {
                char scrap[16];
                while (ZULPL_ReadSome(s->wake[0], scrap, sizeof scrap) > 0) {
                }
            } else if (key == ZULCR_KEY_LISTENER) {
                waiting = true;
            } else if (key < ZULCR_SOCKET_CONNECTIONS && s->conns[key].used) {
                serve(s, &s->conns[key], events[i].got, now);
            }
        }
        polling = feed_tails(s, now);
        // New connections after the others were served, so that the slots
        // and descriptors they freed count.
        if (waiting && s->listening)
            take_on(s, &entry, now);
        if (!s->listening && reached(now, s->resumeAt))
            resume(s);
        if (reached(now, s->nextCheck))
            check_limits(s, now);
    }

    for (ZULCR_conn_t *c = s->conns; c < s->conns + ZULCR_SOCKET_CONNECTIONS; ++c)
        if (c->used)
            close_conn(s, c);
    ZULPL_RemovePath(s->path);
    ZULPL_CloseFd(s->listener);
    ZULPL_CloseFd(s->events);
    ZULPL_CloseFd(s->spare);
    s->spare = -1;
    return nullptr;
}
