// SIG1C_NewThread: a thread's block of the portable signals, built at the
// thread's first SIG1 call; building it hooks the host's signals.
//
// The thread's mask starts as the mask the host has for the thread (a new
// thread inherits its creator's), so that the two agree from the start.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

ZULRA_SIG1_UNIT("zulsgnt");

constinit ZULSS_descriptor_t ZULSG_threadDescriptor = {
    sizeof(SIG1_ThreadBlock), SIG1C_NewThread, SIG1C_DeleteThread, 0, 0};

void SIG1C_NewThread(void *argument)
{
    RAS1_DECLARE_ENTRY(entry, "SIG1C_NewThread", RAS1_PUBLIC);
    RAS1_QUICK(entry, classes, flow);
    SIG1_ThreadBlock *block = static_cast<SIG1_ThreadBlock *>(argument);
    block->process = static_cast<SIG1_ProcessBlock *>(ZULSS_PROCESS_BLOCK(&ZULSG_processDescriptor));
    SIG1_Set mask;
    (void)ZULSG_CurrentMask(block, &mask);
    SIG1C_RegisterHandler();
}
