// ZULCR_SubcommandNames: the names of the listed subcommands of a command,
// found as a command line finds it but without running anything, for the
// completion of command lines in a shell.
#include "crf/zulcr.h"

#include <string.h>

uint32_t ZULCR_SubcommandNames(const char *word, uint32_t length, char *buffer, uint32_t size, int *status)
{
    ZULCR_cvt_t *cvt = ZULCR_Cvt();
    uint32_t need = 0, written = 0, hits = 0;
    *status = CRF1_Unusable;
    if ((cvt->flags & ZULCR_BUILT) == 0)
        return 0;
    ZULSS_HOLD(&cvt->lock);
    ZULCR_mcb_t *hit = ZULCR_FindCommand(cvt, word, length, &hits);
    *status = hits == 1 ? CRF1_OK : hits == 0 ? CRF1_NotFound : CRF1_Ambiguous;
    // Newest first, as the usage text lists them; a command with a
    // handler of its own has none.
    for (ZULCR_scb_t *s = hits == 1 ? hit->subcommands : nullptr; s != nullptr; s = s->next) {
        if (s->descriptionLength == 0)
            continue;
        // Once a name does not fit, none behind it is written.
        if (need == written && written + s->nameLength + 1 <= size) {
            memcpy(buffer + written, s->name, s->nameLength);
            buffer[written + s->nameLength] = '\n';
            written += s->nameLength + 1;
        }
        need += s->nameLength + 1;
    }
    return need;
}
