// BSS1_EndThread: drop the thread's blocks, then end the thread.
#include "bss/zulss.h"
#include "platform/zulplat.h"

void BSS1_EndThread(void)
{
    BSS1__DropThread(nullptr);
    ZULPL_ExitThread(0);
}
