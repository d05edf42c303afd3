// crf/zulcrso.h - the console server's state, shared by the units that
// start and stop it (zulcrls.cpp) and the thread that serves it
// (zulcrsv.cpp).  The family's other private header, zulcr.h, holds the
// registry and consoles; this one only the socket side.
#ifndef ZUL_SRC_CRF_ZULCRSO_H
#define ZUL_SRC_CRF_ZULCRSO_H

#include <zul/bss1.h>
#include <zul/crf1.h>
#include <zul/ras1.h>

#include <atomic>
#include <pthread.h>
#include <stdint.h>

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

// Statuses of a reply header that the server gives itself, outside the
// range of any console status.
#define ZULCR_REPLY_TOO_LONG 101u  // the line has no LF within the limit
#define ZULCR_REPLY_REFUSED 102u   // the peer is neither the owner nor root
#define ZULCR_REPLY_NO_CONSOLE 103u
#define ZULCR_REPLY_NO_MEMORY 104u
#define ZULCR_REPLY_TOO_SLOW 105u  // the line has no LF within its time

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
    uint8_t used;
    uint8_t ended;         // the peer will send no more
    uint8_t closeAfter;    // close once the queue is empty
    uint8_t partial;       // `in` ends in a line without its LF
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
    pthread_t thread;
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

// The server thread's routine; given &ZULCR_server, with the listener and
// the wake pipe's read end in the event set.  It ends when `stopping` is
// set and the wake pipe is written, after closing every connection, the
// listener, the event set and the spare descriptor and removing the
// socket.  The wake pipe is closed by CRF1_Unlisten once the thread has
// ended, so that its write never meets a descriptor already closed or
// reused.
void *ZULCR_Serve(void *server);

#endif
