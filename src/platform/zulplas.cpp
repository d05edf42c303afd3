// ZULPL_AltStack: gives the calling thread an alternate signal stack.
//
// A thread that runs off its stack takes its SIGSEGV with no stack left to
// run the handler on; the kernel then kills the process without a word.
// With an alternate stack (and the handlers installed with SA_ONSTACK) the
// handler runs there and can recover or write a report.  The stack is
// mapped with a guard page below it, so a handler that itself overflows
// faults instead of writing over other memory, and is unmapped by a
// thread-specific key's destructor when the thread ends.
#include "internal/zulfatal.h"

#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// Room for a report writer's frames as well as a jump's: well above
// MINSIGSTKSZ, and a whole number of pages.
constexpr size_t kStackSize = 64 * 1024;

constinit pthread_once_t keyOnce = PTHREAD_ONCE_INIT;
constinit pthread_key_t stackKey;
constinit int keyMade = 0;

size_t page_size()
{
    long page = sysconf(_SC_PAGESIZE);
    return page > 0 ? static_cast<size_t>(page) : 4096;
}

// At thread end: switch the stack off, then give its pages back.
void free_stack(void *base)
{
    stack_t off = {};
    off.ss_flags = SS_DISABLE;
    sigaltstack(&off, nullptr);
    munmap(base, kStackSize + page_size());
}

void make_key()
{
    keyMade = pthread_key_create(&stackKey, free_stack) == 0;
}

} // namespace

int ZULPL_AltStack(void)
{
    stack_t current;
    if (sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE) == 0)
        return 0; // the thread has one already, its own or the program's
    const size_t guard = page_size();
    void *base = mmap(nullptr, kStackSize + guard, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (base == MAP_FAILED)
        return -1;
    mprotect(base, guard, PROT_NONE);
    stack_t stack = {};
    stack.ss_sp = static_cast<char *>(base) + guard;
    stack.ss_size = kStackSize;
    if (sigaltstack(&stack, nullptr) != 0) {
        munmap(base, kStackSize + guard);
        return -1;
    }
    pthread_once(&keyOnce, make_key);
    if (keyMade)
        pthread_setspecific(stackKey, base);
    return 0;
}
