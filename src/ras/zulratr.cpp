// zulratr - RAS1_Trace: kept for programs that call it; does nothing.
#include "ras/zulralg.h"

int RAS1_Trace(void)
{
    return STC1_SystemError;
}
