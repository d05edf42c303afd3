// crf/zulcrso.h - the console server's state, shared by the units that
// start and stop it (zulcrls.cpp), the thread that serves it (zulcrsv.cpp)
// and the queues of its tails (zulcrtl.cpp).  The family's other private
// header, zulcr.h, holds the registry and consoles; this one only the
// socket side.
#ifndef ZUL_SRC_CRF_ZULCRSO_H
#define ZUL_SRC_CRF_ZULCRSO_H

#include <zul/bss1.h>
#include <zul/crf1.h>
#include <zul/ras1.h>

#include <atomic>
#include <stdint.h>

#include "platform/zulplat.h"
#include "platform/zulplso.h"

// Limits of the server (documented in docs/console.md).
#define ZULCR_SOCKET_CONNECTIONS 64u  // connections served at once
#define ZULCR_SOCKET_LINE 4096u       // bytes of one request line, LF included
#define ZULCR_SOCKET_IDLE 60000u      // ms a connection may move no byte
#define ZULCR_SOCKET_LINE_TIME 3000u  // ms from a line's first byte to its LF
#define ZULCR_SOCKET_OUTPUT 262144u   // bytes queued for a client before its lines wait
#define ZULCR_SOCKET_OUTPUT_TIME 10000u // ms queued output may wait with none taken
#define ZULCR_SOCKET_QUIET 1000u      // ms without a byte after which a connection
                                      // may be closed to make room for a new one
#define ZULCR_SOCKET_REST 250u        // ms the listener rests when no connection
                                      // can be taken on
#define ZULCR_TAILS 32u               // tail connections at once, so that as many
                                      // slots stay for commands
#define ZULCR_TAIL_BUDGET 65536u      // bytes of log lines a tail is given a
                                      // millisecond at most

// Statuses of a reply header that the server gives itself, outside the
// range of any console status.
#define ZULCR_REPLY_TOO_LONG 101u  // the line has no LF within the limit
#define ZULCR_REPLY_REFUSED 102u   // the peer is neither the owner nor root
#define ZULCR_REPLY_NO_CONSOLE 103u
#define ZULCR_REPLY_NO_MEMORY 104u
#define ZULCR_REPLY_TOO_SLOW 105u  // the line has no LF within its time
#define ZULCR_REPLY_TOO_MANY_TAILS 106u
#define ZULCR_REPLY_TAIL 100u      // the connection carries the log from now on

// The server's own requests.  No console line can begin with a full stop
// (its first word must be a name), so they hide no command.  ".tail", or
// ".tail ring" to have the capture ring first, turns the connection into a
// tail; ".subcommands WORD" lists the subcommands of a command without
// running it, for completion in a shell.
#define ZULCR_TAIL_REQUEST ".tail"
#define ZULCR_SUBCOMMANDS_REQUEST ".subcommands"

// Keys of the event set: a connection's is its slot's index.
#define ZULCR_KEY_LISTENER ZULCR_SOCKET_CONNECTIONS
#define ZULCR_KEY_WAKE (ZULCR_SOCKET_CONNECTIONS + 1u)

// A piece of output waiting for its connection's socket: one reply,
// header and body in one run of bytes.  Pieces leave in the order they
// were queued, as fast as the client takes them.
typedef struct ZULCR_out {
    struct ZULCR_out *next;
    const char *text;
    uint32_t length;
    uint32_t sent;  // bytes of `text` already written
} ZULCR_out_t;

// One connection.  Its requests gather in `in` and run in order, each as
// soon as its LF is there, while less than ZULCR_SOCKET_OUTPUT bytes wait
// in its queue; the replies are written in the turn that ran them, as far
// as the socket takes them, and the rest when the socket is writable
// again.  So output of any amount and any source goes through the queue
// and the event set, and a client that does not read holds up only
// itself.  Times are ticks.
// A tail: where its connection stands in the log's feed (internal/
// zulfeed.h), the lines it has lost, and what it is owed before the next
// line.  The server thread alone reads and writes it.  Defined in
// zulcrtl.cpp.
typedef struct ZULCR_tail ZULCR_tail_t;

typedef struct ZULCR_conn {
    int fd;
    uint32_t console;
    uint32_t lastActive;   // the last byte moved, either way
    uint32_t lineSince;    // the first byte of the unfinished line in `in`
    uint32_t outSince;     // the queue last moved, or became non-empty
    uint32_t inUsed;
    char *in;              // ZULCR_SOCKET_LINE bytes
    ZULCR_out_t *first;    // the queue, oldest first
    ZULCR_out_t *last;
    uint32_t queued;       // bytes in the queue not yet written
    uint32_t watched;      // what the event set wants of fd (ZULPL_IO_ bits)
    ZULCR_tail_t *tail;    // not null: the connection carries the log
    uint8_t used;
    uint8_t ended;         // the peer will send no more
    uint8_t closeAfter;    // close once the queue is empty
    uint8_t partial;       // `in` ends in a line without its LF
    uint8_t blocked;       // a tail's socket took less than was offered
    uint8_t polling;       // a tail with lines waiting, looked at each millisecond
} ZULCR_conn_t;

