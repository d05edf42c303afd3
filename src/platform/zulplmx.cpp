// Recursive mutexes on the kernel's futex.
//
// The library's hottest lock is a log store's, which is held across the
// write(2) of a line: about a microsecond, and much shorter than putting
// a thread to sleep and waking it again, which costs two system calls, two
// context switches and, on a virtual machine, an interrupt between virtual
// processors.  A waiter therefore first spins for a bounded while,
// watching the lock word without writing it, and sleeps in the kernel only
// if the holder is still not done.  On a machine with one processor the
// holder cannot run while a waiter spins, so nobody spins there.
//
// The word follows the three-state futex protocol: 0 free, 1 held, 2 held
// and perhaps waited for.  Only a release that finds 2 pays for a wake-up.
// Recursion is counted beside the word by its owner, the only thread that
// reads `depth`; `owner` is read by the others only to compare it with
// their own ID, which it can never equal unless they hold the lock.
//
// Creation never fails: without memory a mutex comes from a reserve of
// static ones, and with the reserve used up the creator waits for memory,
// as a lock waits for its holder.  A lock that silently stopped excluding
// would be worse than either.
//
// Every mutex is kept in one list, so that a forked child can put them
// right: the child has only the thread that called fork, and a mutex that
// another thread held at that moment would otherwise stay held for ever.
// See fork_child below and docs/platform.md.
#include "platform/zulplat.h"
#include "internal/zullinks.h"

#include <atomic>
#include <linux/futex.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

struct Mutex {
    std::atomic<uint32_t> word;
    std::atomic<uint32_t> owner; // kernel thread ID, 0 when free
    uint32_t depth;
    Mutex *next, *prev; // the list of all mutexes, under listLock
};

// Mutexes handed out when the heap has none; `reserveUsed` marks the
// taken ones.
constexpr int kReserve = 64;
constinit Mutex reserve[kReserve] = {};
constinit std::atomic<bool> reserveUsed[kReserve] = {};

// All mutexes, oldest first.  listLock's word follows the same protocol;
// it is never taken twice by one thread nor held while another lock is
// taken, and it is held across fork so that the child finds the list
// whole.  Its address is the list's sentinel, and `first` and `last` the
// head's links.
constinit Mutex listLock = {};
constinit Mutex *first = &listLock;
constinit Mutex *last = &listLock;
constexpr ZUL_links<Mutex> kList = {&Mutex::next, &Mutex::prev, &listLock, &first, &last};
constinit pthread_once_t forkHook = PTHREAD_ONCE_INIT;
constinit uint32_t forkingId = 0;

// Lock-word polls before a waiter sleeps.  One poll with its pause is some
// tens of nanoseconds, so the bound covers a held time of a few
// microseconds: a store's write, but not a holder that is itself asleep.
constexpr int kSpinPolls = 256;

// 0 until known; then 1 on a single processor, 2 otherwise.
constinit std::atomic<int> processors{0};

bool worth_spinning()
{
    int known = processors.load(std::memory_order_relaxed);
    if (known == 0) {
        known = sysconf(_SC_NPROCESSORS_ONLN) > 1 ? 2 : 1;
        processors.store(known, std::memory_order_relaxed);
    }
    return known == 2;
}

inline void cpu_relax()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    __asm__ __volatile__("yield");
#endif
}

void futex_wait(std::atomic<uint32_t> *word, uint32_t expected)
{
    // Returns at a wake-up, a signal, or at once if the word has moved on:
    // the caller looks at the word again in every case.
    syscall(SYS_futex, reinterpret_cast<uint32_t *>(word), FUTEX_WAIT_PRIVATE, expected,
            nullptr, nullptr, 0);
}

void futex_wake_one(std::atomic<uint32_t> *word)
{
    syscall(SYS_futex, reinterpret_cast<uint32_t *>(word), FUTEX_WAKE_PRIVATE, 1, nullptr,
            nullptr, 0);
}

void acquire(Mutex *m)
{
    uint32_t expected = 0;
    if (m->word.compare_exchange_strong(expected, 1, std::memory_order_acquire,
                                        std::memory_order_relaxed))
        return;

    if (worth_spinning()) {
        for (int i = 0; i < kSpinPolls; i++) {
            cpu_relax();
            expected = m->word.load(std::memory_order_relaxed);
            // Taking a free word with 1 is right even when somebody sleeps:
            // the sleeper, once woken, finds the word taken and sets it to
            // 2 again before it sleeps on.
            if (expected == 0 &&
                m->word.compare_exchange_weak(expected, 1, std::memory_order_acquire,
                                              std::memory_order_relaxed))
                return;
        }
    }

    // From here the word says "perhaps waited for", so that the release
    // that lets this thread in also wakes the next sleeper.
    while (m->word.exchange(2, std::memory_order_acquire) != 0)
        futex_wait(&m->word, 2);
}


