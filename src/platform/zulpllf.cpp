// Log files and the journal's door: opening and reopening the file a log
// writes to, what a descriptor stands for, the hangup signal that asks for
// a reopen, the hooks around fork, whether the journal's socket answers,
// and a routine of a library loaded by name.
//
// Every descriptor opened here is close-on-exec, so that a program that
// starts another keeps its log to itself.
#include "platform/zulplat.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

int ZULPL_OpenLog(const char *path, int truncate, int *error)
{
    // Appending always: a file that something else truncates (or that
    // another process writes too) takes each line at its end, never over
    // a hole.
    int flags = O_WRONLY | O_CREAT | O_APPEND | O_NOCTTY | O_CLOEXEC | (truncate ? O_TRUNC : 0);
    int fd;
    do
        fd = open(path, flags, 0644);
    while (fd < 0 && errno == EINTR);
    *error = fd < 0 ? errno : 0;
    return fd;
}

int ZULPL_ReopenLog(int fd, const char *path)
{
    int error;
    int fresh = ZULPL_OpenLog(path, 0, &error);
    if (fresh < 0)
        return error;
    // The swap is one step: a write under way ends in the file it began
    // in, and every write after it goes to the new one.
    int result = 0;
    while (dup3(fresh, fd, O_CLOEXEC) < 0) {
        if (errno != EINTR && errno != EBUSY) {
            result = errno;
            break;
        }
    }
    close(fresh);
    return result;
}

const char *ZULPL_ErrorText(int error)
{
    const char *text = strerrordesc_np(error);
    return text ? text : "Unknown error";
}

int ZULPL_FileKind(int fd)
{
    if (isatty(fd))
        return ZULPL_FILE_TERMINAL;
    struct stat st;
    if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode))
        return ZULPL_FILE_REGULAR;
    return ZULPL_FILE_OTHER;
}

int ZULPL_OnFork(void (*prepare)(void), void (*child)(void))
{
    return pthread_atfork(prepare, nullptr, child);
}

// The routine that a hangup runs, and the action that was there before.
typedef void (*hangup_t)(void);
static constinit hangup_t hangup_routine = nullptr;
static constinit struct sigaction previous_hangup = {};

static void on_hangup(int signal, siginfo_t *info, void *context)
{
    int saved = errno;
    hangup_t routine = __atomic_load_n(&hangup_routine, __ATOMIC_ACQUIRE);
    if (routine != nullptr)
        routine();
    // A handler that was there before still runs; a default action
    // (which would end the process) or an ignored signal does not.
    if (previous_hangup.sa_flags & SA_SIGINFO) {
        if (previous_hangup.sa_sigaction != nullptr)
            previous_hangup.sa_sigaction(signal, info, context);
    } else if (previous_hangup.sa_handler != SIG_DFL && previous_hangup.sa_handler != SIG_IGN) {
        previous_hangup.sa_handler(signal);
    }
    errno = saved;
}

int ZULPL_OnHangup(void (*routine)(void))
{
    __atomic_store_n(&hangup_routine, routine, __ATOMIC_RELEASE);
    struct sigaction action = {};
    action.sa_sigaction = on_hangup;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigemptyset(&action.sa_mask);
    return sigaction(SIGHUP, &action, &previous_hangup) == 0 ? 0 : errno;
}

int ZULPL_SocketAnswers(const char *path)
{
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    size_t length = strlen(path);
    if (length >= sizeof address.sun_path)
        return ENAMETOOLONG;
    memcpy(address.sun_path, path, length);
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return errno;
    // A datagram socket connects only where a process has the name bound:
    // a socket file left behind by a service that has ended refuses.
    int result = connect(fd, (struct sockaddr *)&address, sizeof address) == 0 ? 0 : errno;
    close(fd);
    return result;
}

void *ZULPL_LoadRoutine(const char *library, const char *name, const char **why)
{
    *why = nullptr;
    void *handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        *why = dlerror();
        return nullptr;
    }
    void *routine = dlsym(handle, name);
    if (routine == nullptr)
        *why = dlerror();
    // The library stays loaded to the end of the process, like the log.
    return routine;
}
