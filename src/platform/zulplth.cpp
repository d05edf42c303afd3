// Thread-local slot, thread identity, thread end, and the threads that
// the library starts for itself.
#include "platform/zulplat.h"
#include "platform/zulplsg.h"

#include <linux/futex.h>
#include <pthread.h>
#include <string.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

int ZULPL_TlsAlloc(uint32_t *index, void (*atThreadEnd)(void *value))
{
    pthread_key_t key;
    if (pthread_key_create(&key, atThreadEnd) != 0)
        return -1;
    *index = static_cast<uint32_t>(key);
    return 0;
}

void *ZULPL_TlsGet(uint32_t index)
{
    return pthread_getspecific(static_cast<pthread_key_t>(index));
}

void ZULPL_TlsSet(uint32_t index, void *value)
{
    pthread_setspecific(static_cast<pthread_key_t>(index), value);
}

// The kernel's thread ID costs a system call, and the log asks for it on
// every line, so each thread keeps its own.  A forked child is a new
// thread with the same memory: the fork handler forgets the parent's ID.
static constinit thread_local uint32_t cachedId = 0;
static constinit pthread_once_t forkHook = PTHREAD_ONCE_INIT;

static void forget_id_in_child(void)
{
    cachedId = 0;
}

static void install_fork_hook(void)
{
    pthread_atfork(nullptr, nullptr, forget_id_in_child);
}

uint32_t ZULPL_ThreadId(void)
{
    uint32_t id = cachedId;
    if (__builtin_expect(id == 0, 0)) {
        pthread_once(&forkHook, install_fork_hook);
        id = static_cast<uint32_t>(syscall(SYS_gettid));
        cachedId = id;
    }
    return id;
}

void ZULPL_ExitThread(int code)
{
    pthread_exit(reinterpret_cast<void *>(static_cast<intptr_t>(code)));
}

void ZULPL_ExitProcess(int status)
{
    exit(status);
}

static_assert(sizeof(pthread_t) <= sizeof(uintptr_t), "a thread's handle fits its word");

static pthread_t handle_of(ZULPL_thread_t thread)
{
    pthread_t handle;
    memcpy(&handle, &thread.word, sizeof handle);
    return handle;
}

int ZULPL_ThreadStart(ZULPL_thread_t *thread, void *(*routine)(void *), void *argument)
{
    // The new thread inherits the mask in force when it is made: set it
    // for that moment only.
    uint64_t old = 0;
    ZULPL_SigSetMask(~uint64_t{0}, ~ZULPL_SigSynchronous(), &old);
    pthread_t handle;
    int error = pthread_create(&handle, nullptr, routine, argument);
    ZULPL_SigSetMask(~uint64_t{0}, old, nullptr);
    if (error != 0)
        return error;
    thread->word = 0;
    memcpy(&thread->word, &handle, sizeof handle);
    return 0;
}

void ZULPL_ThreadJoin(ZULPL_thread_t thread)
{
    pthread_join(handle_of(thread), nullptr);
}

int ZULPL_ThreadIsCaller(ZULPL_thread_t thread)
{
    return pthread_equal(pthread_self(), handle_of(thread)) != 0;
}

void ZULPL_ThreadName(const char *name)
{
    (void)prctl(PR_SET_NAME, name, 0, 0, 0);
}

void ZULPL_WaitWord(uint32_t *word, uint32_t expected, uint32_t milliseconds)
{
    struct timespec limit = {static_cast<time_t>(milliseconds / 1000u),
                             static_cast<long>(milliseconds % 1000u) * 1000000L};
    (void)syscall(SYS_futex, word, FUTEX_WAIT_PRIVATE, expected,
                  milliseconds == 0 ? nullptr : &limit, nullptr, 0);
}

void ZULPL_WakeWord(uint32_t *word)
{
    (void)syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, INT32_MAX, nullptr, nullptr, 0);
}