typedef struct ZULCR_server {
    ZULSS_lock_t lock;               // serialises CRF1_Listen and CRF1_Unlisten; never
                                     // taken by the server thread
    std::atomic<uint32_t> running;   // 1 from a successful listen to its end
    std::atomic<uint32_t> stopping;  // set by CRF1_Unlisten before waking the thread
    uint32_t ownerPid;               // the process that bound the socket
    uint32_t ownerUid;
    int listener;
    int wake[2];
    int events;                      // the event set of the thread's one wait
    int spare;                       // held for when the process has no descriptor
                                     // left; -1 while given up
    // The rest belongs to the server thread.
    uint32_t connections;            // slots in use
    uint32_t nextCheck;              // ticks of the earliest time limit to look at
    uint32_t resumeAt;               // ticks when a resting listener is watched again
    uint32_t failedSince;            // ticks of the first failed accept of a run
    uint32_t failed;                 // accepts failed in the run; 0: no run
    int failedError;                 // the errno that began the run
    uint8_t listening;               // the event set wants the listener
    ZULPL_thread_t thread;
    char path[ZULPL_SOCKET_PATH_MAX];
    ZULCR_conn_t conns[ZULCR_SOCKET_CONNECTIONS];
} ZULCR_server_t;

extern constinit ZULCR_server_t ZULCR_server;

// CRF1_Listen without its trace, for the start at library load, which
// must not start the trace before the program's main has run.
int ZULCR_Listen(const char *directory, uint32_t length, char *path, uint32_t size);

// The trace lines of a listen: the failure under ERROR, the socket's path
// under STATE.
void ZULCR_LogListen(ZULRA_entry_t *entry, uint32_t classes, const char *directory, uint32_t length, int status);

// Tails (zulcrtl.cpp), all on the server thread.  While one is attached,
// the log puts every line into its feed; each turn of the server seals
// what has come, writes each tail's socket from the feed as far as the
// socket and the tail's share of the turn allow, and lets the threads
// that log reuse what every tail has passed.

// A new tail, given the lines written from now on.  `wake` is the
// descriptor to write a byte to when a line comes while the server waits.
// 0, or ZULCR_REPLY_TOO_MANY_TAILS, or ZULCR_REPLY_NO_MEMORY.
uint32_t ZULCR_TailAttach(ZULCR_tail_t **tail, int wake);

// Stops giving the tail lines and frees it.
void ZULCR_TailDetach(ZULCR_tail_t *tail);

// Whether a tail is attached.
bool ZULCR_TailsAttached(void);

// Begins a turn at tick `now`: seals the lines that have come, and moves a
// tail that holds half the feed forward, counting the lines it loses.
void ZULCR_TailTurn(uint32_t now);

// The bytes to write to the tail now, as up to ZULPL_PIECES_MAX pieces:
// first the rest of a line that a short write cut, and a report of lines
// lost ("*** N lines dropped"), then whole lines from the feed, at most
// ZULCR_TAIL_BUDGET bytes a millisecond.  0 pieces when there is nothing
// to write now; `*more` then says whether lines wait for a later turn.
uint32_t ZULCR_TailPeek(ZULCR_tail_t *tail, ZULPL_piece_t *pieces, uint32_t now, bool *more);

// `length` bytes of what ZULCR_TailPeek gave have been written.
void ZULCR_TailTaken(ZULCR_tail_t *tail, uint32_t length);

// Ends a turn: lets the threads that log reuse what every tail has passed.
// `more`: some tail has lines waiting for a later turn.  True when the
// server is to look again within a millisecond; false when a line that
// comes will wake it.
bool ZULCR_TailRest(bool more);

// In a forked child: forget every tail; the feed is the parent's.
void ZULCR_TailForget(void);

// The server thread's routine; given &ZULCR_server, with the listener and
// the wake pipe's read end in the event set.  It ends when `stopping` is
// set and the wake pipe is written, after closing every connection, the
// listener, the event set and the spare descriptor and removing the
// socket.  The wake pipe is closed by CRF1_Unlisten once the thread has
// ended, so that its write never meets a descriptor already closed or
// reused.
void *ZULCR_Serve(void *server);

#endif
