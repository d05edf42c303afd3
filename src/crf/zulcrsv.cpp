// ZULCR_Serve: the console server's thread: connections, framing, limits.
//
// One thread waits on the listening socket, a wake pipe and every
// connection at once, and never holds a library lock while it waits.
// Each connection has a console of its own.  A request is one line ending
// in LF; the reply is a header line "ZUL <status> <length>\n" and then
// exactly <length> bytes of the console's output.  A connection's
// requests run one at a time, the next only when the previous reply has
// gone out, so a client that stops reading fills only its own reply and
// is closed when it has been idle too long.
#include "crf/zulcrso.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "internal/zulunits.h"
#include "platform/zulplat.h"

ZULRA_CRF1_UNIT("zulcrsv");

namespace {

constexpr uint32_t kWaitSlots = ZULCR_SOCKET_CONNECTIONS + 2;

void set_head(ZULCR_conn_t *c, uint32_t status, uint32_t length)
{
    int n = snprintf(c->head, sizeof c->head, "ZUL %u %u\n", unsigned(status), unsigned(length));
    c->headLength = uint32_t(n);
    c->bodyLength = length;
    c->sent = 0;
}

// A reply of the server's own: a fixed message in place of console output.
void set_own_reply(ZULCR_conn_t *c, uint32_t status, const char *message)
{
    size_t n = strlen(message);
    free(c->body);
    c->body = static_cast<char *>(malloc(n));
    if (c->body == nullptr)
        n = 0;
    else
        memcpy(c->body, message, n);
    set_head(c, status, uint32_t(n));
}

// Runs one line on the connection's console and makes its reply.  The
// console's output is fetched whole: a console keeps what it wrote until
// it is fetched, so reading it in one piece costs no more than in many.
void run_line(ZULCR_conn_t *c, const char *line, uint32_t length)
{
    uint32_t pending = 0;
    int status = CRF1_Execute(c->console, line, length, &pending);
    free(c->body);
    c->body = nullptr;
    char *body = pending != 0 ? static_cast<char *>(malloc(pending)) : nullptr;
    uint32_t got = 0;
    if (body != nullptr) {
        while (got < pending) {
            uint32_t n = 0;
            if (CRF1_Fetch(c->console, body + got, pending - got, &n) != 0 || n == 0)
                break;
            got += n;
        }
    } else if (pending != 0) {
        // Without memory for the reply the output is drained and dropped,
        // so the next line starts clean.
        char scrap[512];
        uint32_t n = 0;
        while (CRF1_Fetch(c->console, scrap, sizeof scrap, &n) == 0 && n != 0) {
        }
        set_own_reply(c, ZULCR_REPLY_NO_MEMORY, "No memory for the reply\n");
        return;
    }
    c->body = body;
    set_head(c, uint32_t(status), got);
}

void close_conn(ZULCR_conn_t *c)
{
    ZULPL_CloseFd(c->fd);
    if (c->console != 0)
        CRF1_Delete(c->console);
    free(c->in);
    free(c->body);
    memset(c, 0, sizeof *c);
}

bool reply_pending(const ZULCR_conn_t *c)
{
    return c->sent < c->headLength + c->bodyLength;
}

// Sends what it can of the reply; false when the connection is done.
bool send_reply(ZULCR_conn_t *c, uint32_t now)
{
    while (reply_pending(c)) {
        const char *a = c->head + c->sent;
        size_t na = c->sent < c->headLength ? c->headLength - c->sent : 0;
        uint32_t bodySent = c->sent > c->headLength ? c->sent - c->headLength : 0;
        long n = ZULPL_WriteSome(c->fd, na ? a : nullptr, na, c->body + bodySent, c->bodyLength - bodySent);
        if (n == -EAGAIN)
            return true;
        if (n <= 0)
            return false;
        c->sent += uint32_t(n);
        c->lastActive = now;
    }
    free(c->body);
    c->body = nullptr;
    c->headLength = c->bodyLength = c->sent = 0;
    return !c->closeAfter;
}

// Runs the complete lines waiting in `in`, one per reply sent; false when
// the connection is done.
bool run_waiting(ZULCR_conn_t *c, uint32_t now)
{
    while (!reply_pending(c)) {
        char *lf = static_cast<char *>(memchr(c->in, '\n', c->inUsed));
        if (lf == nullptr) {
            if (c->inUsed >= ZULCR_SOCKET_LINE) {
                set_own_reply(c, ZULCR_REPLY_TOO_LONG, "Line longer than 4095 bytes\n");
                c->closeAfter = 1;
                c->inUsed = 0;
            } else if (c->ended) {
                // A line cut off by the end of input is not run.
                return false;
            } else {
                return true;
            }
        } else {
            uint32_t length = uint32_t(lf - c->in);
            uint32_t run = length;
            if (run > 0 && c->in[run - 1] == '\r')
                --run;
            run_line(c, c->in, run);
            c->inUsed -= length + 1;
            memmove(c->in, lf + 1, c->inUsed);
        }
        if (!send_reply(c, now))
            return false;
    }
    return true;
}

// Reads what has come; false when the connection is done.
bool take_input(ZULCR_conn_t *c, uint32_t now)
{
    while (!c->ended && c->inUsed < ZULCR_SOCKET_LINE) {
        long n = ZULPL_ReadSome(c->fd, c->in + c->inUsed, ZULCR_SOCKET_LINE - c->inUsed);
        if (n == -EAGAIN)
            break;
        if (n < 0)
            return false;
        if (n == 0)
            c->ended = 1;
        c->inUsed += uint32_t(n);
        c->lastActive = now;
        if (reply_pending(c))
            break;
    }
    return run_waiting(c, now);
}

void refuse(int fd, uint32_t status, const char *message)
{
    char text[160];
    int n = snprintf(text, sizeof text, "ZUL %u %u\n%s", unsigned(status), unsigned(strlen(message)), message);
    // Best effort: the socket is new and its buffer empty, so the short
    // reply fits; a peer that has gone loses nothing.
    ZULPL_WriteSome(fd, text, size_t(n), nullptr, 0);
    ZULPL_CloseFd(fd);
}

ZULCR_conn_t *free_slot(ZULCR_server_t *s)
{
    for (uint32_t i = 0; i < ZULCR_SOCKET_CONNECTIONS; ++i)
        if (!s->conns[i].used)
            return &s->conns[i];
    return nullptr;
}

// Accepts while a slot is free.  With every slot taken, new connections
// wait in the socket's queue until one is closed or found idle.
void accept_waiting(ZULCR_server_t *s, ZULRA_entry_t *entry, uint32_t now)
{
    while (free_slot(s) != nullptr) {
        uint32_t uid = 0, pid = 0;
        int fd = ZULPL_AcceptLocal(s->listener, &uid, &pid);
        if (fd == -EAGAIN)
            return;
        if (fd < 0) {
            // Out of descriptors or memory: the connection stays queued
            // until the next round.
            RAS1_LOG(*entry, RAS1_ReadClass(entry), RAS1_ERROR, "Console connection not accepted: %s\n",
                     strerror(-fd));
            return;
        }
        if (uid != s->ownerUid && uid != 0) {
            RAS1_LOG(*entry, RAS1_ReadClass(entry), RAS1_ERROR,
                     "Console connection from uid %u (pid %u) refused: only uid %u or root may connect\n",
                     unsigned(uid), unsigned(pid), unsigned(s->ownerUid));
            refuse(fd, ZULCR_REPLY_REFUSED, "Not permitted\n");
            continue;
        }
        ZULCR_conn_t *c = free_slot(s);
        c->in = static_cast<char *>(malloc(ZULCR_SOCKET_LINE));
        if (c->in == nullptr || CRF1_New(&c->console) != 0) {
            free(c->in);
            c->in = nullptr;
            c->console = 0;
            refuse(fd, ZULCR_REPLY_NO_CONSOLE, "Console could not be made\n");
            continue;
        }
        c->fd = fd;
        c->used = 1;
        c->lastActive = now;
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
    ZULPL_io_t set[kWaitSlots];
    ZULCR_conn_t *owner[kWaitSlots];
    while (!s->stopping.load(std::memory_order_acquire)) {
        uint32_t n = 0;
        set[n++] = {s->wake[0], ZULPL_IO_READ, 0};
        set[n++] = {s->listener, uint16_t(free_slot(s) ? ZULPL_IO_READ : 0), 0};
        for (uint32_t i = 0; i < ZULCR_SOCKET_CONNECTIONS; ++i) {
            ZULCR_conn_t *c = &s->conns[i];
            if (!c->used)
                continue;
            owner[n] = c;
            set[n++] = {c->fd, uint16_t(reply_pending(c) ? ZULPL_IO_WRITE : ZULPL_IO_READ), 0};
        }
        // A second's wait at most, so that idle connections are found.
        int ready = ZULPL_WaitIo(set, n, 1000);
        uint32_t now = ZULPL_Ticks();
        if (ready < 0)
            ZULPL_Sleep(10);
        if (set[0].got != 0) {
            char scrap[16];
            while (ZULPL_ReadSome(s->wake[0], scrap, sizeof scrap) > 0) {
            }
            continue;
        }
        for (uint32_t i = 2; i < n; ++i) {
            ZULCR_conn_t *c = owner[i];
            bool keep = true;
            uint16_t got = set[i].got;
            if (got & ZULPL_IO_WRITE)
                keep = send_reply(c, now) && run_waiting(c, now);
            else if (got & ZULPL_IO_READ)
                keep = take_input(c, now);
            else if (got & ZULPL_IO_HANGUP)
                keep = false;  // the peer has gone both ways: nothing to read, no one to answer
            else if (now - c->lastActive > ZULCR_SOCKET_IDLE)
                keep = false;
            if (!keep)
                close_conn(c);
        }
        if (set[1].got & ZULPL_IO_READ)
            accept_waiting(s, &entry, now);
    }

    for (uint32_t i = 0; i < ZULCR_SOCKET_CONNECTIONS; ++i)
        if (s->conns[i].used)
            close_conn(&s->conns[i]);
    ZULPL_RemovePath(s->path);
    ZULPL_CloseFd(s->listener);
    return nullptr;
}
