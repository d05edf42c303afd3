// Tick counter, sleep, the program's path and the calendar clock.
#include "platform/zulplat.h"

#include <atomic>
#include <errno.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

static constinit std::atomic<uint32_t (*)(void)> tickSource{nullptr};

uint32_t ZULPL_Ticks(void)
{
    uint32_t (*source)(void) = tickSource.load(std::memory_order_acquire);
    if (source != nullptr)
        return source();
    // CLOCK_MONOTONIC counts from boot and is not set back with the wall
    // clock.  Truncating to 32 bits gives the same wrap every 2^32 ms.
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    uint64_t ms = static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
    return static_cast<uint32_t>(ms);
}

void ZULPL_SetTickSource(uint32_t (*source)(void))
{
    tickSource.store(source, std::memory_order_release);
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
