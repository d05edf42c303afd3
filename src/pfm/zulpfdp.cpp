// PFM1C_DeletePAB: the destructor recorded for the process anchor.
//
// The process anchor lives until the process ends, so nothing calls it;
// it does nothing.
#include "pfm/zulpf.h"

void PFM1C_DeletePAB(void *)
{
}
