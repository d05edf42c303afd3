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

#include <time.h>

namespace {
struct Clock {
    ZULSS_lock_t lock;
    int32_t once;
    uint32_t seconds;
    uint32_t lastTicks;
};
constinit Clock clock_{};

void construct_clock(void *)
{
    BSS1_InitializeLock(&clock_.lock);
    clock_.seconds = static_cast<uint32_t>(time(nullptr));
    clock_.lastTicks = ZULPL_Ticks();
}
} // namespace

uint32_t BSS1_GetTime(ZULSS_time_t *value)
{
    if (__atomic_load_n(&clock_.once, __ATOMIC_ACQUIRE) >= 0)
        BSS1_InitializeOnce(&clock_.once, construct_clock, nullptr, __FILE__, __LINE__);

    BSS1_GetLock(&clock_.lock);
    uint32_t ticks = ZULPL_Ticks();
    // Unsigned subtraction is exactly (2^32 - lastTicks) + ticks when the
    // counter has wrapped.
    uint32_t elapsed = ticks - clock_.lastTicks;
    uint32_t whole = elapsed / 1000u;
    uint32_t rest = elapsed % 1000u;
    clock_.lastTicks += whole * 1000u;
    clock_.seconds += whole;
    uint32_t seconds = clock_.seconds;
    BSS1_ReleaseLock(&clock_.lock);

    if (value != nullptr) {
        value->seconds = seconds;
        value->nanoseconds = rest * 1000000u;
    }
    return seconds;
}
