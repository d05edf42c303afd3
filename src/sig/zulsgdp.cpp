// SIG1C_DeleteProcess: the destructor recorded for the process block.
//
// Process blocks live until the process ends, so nothing ever calls it;
// it does nothing.
#include "sig/zulsg.h"

void SIG1C_DeleteProcess(void *)
{
}
