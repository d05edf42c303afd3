// zulraev - RAS1_Event: the fixed lines of the protocol, and the suspend
// count.
#include "ras/zulra.h"

// The lines of codes 0 to 4, by code.  The result of code 1 is an
// unsigned long long, printed with all its digits, so that a pointer
// shows whole.
static const char *const event_formats[] = {
    "Entry\n",
    "Exit: 0x%llX\n",
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
    ZULSS_HOLD(&block->lock);
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

    // No test of a class here: the caller has made it.  Entry and Exit
    // lines are FLOW lines; the Compiled and class lines, which a sync
    // writes under DETAIL, DETAIL lines.
    uint32_t kind = event <= RAS1_EVENT_EXIT ? RAS1_FLOW : RAS1_DETAIL;
    va_list args;
    va_start(args, event);
    int status = ZULRA_FormatLine(entry, line, RAS1_WRITE_FORMAT | RAS1_WRITE_AS(kind),
                                  event_formats[event], args);
    va_end(args);
    return status;
}