void release_word(Mutex *m)
{
    if (m->word.exchange(0, std::memory_order_release) == 2)
        futex_wake_one(&m->word);
}

// Before fork: note which thread forks and hold the list still.
void fork_prepare()
{
    forkingId = ZULPL_ThreadId();
    acquire(&listLock);
}

void fork_parent()
{
    release_word(&listLock);
}

// In the child only the forking thread lives on.  Mutexes that it holds
// stay held, under its new thread ID, so that it can release them as it
// would have in the parent (a fork from inside a store's write routine,
// say).  Every other held mutex belonged to a thread that the child does
// not have and that can never release it: it is set free.  What such a
// thread was doing under the lock stays as it left it; the library's
// critical sections are short steps on its own records (a list link, a
// counter, a line handed to a store), so the child loses at most what
// that thread was writing.  Waiters need no wake-up: the child has none.
void fork_child()
{
    const uint32_t self = static_cast<uint32_t>(syscall(SYS_gettid));
    for (Mutex *m = first; m != &listLock; m = m->next) {
        if (m->owner.load(std::memory_order_relaxed) == forkingId && forkingId != 0) {
            m->owner.store(self, std::memory_order_relaxed);
            m->word.store(1, std::memory_order_relaxed);
        } else {
            m->owner.store(0, std::memory_order_relaxed);
            m->depth = 0;
            m->word.store(0, std::memory_order_relaxed);
        }
    }
    listLock.word.store(0, std::memory_order_relaxed);
}

void install_fork_hook()
{
    pthread_atfork(fork_prepare, fork_parent, fork_child);
}

// A fresh mutex: from the heap, else from the reserve, else after waiting
// for one of the two.
Mutex *new_mutex()
{
    for (;;) {
        Mutex *m = static_cast<Mutex *>(calloc(1, sizeof(Mutex)));
        if (m != nullptr)
            return m;
        for (int i = 0; i < kReserve; i++) {
            bool expected = false;
            if (!reserveUsed[i].load(std::memory_order_relaxed) &&
                reserveUsed[i].compare_exchange_strong(expected, true, std::memory_order_acquire)) {
                reserve[i].word.store(0, std::memory_order_relaxed);
                reserve[i].owner.store(0, std::memory_order_relaxed);
                reserve[i].depth = 0;
                return &reserve[i];
            }
        }
        ZULPL_Sleep(1);
    }
}

} // namespace

void *ZULPL_MutexCreate(void)
{
    pthread_once(&forkHook, install_fork_hook);
    Mutex *m = new_mutex();
    acquire(&listLock);
    ZUL_RingInsertBefore(kList, &listLock, m);
    release_word(&listLock);
    return m;
}
void ZULPL_MutexLock(void *mutex)
{
    if (mutex == nullptr)
        return;
    Mutex *m = static_cast<Mutex *>(mutex);
    uint32_t self = ZULPL_ThreadId();
    if (m->owner.load(std::memory_order_relaxed) == self) {
        m->depth++;
        return;
    }
    acquire(m);
    m->owner.store(self, std::memory_order_relaxed);
    m->depth = 1;
}

void ZULPL_MutexUnlock(void *mutex)
{
    if (mutex == nullptr)
        return;
    Mutex *m = static_cast<Mutex *>(mutex);
    // A release by a thread that does not hold the lock is ignored, as
    // the system's mutexes refuse it.
    if (m->owner.load(std::memory_order_relaxed) != ZULPL_ThreadId() || m->depth == 0)
        return;
    if (--m->depth != 0)
        return;
    m->owner.store(0, std::memory_order_relaxed);
    release_word(m);
}

int ZULPL_MutexHeld(void *mutex)
{
    // Only the owner can find its own ID here; any other thread reads an
    // ID that is not its own, whatever moment it reads at.
    const Mutex *m = static_cast<const Mutex *>(mutex);
    return m != nullptr && m->owner.load(std::memory_order_relaxed) == ZULPL_ThreadId();
}

void ZULPL_MutexDestroy(void *mutex)
{
    if (mutex == nullptr)
        return;
    Mutex *m = static_cast<Mutex *>(mutex);
    acquire(&listLock);
    ZUL_RingUnlink(kList, m);
    release_word(&listLock);
    if (m >= reserve && m < reserve + kReserve)
        reserveUsed[m - reserve].store(false, std::memory_order_release);
    else
        free(m);
}
