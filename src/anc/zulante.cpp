// ANC1_Terminate: kept for symmetry with ANC1_Initialize; anchors live as
// long as the process, so there is nothing to end.
#include "anc/zulan.h"

int ANC1_Terminate(void)
{
    return STC1_Success;
}
