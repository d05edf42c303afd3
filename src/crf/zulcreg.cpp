// ZULCR_Register: the registry part of CRF1_Register, and the making of
// command and subcommand records.
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

int ZULCR_Register(ZULCR_cvt_t *cvt, ZULCR_mcb_t **record, ZULCR_handler_t handler, void *data,
                   const char *name, uint32_t nameLength, const char *description,
                   uint32_t descriptionLength)
{
    RAS1_DECLARE_ENTRY(entry, "ZULCR_Register", RAS1_PRIVATE);
    RAS1_ENTRY(entry, classes, flow);

    nameLength = ZULCR_Measure(name, nameLength);
    descriptionLength = ZULCR_Measure(description, descriptionLength);
    int status = CRF1_OK;
    if (name == nullptr || nameLength == 0) {
        RAS1_EXIT_VALUE(entry, flow, CRF1_BadArgument);
        return CRF1_BadArgument;
    }

    BSS1_GetLock(&cvt->lock);
    if ((cvt->flags & ZULCR_BUILT) == 0)
        status = CRF1_Unusable;
    for (ZULCR_link_t *l = cvt->commands.next; status == CRF1_OK && l != &cvt->commands;
         l = l->next) {
        ZULCR_mcb_t *c = ZULCR_Command(l);
        if (c->state != ZULCR_GONE && c->nameLength == nameLength && BSS1_Match(c->name, name, nameLength) == 0)
            status = CRF1_Duplicate;
    }
    if (status == CRF1_OK) {
        const char *nameCopy, *descriptionCopy;
        ZULCR_mcb_t *mcb = static_cast<ZULCR_mcb_t *>(
            ZULCR_NewRecord(sizeof(ZULCR_mcb_t), name, nameLength, description, descriptionLength,
                            &nameCopy, &descriptionCopy));
        if (mcb == nullptr) {
            status = CRF1_NoMemory;
        } else {
            mcb->handler = handler;
            mcb->data = data;
            mcb->nameLength = nameLength;
            mcb->descriptionLength = descriptionLength;
            mcb->name = nameCopy;
            mcb->state = record != nullptr ? ZULCR_HATCHING : ZULCR_LIVE;
            mcb->description = descriptionCopy;
            // At the end, so that the list stays in order of registration.
            mcb->link.next = &cvt->commands;
            mcb->link.prev = cvt->commands.prev;
            cvt->commands.prev->next = &mcb->link;
            cvt->commands.prev = &mcb->link;
            if (record != nullptr)
                *record = mcb;
        }
    }
    BSS1_ReleaseLock(&cvt->lock);
    RAS1_EXIT_VALUE(entry, flow, status);
    return status;
}
