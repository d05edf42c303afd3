// BSS1_GetTime: calendar seconds that follow the tick counter.
//
// The wall clock is read once, at the first call; from then on the
// seconds advance with the 32-bit millisecond tick counter, so the time
// never goes backwards when an operator sets the system clock.  Only whole
// seconds are taken out of the elapsed ticks: the rest stays in lastTicks,
// so no rounding error accumulates.  The counter must be read at least once
// per wrap (49.7 days) for the time to stay right.
#include "bss/zulss.h"
#include "platform/zulplat.h"


namespace {
// `stamp` holds the seconds in its high half and lastTicks in its low
// half, so that a reader gets the two as one pair without the lock.
struct Clock {
    ZULSS_lock_t lock;
    int32_t once;
    uint64_t stamp;
};
constinit Clock clock_ = {};

inline uint64_t make_stamp(uint32_t seconds, uint32_t lastTicks)
{
    return (static_cast<uint64_t>(seconds) << 32) | lastTicks;
}

void construct_clock(void *)
{
    BSS1_InitializeLock(&clock_.lock);
    __atomic_store_n(&clock_.stamp,
                     make_stamp(static_cast<uint32_t>(ZULPL_CalendarNow(nullptr)), ZULPL_Ticks()),
                     __ATOMIC_RELEASE);
}
} // namespace

uint32_t BSS1_GetTime(ZULSS_time_t *value)
{
    if (__atomic_load_n(&clock_.once, __ATOMIC_ACQUIRE) >= 0)
        BSS1_InitializeOnce(&clock_.once, construct_clock, nullptr, __FILE__, __LINE__);

    // Within the second that the stamp stands for nothing is consumed, so
    // the pair as it stands gives the time with no lock: the log reads the
    // clock on every line.  Only when a whole second has gone by is the
    // stamp moved on, under the lock, from a fresh reading.
    uint64_t stamp = __atomic_load_n(&clock_.stamp, __ATOMIC_ACQUIRE);
    uint32_t ticks = ZULPL_Ticks();
    // Unsigned subtraction is exactly (2^32 - lastTicks) + ticks when the
    // counter has wrapped.
    uint32_t elapsed = ticks - static_cast<uint32_t>(stamp);
    if (elapsed >= 1000u) {
        BSS1_GetLock(&clock_.lock);
        stamp = __atomic_load_n(&clock_.stamp, __ATOMIC_RELAXED);
        ticks = ZULPL_Ticks();
        elapsed = ticks - static_cast<uint32_t>(stamp);
        uint32_t whole = elapsed / 1000u;
        elapsed %= 1000u;
        stamp = make_stamp(static_cast<uint32_t>(stamp >> 32) + whole,
                           static_cast<uint32_t>(stamp) + whole * 1000u);
        __atomic_store_n(&clock_.stamp, stamp, __ATOMIC_RELEASE);
        BSS1_ReleaseLock(&clock_.lock);
    }
    uint32_t seconds = static_cast<uint32_t>(stamp >> 32);

    if (value != nullptr) {
        value->seconds = seconds;
        value->nanoseconds = elapsed * 1000000u;
    }
    return seconds;
}
