// CRF1_Listen, CRF1_Unlisten: the console server, a local socket that
// lets the process's owner run console commands from outside.
//
// The socket is "<program>.<pid>.sock" in a directory only the owner can
// enter.  It is removed by CRF1_Unlisten and when the process ends; a
// socket left by a process that has gone is removed by the next server
// that starts in the same directory.  A forked child has no server: it
// closes its copies of the descriptors and leaves the parent's socket
// alone, and may call CRF1_Listen for one of its own.
#include "crf/zulcr.h"
#include "crf/zulcrso.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "internal/zulprogram.h"
#include "internal/zulunits.h"
#include "platform/zulplat.h"
#include "platform/zulplsi.h"

ZULRA_CRF1_UNIT("zulcrls");

constinit ZULCR_server_t ZULCR_server = {};

namespace {

constinit std::atomic<uint32_t> forkHooked{0};

// In a forked child the thread is gone: close the copies of its
// descriptors, forget the consoles (their resources belong to the
// parent's story) and leave the socket to the parent.
void after_fork_in_child()
{
    ZULCR_server_t *s = &ZULCR_server;
    if (!s->running.load(std::memory_order_acquire))
        return;
    for (uint32_t i = 0; i < ZULCR_SOCKET_CONNECTIONS; ++i)
        if (s->conns[i].used)
            ZULPL_CloseFd(s->conns[i].fd);
    ZULPL_CloseFd(s->listener);
    ZULPL_CloseFd(s->wake[0]);
    ZULPL_CloseFd(s->wake[1]);
    ZULPL_CloseFd(s->events);
    ZULPL_CloseFd(s->spare);
    memset(s->conns, 0, sizeof s->conns);
    ZULCR_TailForget();
    s->running.store(0, std::memory_order_release);
}

// The socket goes when the process ends, whatever the server thread is
// doing; only the process that bound it removes it.
__attribute__((destructor)) void remove_at_exit()
{
    ZULCR_server_t *s = &ZULCR_server;
    if (s->running.load(std::memory_order_acquire) && s->ownerPid == ZULPL_ProcessId())
        ZULPL_RemovePath(s->path);
}

// Undoes a start that failed after the listener, the event set and the
// wake pipe were made.
void close_all(ZULCR_server_t *s, int listener)
{
    ZULPL_CloseFd(listener);
    ZULPL_CloseFd(s->events);
    ZULPL_CloseFd(s->wake[0]);
    ZULPL_CloseFd(s->wake[1]);
    ZULPL_CloseFd(s->spare);
    ZULPL_RemovePath(s->path);
}

int start(ZULCR_server_t *s, const char *directory, uint32_t length)
{
    char wanted[ZULPL_SOCKET_PATH_MAX];
    if (directory != nullptr && length == 0)
        length = uint32_t(strlen(directory));
    if (directory != nullptr && length >= sizeof wanted)
        return CRF1_BadDirectory;
    if (directory != nullptr) {
        memcpy(wanted, directory, length);
        wanted[length] = '\0';
        if (memchr(wanted, '\0', length) != nullptr)
            return CRF1_BadDirectory;
    }
    char dir[ZULPL_SOCKET_PATH_MAX];
    if (ZULPL_PrivateDirectory(directory != nullptr ? wanted : nullptr, dir, sizeof dir) != 0)
        return CRF1_BadDirectory;

    // "<dir>/<program>.<pid>.sock": the program's name gives way first
    // when the host's limit on socket paths is near.
    char tail[24];
    snprintf(tail, sizeof tail, ".%u.sock", unsigned(ZULPL_ProcessId()));
    size_t room = sizeof s->path - strlen(dir) - 1 - strlen(tail);
    if (strlen(dir) + 1 + strlen(tail) + 2 > sizeof s->path)
        return CRF1_NoSocket;
    char name[64];
    ZULSS_ProgramBase(name, room < sizeof name ? room : sizeof name);
    if (snprintf(s->path, sizeof s->path, "%s/%s%s", dir, name, tail) >= int(sizeof s->path))
        return CRF1_NoSocket;

    ZULPL_RemoveStaleSockets(dir);
    int fd = ZULPL_ListenLocal(s->path);
    if (fd < 0)
        return CRF1_NoSocket;
    s->wake[0] = s->wake[1] = s->spare = -1;
    s->events = ZULPL_EventSet();
    if (s->events < 0 || ZULPL_WakePipe(s->wake) != 0 ||
        ZULPL_EventAdd(s->events, fd, ZULCR_KEY_LISTENER, ZULPL_IO_READ) != 0 ||
        ZULPL_EventAdd(s->events, s->wake[0], ZULCR_KEY_WAKE, ZULPL_IO_READ) != 0) {
        close_all(s, fd);
        return CRF1_NoSocket;
    }
    // Without the spare the server still works; it only cannot take a
    // connection on while the process is out of descriptors.
    s->spare = ZULPL_SpareFd();
    s->listening = 1;
    s->connections = s->failed = 0;
    s->listener = fd;
    s->ownerPid = ZULPL_ProcessId();
    s->ownerUid = ZULPL_UserId();
    s->stopping.store(0, std::memory_order_relaxed);
    if (forkHooked.exchange(1) == 0)
        (void)ZULPL_OnFork(nullptr, after_fork_in_child);

    // The thread takes no asynchronous signal, so that the program's
    // handlers and sigwait loops keep theirs; a command that faults on it
    // still meets the program's protected scope or the failure report.
    if (ZULPL_ThreadStart(&s->thread, ZULCR_Serve, s) != 0) {
        close_all(s, fd);
        return CRF1_NoThread;
    }
    s->running.store(1, std::memory_order_release);
    return 0;
}

void copy_out(const ZULCR_server_t *s, char *path, uint32_t size)
{
    if (path != nullptr && size != 0)
        snprintf(path, size, "%s", s->path);
}

// Ends the server: wakes its thread and waits for it.
int stop(ZULCR_server_t *s)
{
    ZULSS_HOLD(&s->lock);
    if (!s->running.load(std::memory_order_acquire))
        return CRF1_NotListening;
    // A command run by the server itself cannot wait for its end.
    if (ZULPL_ThreadIsCaller(s->thread))
        return CRF1_ServerBusy;
    s->stopping.store(1, std::memory_order_release);
    ZULPL_Wake(s->wake[1]);
    ZULPL_ThreadJoin(s->thread);
    ZULPL_CloseFd(s->wake[0]);
    ZULPL_CloseFd(s->wake[1]);
    s->running.store(0, std::memory_order_release);
    return CRF1_OK;
}

} // namespace

