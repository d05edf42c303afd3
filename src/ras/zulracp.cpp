// zulracp - ZULRA_ShowCapture: the capture ring on a console, oldest line
// first.
//
// The reader raises the ring's hold count, so that writers leave the ring
// alone, and walks it with no lock: a console's output may itself be
// traced, and no log line waits for an operator's listing.  Lines written
// meanwhile reach their stores but are missing from the ring.
#include "ras/zulra.h"

#include "internal/zulprint.h"

void ZULRA_ShowCapture(ZULRA_pcb_t *block, ZULSS_format_t *format)
{
    ZULRA_HoldCapture(block, 1);
    ZULRA_capture_t *at = __atomic_load_n(&block->capture, __ATOMIC_ACQUIRE);
    if (at != nullptr) {
        // `at` is where the next record goes; the slot behind it is the
        // oldest.  Slots never used have length 0, and so does `at`.
        for (ZULRA_capture_t *slot = at->next; slot != at; slot = slot->next)
            if (slot->length != 0)
                ZULSS_Print(format, "%.*s\n", slot->length, slot->text);
    }
    ZULRA_HoldCapture(block, 0);
}
