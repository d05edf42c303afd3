// zulraev - RAS1_Event: the fixed lines of the protocol, and the suspend
// count.
#include "ras/zulra.h"

// The lines of codes 0 to 4, by code.  The format engine's integers are
// 32 bits, so a result above that prints as two halves (exit_value).
static const char *const event_formats[] = {
    "Entry\n",
    "Exit: 0x%X\n",
    "Exit\n",
    "Compiled: %s %s\n     Level=%.*s, Comp=%s\n",
    "Active RAS1 Classes: %*.*s\n",
};

// Codes 5 and 6.  Only the edges of the count move the sync word: the
// first suspend makes every record stale so that each finds the
// suspension, and the last resume so that each works its word out anew.
static void suspend(int by)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    BSS1_GetLock(&block->lock);
    uint32_t count = block->suspended;
    if (by > 0) {
        __atomic_store_n(&block->suspended, count + 1, __ATOMIC_RELEASE);
        if (count == 0)
            ZULRA_MoveSyncWord(block);
    } else if (count != 0) {
        __atomic_store_n(&block->suspended, count - 1, __ATOMIC_RELEASE);
        if (count == 1)
            ZULRA_MoveSyncWord(block);
    }
    BSS1_ReleaseLock(&block->lock);
}

// Writes one line for `entry` from `format` and its values.
static int format_line(ZULRA_entry_t *entry, int line, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    int status = ZULRA_FormatEvent(entry, line, format, args);
    va_end(args);
    return status;
}

// The Exit line of a result: all its hexadecimal digits, so that a
// pointer shows whole.
static int exit_value(ZULRA_entry_t *entry, int line, unsigned long long value)
{
    uint32_t low = (uint32_t)value, high = (uint32_t)(value >> 32);
    if (high == 0)
        return format_line(entry, line, event_formats[RAS1_EVENT_EXITVALUE], low);
    return format_line(entry, line, "Exit: 0x%X%08X\n", high, low);
}

int RAS1_Event(ZULRA_entry_t *entry, int line, int event, ...)
{
    switch (event) {
    case RAS1_EVENT_SUSPEND:
        suspend(1);
        return STC1_Success;
    case RAS1_EVENT_RESUME:
        suspend(-1);
        return STC1_Success;
    case RAS1_EVENT_ENTRY:
    case RAS1_EVENT_EXITVALUE:
    case RAS1_EVENT_EXIT:
    case RAS1_EVENT_COMPILED:
    case RAS1_EVENT_CLASSES:
        break;
    default:
        return STC1_BadArgument;
    }
    if (entry == nullptr)
        return STC1_BadArgument;

    // No test of a class here: the caller has made it.
    va_list args;
    va_start(args, event);
    int status;
    if (event == RAS1_EVENT_EXITVALUE)
        status = exit_value(entry, line, va_arg(args, unsigned long long));
    else
        status = ZULRA_FormatEvent(entry, line, event_formats[event], args);
    va_end(args);
    return status;
}
