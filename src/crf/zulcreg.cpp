// ZULCR_Register: the registry part of CRF1_Register, the making of
// command and subcommand records, and ZULCR_FindCommand, the lookup of a
// command by the start of its name.
//
// A name is refused when a registered command has one of the same length
// that matches it without regard to case.  A command that has been
// unregistered but is still running no longer counts, so its name can be
// registered again at once.  A command that is to get a handle starts as
// hatching, out of reach of the lookup, until the handle is there.
#include "crf/zulcr.h"
#include "internal/zulunits.h"

#include <stdlib.h>
#include <string.h>

ZULRA_CRF1_UNIT("zulcreg");

uint32_t ZULCR_Measure(const char *text, uint32_t length)
{
    if (text == nullptr)
        return 0;
    if (length == 0)
        return static_cast<uint32_t>(strnlen(text, UINT32_MAX));
    return length;
}

void *ZULCR_NewRecord(size_t fixed, const char *name, uint32_t nameLength,
                      const char *description, uint32_t descriptionLength,
                      const char **nameCopy, const char **descriptionCopy)
{
    size_t bytes = fixed + nameLength + 1 + descriptionLength + 1;
    char *record = static_cast<char *>(calloc(1, bytes));
    if (record == nullptr)
        return nullptr;
    char *text = record + fixed;
    memcpy(text, name, nameLength);
    *nameCopy = text;
    text += nameLength + 1;
    if (descriptionLength != 0)
        memcpy(text, description, descriptionLength);
    *descriptionCopy = text;
    return record;
}

ZULCR_mcb_t *ZULCR_FindCommand(ZULCR_cvt_t *cvt, const char *word, uint32_t length, uint32_t *hits)
{
    ZUL_ASSERT_HELD(&cvt->lock);
    const ZUL_links<ZULCR_mcb_t> commands = ZULCR_Commands(cvt);
    ZULCR_mcb_t *hit = nullptr;
    *hits = 0;
    for (ZULCR_mcb_t *c = ZUL_Next(commands, commands.head); c != commands.head && length != 0;
         c = ZUL_Next(commands, c))
        if (c->state == ZULCR_LIVE && c->nameLength >= length && BSS1_Match(c->name, word, length) == 0) {
            ++*hits;
            hit = c;
        }
    return hit;
}

// Whether a command that has not been unregistered holds the name.  The
// caller holds the CVT's lock.
static bool name_taken(ZULCR_cvt_t *cvt, const char *name, uint32_t nameLength)
{
    ZUL_ASSERT_HELD(&cvt->lock);
    const ZUL_links<ZULCR_mcb_t> commands = ZULCR_Commands(cvt);
    for (ZULCR_mcb_t *c = ZUL_Next(commands, commands.head); c != commands.head; c = ZUL_Next(commands, c))
        if (c->state != ZULCR_GONE && c->nameLength == nameLength && BSS1_Match(c->name, name, nameLength) == 0)
            return true;
    return false;
}

// The record of a new command, appended to the list under the CVT's lock
// so that the list stays in order of registration, unless the registry
// is unusable or the name is taken.  A CRF1_ status.
static int append(ZULCR_cvt_t *cvt, ZULCR_mcb_t **record, ZULCR_handler_t handler, void *data,
                  const char *name, uint32_t nameLength, const char *description,
                  uint32_t descriptionLength)
{
    ZULSS_HOLD(&cvt->lock);
    if ((cvt->flags & ZULCR_BUILT) == 0)
        return CRF1_Unusable;
    if (name_taken(cvt, name, nameLength))
        return CRF1_Duplicate;
    ZULCR_mcb_t *mcb = ZULCR_NewNamed<ZULCR_mcb_t>(handler, data, name, nameLength, description,
                                                   descriptionLength);
    if (mcb == nullptr)
        return CRF1_NoMemory;
    mcb->state = record != nullptr ? ZULCR_HATCHING : ZULCR_LIVE;
    const ZUL_links<ZULCR_mcb_t> commands = ZULCR_Commands(cvt);
    ZUL_RingInsertBefore(commands, commands.head, mcb);
    if (record != nullptr)
        *record = mcb;
    return CRF1_OK;
}

int ZULCR_Register(ZULCR_cvt_t *cvt, ZULCR_mcb_t **record, ZULCR_handler_t handler, void *data,
                   const char *name, uint32_t nameLength, const char *description,
                   uint32_t descriptionLength)
{
    ZULCR_ENTRY("ZULCR_Register", RAS1_PRIVATE);
    nameLength = ZULCR_Measure(name, nameLength);
    descriptionLength = ZULCR_Measure(description, descriptionLength);
    if (name == nullptr || nameLength == 0)
        ZULCR_RETURN(CRF1_BadArgument);
    ZULCR_RETURN(append(cvt, record, handler, data, name, nameLength, description, descriptionLength));
}
