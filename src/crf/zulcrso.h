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
#define ZULCR_SOCKET_IDLE 60000u      // ms a connection may be silent or not read

// Statuses of a reply header that the server gives itself, outside the
// range of any console status.
#define ZULCR_REPLY_TOO_LONG 101u  // the line has no LF within the limit
#define ZULCR_REPLY_REFUSED 102u   // the peer is neither the owner nor root
#define ZULCR_REPLY_NO_CONSOLE 103u
#define ZULCR_REPLY_NO_MEMORY 104u

// One connection.  `in` holds the bytes of requests not yet run; while a
// reply is out (`head` and `body`, `sent` bytes of them gone) no further
// request is run, so a client that does not read holds up only itself.
typedef struct ZULCR_conn {
    int fd;
    uint32_t console;
    uint32_t lastActive;  // ticks of the last byte moved
    uint32_t inUsed;
    char *in;             // ZULCR_SOCKET_LINE bytes
    char *body;
    uint32_t bodyLength;
    uint32_t headLength;
    uint32_t sent;
    uint8_t used;
    uint8_t ended;        // the peer will send no more
    uint8_t closeAfter;   // close once the reply is out
    char head[40];
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

// The server thread's routine; given &ZULCR_server.  It ends when
// `stopping` is set and the wake pipe is written, after closing every
// connection and the listener and removing the socket.  The wake pipe is
// closed by CRF1_Unlisten once the thread has ended, so that its write
// never meets a descriptor already closed or reused.
void *ZULCR_Serve(void *server);

#endif
