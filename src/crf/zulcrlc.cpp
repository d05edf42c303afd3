// The CVT, the console's process block, and its two descriptors; and
// ZULCR_Open, the opening of the calls on a console's or a command's
// handle.
//
// Code refers to the public descriptor, which forwards to the real one
// (internal/zulforward.h); its forward, ZULCR_LocateCVT, traces itself.
// Construction registers the resource classes of consoles and commands;
// if either cannot be had the block stays without its built bit, and the
// calls that need it say the registry is unusable.
#include "crf/zulcr.h"
#include "internal/zulforward.h"
#include "internal/zulunits.h"

ZULRA_CRF1_UNIT("zulcrlc");

static void construct_cvt(void *block)
{
    RAS1_DECLARE_ENTRY(entry, "construct_cvt", RAS1_PRIVATE);
    RAS1_ENTRY(entry, classes, flow);

    ZULCR_cvt_t *cvt = static_cast<ZULCR_cvt_t *>(block);
    if (RES1_Register(&cvt->consoleClass, ZULCR_ConsoleDestructor, "ZULCR_ccb_t", 11) == 0 &&
        RES1_Register(&cvt->commandClass, ZULCR_ManagerDestructor, "ZULCR_mcb_t", 11) == 0) {
        const ZUL_links<ZULCR_mcb_t> commands = ZULCR_Commands(cvt);
        ZUL_RingInit(commands, commands.head);
        BSS1_InitializeLock(&cvt->lock);
        cvt->flags |= ZULCR_BUILT;
    }
    RAS1_EXIT(entry, flow);
}

static constinit ZULSS_descriptor_t realDescriptor = {
    sizeof(ZULCR_cvt_t), construct_cvt, nullptr, 0, 0};

void ZULCR_LocateCVT(void *word)
{
    RAS1_DECLARE_ENTRY(entry, "ZULCR_LocateCVT", RAS1_RESTRICTED);
    RAS1_ENTRY(entry, classes, flow);
    ZULSS_Forward(word, &realDescriptor, __FILE__, __LINE__);
    RAS1_EXIT(entry, flow);
}

constinit ZULSS_descriptor_t ZULCR_cvtDescriptor = ZULSS_WORD_DESCRIPTOR(ZULCR_LocateCVT);

int ZULCR_Open(uint32_t handle, int kind, ZULCR_cvt_t **cvt, void **record)
{
    ZULCR_cvt_t *c = ZULCR_Cvt();
    *cvt = c;
    const bool console = kind == ZULCR_CONSOLE;
    if ((c->flags & ZULCR_BUILT) == 0 ||
        RES1_Use(handle, console ? c->consoleClass : c->commandClass, record) != STC1_Success)
        return console ? CRF1_NotConsole : CRF1_NotCommand;
    return CRF1_OK;
}
