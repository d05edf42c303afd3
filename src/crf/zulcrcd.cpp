// ZULCR_ConsoleDestructor: the end of a console record.
//
// Ending the format object hands its last line to the console's output,
// which is then freed unread with the record.
#include "crf/zulcr.h"
#include "internal/zulunits.h"

#include <stdlib.h>

ZULRA_CRF1_UNIT("zulcrcd");

static void free_chain(ZULCR_chunk_t *c)
{
    while (c != nullptr) {
        ZULCR_chunk_t *next = c->next;
        free(c);
        c = next;
    }
}

void ZULCR_ConsoleDestructor(void *record)
{
    ZULCR_ENTRY("ZULCR_ConsoleDestructor", RAS1_PRIVATE);

    ZULCR_ccb_t *ccb = static_cast<ZULCR_ccb_t *>(record);
    if (ccb->format != nullptr)
        BSS1_EndFormat(ccb->format);
    free_chain(ccb->reading);
    if (ccb->writing != nullptr)
        free_chain(ZUL_RingOpen(ZULCR_chunkRing, ccb->writing));
    BSS1_DestroyLock(&ccb->lock);
    free(ccb);
    RAS1_EXIT(entry, flow);
}
