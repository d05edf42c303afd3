// zulracp - ZULRA_ShowCapture: the capture ring on a console, oldest line
// first.
//
// The ring is read with no lock, each record whole or not at all
// (ZULRA_WalkRing): a console's output may itself be traced, and no log
// line waits for an operator's listing.
#include "ras/zulra.h"

#include "internal/zulprint.h"

static void show_record(void *format, const char *text, uint32_t length)
{
    ZULSS_Print(static_cast<ZULSS_format_t *>(format), "%.*s\n", length, text);
}

void ZULRA_ShowCapture(ZULRA_pcb_t *block, ZULSS_format_t *format)
{
    (void)ZULRA_WalkRing(__atomic_load_n(&block->capture, __ATOMIC_ACQUIRE), ZULRA_CAPTURE_SLOTS,
                         show_record, format);
}