int ZULCR_Listen(const char *directory, uint32_t length, char *path, uint32_t size)
{
    ZULCR_server_t *s = &ZULCR_server;
    ZULSS_HOLD(&s->lock);
    int status = s->running.load(std::memory_order_acquire) ? int(CRF1_Listening) : start(s, directory, length);
    if (status == 0 || status == CRF1_Listening)
        copy_out(s, path, size);
    return status;
}

void ZULCR_LogListen(ZULRA_entry_t *entry, uint32_t classes, const char *directory, uint32_t length, int status)
{
    if (length == 0 && directory != nullptr)
        length = uint32_t(strlen(directory));
    if (status != 0 && status != CRF1_Listening)
        RAS1_LOG(*entry, classes, RAS1_ERROR, "Console socket not opened in %.*s: status %d\n",
                 directory != nullptr ? int(length) : 7, directory != nullptr ? directory : "default", status);
    else if (status == 0)
        RAS1_LOG(*entry, classes, RAS1_STATE, "Console listening on %s\n", ZULCR_server.path);
}

extern "C" ZUL_API int CRF1_Listen(const char *directory, uint32_t length, char *path, uint32_t size)
{
    ZULCR_ENTRY("CRF1_Listen", RAS1_PUBLIC);
    int status = ZULCR_Listen(directory, length, path, size);
    ZULCR_LogListen(&entry, classes, directory, length, status);
    ZULCR_RETURN(status);
}

extern "C" ZUL_API int CRF1_Unlisten(void)
{
    ZULCR_ENTRY("CRF1_Unlisten", RAS1_PUBLIC);
    ZULCR_RETURN(stop(&ZULCR_server));
}
