// ZULCR_ConsoleDestructor: the end of a console record.
//
// Ending the format object hands its last line to the console's output,
// which is then freed unread with the record.
#include "crf/zulcr.h"
#include "internal/zulunits.h"

#include <stdlib.h>

ZULRA_CRF1_UNIT("zulcrcd");

void ZULCR_ConsoleDestructor(void *record)
{
    RAS1_DECLARE_ENTRY(entry, "ZULCR_ConsoleDestructor", RAS1_PRIVATE);
    RAS1_ENTRY(entry, classes, flow);

    ZULCR_ccb_t *ccb = static_cast<ZULCR_ccb_t *>(record);
    if (ccb->format != nullptr)
        BSS1_EndFormat(ccb->format);
    for (ZULCR_chunk_t *c = ccb->reading; c != nullptr;) {
        ZULCR_chunk_t *next = c->next;
        free(c);
        c = next;
    }
    if (ccb->writing != nullptr) {
        // Circular: the first chunk is the last one's next.
        ZULCR_chunk_t *c = ccb->writing->next;
        ccb->writing->next = nullptr;
        while (c != nullptr) {
            ZULCR_chunk_t *next = c->next;
            free(c);
            c = next;
        }
    }
    BSS1_DestroyLock(&ccb->lock);
    free(ccb);
    RAS1_EXIT(entry, flow);
}
