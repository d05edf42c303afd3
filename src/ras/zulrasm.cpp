// zulrasm - the seam of the trace that waits for the console.
//
// ZULRA_ConstructPCB registers the ras1 console command as its epilog.
// Until the console exists there is nothing to register; the function
// then leaves this file for a unit of its own.
#include "ras/zulra.h"

void ZULRA_RegisterCommand(void *block)
{
    (void)block;
}
