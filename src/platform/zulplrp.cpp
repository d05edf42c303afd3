// What the failure report asks of the host while a process dies: its
// thread and process, the machine's names, the report file and the files
// it reads, its own memory read safely, the watchdog's alarm, the end by
// the signal's default action, a stack of its own for the symbol section,
// and the symbol library loaded for the time of one report.
#include "platform/zulplrp.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/utsname.h>
#include <unistd.h>

int ZULPL_RawThreadId(void)
{
    return static_cast<int>(syscall(SYS_gettid));
}

static void copy_cut(char *to, size_t size, const char *text)
{
    if (size == 0)
        return;
    size_t length = strnlen(text, size - 1);
    memcpy(to, text, length);
    to[length] = '\0';
}

int ZULPL_HostNames(char *node, size_t nodeSize, char *release, size_t releaseSize)
{
    struct utsname u;
    const bool known = uname(&u) == 0;
    copy_cut(node, nodeSize, known ? u.nodename : "");
    copy_cut(release, releaseSize, known ? u.release : "");
    return known ? 0 : -1;
}

int ZULPL_OpenReport(const char *path)
{
    return open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0644);
}

int ZULPL_OpenRead(const char *path)
{
    return open(path, O_RDONLY | O_CLOEXEC);
}

long ZULPL_Read(int fd, void *buffer, size_t size)
{
    for (;;) {
        ssize_t n = read(fd, buffer, size);
        if (n >= 0 || errno != EINTR)
            return static_cast<long>(n);
    }
}

void ZULPL_Close(int fd)
{
    close(fd);
}

int ZULPL_ReadMemory(uintptr_t address, void *to, size_t length)
{
    // The kernel copies from this process to itself and answers EFAULT for
    // an address that is not mapped, where a plain read would fault.
    struct iovec local = {to, length};
    struct iovec remote = {reinterpret_cast<void *>(address), length};
    return process_vm_readv(getpid(), &local, 1, &remote, 1, 0) == static_cast<ssize_t>(length);
}

void ZULPL_Alarm(unsigned seconds)
{
    alarm(seconds);
}

void ZULPL_SignalThread(int tid, int host)
{
    syscall(SYS_tgkill, getpid(), tid, host);
}

void ZULPL_SigCatch(int host, ZULPL_fatal_t handler)
{
    struct sigaction action = {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    sigaction(host, &action, nullptr);
}

void ZULPL_SigSetDefault(int host)
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(host, &action, nullptr);
}

void ZULPL_SigDie(int host)
{
    ZULPL_SigSetDefault(host);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, host);
    sigprocmask(SIG_UNBLOCK, &one, nullptr);
    raise(host);
    _exit(128 + host);
}

void ZULPL_SaveContext(ucontext_t *context)
{
    getcontext(context);
}

// The two sides of ZULPL_RunOnStack; one switch at a time, which the
// report's one writer at a time gives.
static constinit ucontext_t callerSide = {};
static constinit ucontext_t routineSide = {};

int ZULPL_RunOnStack(void *stack, size_t size, void (*routine)(void))
{
    if (stack == nullptr || getcontext(&routineSide) != 0)
        return 0;
    routineSide.uc_stack.ss_sp = stack;
    routineSide.uc_stack.ss_size = size;
    routineSide.uc_link = &callerSide;
    makecontext(&routineSide, routine, 0);
    swapcontext(&callerSide, &routineSide);
    return 1;
}

void *ZULPL_MapStack(size_t size)
{
    void *stack = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    return stack != MAP_FAILED ? stack : nullptr;
}

void *ZULPL_OpenLibrary(const char *name, const char **why)
{
    void *library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr && why != nullptr) {
        const int error = errno;
        *why = dlerror();
        errno = error;
    }
    return library;
}

void *ZULPL_LibraryRoutine(void *library, const char *name)
{
    return dlsym(library, name);
}

void ZULPL_CloseLibrary(void *library)
{
    if (library != nullptr)
        dlclose(library);
}
