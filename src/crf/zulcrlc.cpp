// The CVT, the console's process block, and its two descriptors.
//
// Code refers to the public descriptor, a word block whose constructor
// resolves the real one.  Construction registers the resource classes of
// consoles and commands; if either cannot be had the block stays without
// its built bit, and the calls that need it say the registry is unusable.
#include "crf/zulcr.h"
#include "internal/zulunits.h"

ZULRA_CRF1_UNIT("zulcrlc");

static void construct_cvt(void *block)
{
    RAS1_DECLARE_ENTRY(entry, "construct_cvt", RAS1_PRIVATE);
    RAS1_ENTRY(entry, classes, flow);

    ZULCR_cvt_t *cvt = static_cast<ZULCR_cvt_t *>(block);
    if (RES1_Register(&cvt->consoleClass, ZULCR_ConsoleDestructor, "ZULCR_ccb_t", 11) == 0 &&
        RES1_Register(&cvt->commandClass, ZULCR_ManagerDestructor, "ZULCR_mcb_t", 11) == 0) {
        cvt->commands.next = &cvt->commands;
        cvt->commands.prev = &cvt->commands;
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

    *static_cast<uintptr_t *>(word) =
        reinterpret_cast<uintptr_t>(BSS1_ResolveProcess(&realDescriptor, __FILE__, __LINE__));
    RAS1_EXIT(entry, flow);
}

constinit ZULSS_descriptor_t ZULCR_cvtDescriptor = {0, ZULCR_LocateCVT, nullptr, 0, 0};
