// BSS1_Sleep: suspend the calling thread for whole seconds.
#include "bss/zulss.h"
#include "platform/zulplat.h"

void BSS1_Sleep(uint32_t seconds)
{
    // Sleep a second at a time so that large counts cannot overflow the
    // millisecond argument.
    for (uint32_t i = 0; i < seconds; ++i)
        ZULPL_Sleep(1000);
}
