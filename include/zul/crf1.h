/*
 * zul/crf1.h - the console: commands, consoles and their execution.
 */
#ifndef ZUL_CRF1_H
#define ZUL_CRF1_H

#include <zul/stc1.h>

ZUL_BEGIN_DECLS

ZUL_API int CRF1_New(uint32_t *console);
ZUL_API int CRF1_Delete(uint32_t console);
ZUL_API int CRF1_Execute(uint32_t console, const char *text, uint32_t length, uint32_t *count);
ZUL_API int CRF1_Fetch(uint32_t console, char *buffer, uint32_t size, uint32_t *count);

/* ------------------------------------------------------------------ */
/* The console from outside the process: a local socket                */
/* ------------------------------------------------------------------ */

/* CRF1_Listen opens the process's console socket and starts the thread
 * that serves it; `zulctl` is its client.  `directory` (length 0: zero-
 * terminated; null: the default, $XDG_RUNTIME_DIR/zul, /run/zul for root,
 * else /tmp/zul-<uid>) is made if absent and must belong to the process's
 * user and be closed to everyone else.  The socket there is
 * "<program>.<pid>.sock", mode 0600; its path goes to `path` (if not
 * null, cut to `size`).  Only the same user or root may connect; each
 * connection is a console of its own.  Setting ZUL_CONSOLE (1, or a
 * directory) does the same when the library loads.  docs/console.md
 * describes the framing and the limits. */
ZUL_API int CRF1_Listen(const char *directory, uint32_t length, char *path, uint32_t size);

/* Closes the socket and every connection, removes the socket and waits
 * for the server thread to end.  Not from a command run by the server. */
ZUL_API int CRF1_Unlisten(void);

/* Statuses of CRF1_Listen and CRF1_Unlisten besides 0. */
#define CRF1_LISTEN_ACTIVE 20    /* a socket is open already; its path is given */
#define CRF1_LISTEN_INACTIVE 21  /* no socket is open in this process */
#define CRF1_LISTEN_DIRECTORY 22 /* the directory cannot be made, or is not private */
#define CRF1_LISTEN_SOCKET 23    /* the socket cannot be made (path too long, bind fails) */
#define CRF1_LISTEN_THREAD 24    /* the server thread cannot be started */
#define CRF1_LISTEN_BUSY 25      /* CRF1_Unlisten from a command the server runs */

ZUL_END_DECLS

#endif
