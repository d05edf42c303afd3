// Tick counter, sleep, yield, the program's path and the calendar clock.
//
// The tick counter is CLOCK_MONOTONIC in milliseconds.  The log reads it
// for every line, and on a virtual machine clock_gettime costs some tens
// of nanoseconds, more than most of a line's own work; so where the
// processor's time-stamp counter runs at a fixed rate and the kernel
// itself keeps time by it, each thread remembers the counter's value at
// its last reading and how many counts are left before that millisecond
// ends, and a reading within them gives the same millisecond with one
// instruction.  The counts per millisecond are measured against the clock
// over the first tenth of a second, and taken a little low, so that the
// shortcut ends a millisecond early rather than late: it never gives a
// value that the clock would not have.
#include "platform/zulplat.h"

#include <atomic>
#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <string.h>
#include <time.h>
#include <unistd.h>
#if defined(__x86_64__)
#include <cpuid.h>
#include <x86intrin.h>
#endif

static constinit std::atomic<uint32_t (*)(void)> tickSource{nullptr};

namespace {

uint64_t clock_ns()
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
}

#if defined(__x86_64__)
// Counts of the time-stamp counter in a millisecond, at least; 0 while
// unknown or where the counter cannot be trusted.
constinit std::atomic<uint64_t> countsPerMs{0};
// 0 not looked at yet, 1 measuring, -1 not to be used.
constinit std::atomic<int> counterState{0};
constinit std::atomic<uint64_t> firstCount{0}, firstNs{0};

// Where the counter may stand in for the clock: it runs at a fixed rate
// through every power state, and the kernel keeps time by it.
bool counter_trusted()
{
    unsigned a, b, c, d;
    if (!__get_cpuid(0x80000007u, &a, &b, &c, &d) || (d & (1u << 8)) == 0)
        return false;
    char source[32] = {};
    int fd = open("/sys/devices/system/clocksource/clocksource0/current_clocksource",
                  O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    ssize_t n = read(fd, source, sizeof source - 1);
    close(fd);
    return n >= 3 && memcmp(source, "tsc", 3) == 0 && (n == 3 || source[3] == '\n');
}

// Learns the counter's rate from readings of the clock a tenth of a
// second apart.
void measure(uint64_t count, uint64_t ns)
{
    int state = counterState.load(std::memory_order_acquire);
    if (state == 0) {
        int expected = 0;
        if (counterState.compare_exchange_strong(expected, counter_trusted() ? 1 : -1)) {
            firstCount.store(count, std::memory_order_relaxed);
            firstNs.store(ns, std::memory_order_release);
        }
        return;
    }
    uint64_t since = firstNs.load(std::memory_order_acquire);
    if (state != 1 || since == 0 || ns - since < 100000000u ||
        countsPerMs.load(std::memory_order_relaxed) != 0)
        return;
    uint64_t counts = count - firstCount.load(std::memory_order_relaxed);
    uint64_t perMs = static_cast<uint64_t>(static_cast<double>(counts) * 1e6 /
                                           static_cast<double>(ns - since));
    countsPerMs.store(perMs - perMs / 500, std::memory_order_release);
}

// The calling thread's last reading: the counter then, the counts left in
// that millisecond, and the millisecond.
struct Recent {
    uint64_t count;
    uint64_t left;
    uint32_t ms;
};
constinit thread_local __attribute__((tls_model("initial-exec"))) Recent recent = {};
#endif

} // namespace

uint32_t ZULPL_Ticks(void)
{
    uint32_t (*source)(void) = tickSource.load(std::memory_order_acquire);
    if (source != nullptr)
        return source();
#if defined(__x86_64__)
    // The counter is read before the clock, so the counts left are counted
    // from a moment a little before the clock's reading.  A counter that
    // went back (another processor, a resumed machine) gives a huge
    // difference and a fresh reading.
    uint64_t count = __rdtsc();
    if (count - recent.count < recent.left)
        return recent.ms;
    uint64_t ns = clock_ns();
    uint32_t ms = static_cast<uint32_t>(ns / 1000000u);
    uint64_t perMs = countsPerMs.load(std::memory_order_acquire);
    if (perMs == 0)
        measure(count, ns);
    recent.count = count;
    recent.left = (1000000u - ns % 1000000u) * perMs / 1000000u;
    recent.ms = ms;
    return ms;
#else
    // CLOCK_MONOTONIC counts from boot and is not set back with the wall
    // clock.  Truncating to 32 bits gives the same wrap every 2^32 ms.
    return static_cast<uint32_t>(clock_ns() / 1000000u);
#endif
}

void ZULPL_SetTickSource(uint32_t (*source)(void))
{
    tickSource.store(source, std::memory_order_release);
}

void ZULPL_Yield(void)
{
    sched_yield();
}

void ZULPL_Sleep(uint32_t milliseconds)
{
    struct timespec ts;
    ts.tv_sec = milliseconds / 1000u;
    ts.tv_nsec = static_cast<long>(milliseconds % 1000u) * 1000000L;
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
}

size_t ZULPL_ProgramPath(char *buffer, size_t size)
{
    if (buffer == nullptr || size == 0)
        return 0;
    ssize_t n = readlink("/proc/self/exe", buffer, size - 1);
    if (n <= 0) {
        buffer[0] = '\0';
        return 0;
    }
    buffer[n] = '\0';
    return static_cast<size_t>(n);
}

int64_t ZULPL_CalendarNow(long *utcOffset)
{
    time_t now = time(nullptr);
    if (utcOffset != nullptr) {
        struct tm local;
        *utcOffset = localtime_r(&now, &local) != nullptr ? local.tm_gmtoff : 0;
    }
    return static_cast<int64_t>(now);
}
