// CRF1_Subcommand: adds a subcommand to a command that has no handler.
#include "crf/zulcr.h"
#include "internal/zulunits.h"

ZULRA_CRF1_UNIT("zulcrs1");

// Puts a new subcommand at the head of the command's list, so that the
// usage text shows the newest first, unless the command has a handler of
// its own or the name is taken.  A CRF1_ status.
static int add(ZULCR_cvt_t *cvt, ZULCR_mcb_t *mcb, ZULCR_handler_t handler, void *data,
               const char *name, uint32_t nameLength, const char *description,
               uint32_t descriptionLength)
{
    ZULSS_HOLD(&cvt->lock);
    if (mcb->handler != nullptr)
        return CRF1_HasHandler;
    if (handler == nullptr || name == nullptr || nameLength == 0)
        return CRF1_BadArgument;
    for (ZULCR_scb_t *s = mcb->subcommands; s != nullptr; s = s->next)
        if (s->nameLength == nameLength && BSS1_Match(s->name, name, nameLength) == 0)
            return CRF1_Duplicate;
    ZULCR_scb_t *scb = ZULCR_NewNamed<ZULCR_scb_t>(handler, data, name, nameLength, description,
                                                   descriptionLength);
    if (scb == nullptr)
        return CRF1_NoMemory;
    scb->next = mcb->subcommands;
    mcb->subcommands = scb;
    return CRF1_OK;
}

int CRF1_Subcommand(uint32_t command, ZULCR_handler_t handler, void *data, const char *name,
                    uint32_t nameLength, const char *description, uint32_t descriptionLength)
{
    ZULCR_ENTRY("CRF1_Subcommand", RAS1_PUBLIC);
    ZULCR_cvt_t *cvt;
    void *record = nullptr;
    int status = ZULCR_Open(command, ZULCR_COMMAND, &cvt, &record);
    if (status != CRF1_OK)
        ZULCR_RETURN(status);
    status = add(cvt, static_cast<ZULCR_mcb_t *>(record), handler, data, name,
                 ZULCR_Measure(name, nameLength), description,
                 ZULCR_Measure(description, descriptionLength));
    RES1_Drop(command);
    ZULCR_RETURN(status);
}
