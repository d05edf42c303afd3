// CRF1_Subcommand: adds a subcommand to a command that has no handler.
#include "crf/zulcr.h"
#include "internal/zulunits.h"

ZULRA_CRF1_UNIT("zulcrs1");

int CRF1_Subcommand(uint32_t command, ZULCR_handler_t handler, void *data, const char *name,
                    uint32_t nameLength, const char *description, uint32_t descriptionLength)
{
    RAS1_DECLARE_ENTRY(entry, "CRF1_Subcommand", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);

    ZULCR_cvt_t *cvt = ZULCR_Cvt();
    void *record = nullptr;
    if ((cvt->flags & ZULCR_BUILT) == 0 ||
        RES1_Use(command, cvt->commandClass, &record) != STC1_Success) {
        RAS1_EXIT_VALUE(entry, flow, CRF1_NotCommand);
        return CRF1_NotCommand;
    }
    ZULCR_mcb_t *mcb = static_cast<ZULCR_mcb_t *>(record);
    nameLength = ZULCR_Measure(name, nameLength);
    descriptionLength = ZULCR_Measure(description, descriptionLength);

    int status = CRF1_OK;
    BSS1_GetLock(&cvt->lock);
    if (mcb->handler != nullptr)
        status = CRF1_HasHandler;
    else if (handler == nullptr || name == nullptr || nameLength == 0)
        status = CRF1_BadArgument;
    for (ZULCR_scb_t *s = mcb->subcommands; status == CRF1_OK && s != nullptr; s = s->next) {
        if (s->nameLength == nameLength && BSS1_Match(s->name, name, nameLength) == 0)
            status = CRF1_Duplicate;
    }
    if (status == CRF1_OK) {
        const char *nameCopy, *descriptionCopy;
        ZULCR_scb_t *scb = static_cast<ZULCR_scb_t *>(
            ZULCR_NewRecord(sizeof(ZULCR_scb_t), name, nameLength, description, descriptionLength,
                            &nameCopy, &descriptionCopy));
        if (scb == nullptr) {
            status = CRF1_NoMemory;
        } else {
            scb->handler = handler;
            scb->data = data;
            scb->nameLength = nameLength;
            scb->descriptionLength = descriptionLength;
            scb->name = nameCopy;
            scb->description = descriptionCopy;
            scb->next = mcb->subcommands; // newest first
            mcb->subcommands = scb;
        }
    }
    BSS1_ReleaseLock(&cvt->lock);
    RES1_Drop(command);
    RAS1_EXIT_VALUE(entry, flow, status);
    return status;
}
