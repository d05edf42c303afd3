// BSS1_ThreadID: the system's ID of the calling thread, never 0.
#include "bss/zulss.h"
#include "platform/zulplat.h"

uint32_t BSS1_ThreadID(void)
{
    return ZULPL_ThreadId();
}
