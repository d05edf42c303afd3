// PFM1_Thread: the calling thread's anchor, built at its first use.
//
// After the first call the anchor comes from a static thread-local word:
// a scope's entry takes one call and one load here.  A TAB that memory
// ran out for while it was built is finished here; until that succeeds
// the thread has no TAB.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

ZULRA_PFM1_UNIT("zulpf1t");

PFM1_TAB *PFM1_Thread(void)
{
    PFM1_TAB *tab = ZULPF_threadTAB;
    if (__builtin_expect(tab != nullptr, 1))
        return tab;
    RAS1_DECLARE_ENTRY(entry, "PFM1_Thread", RAS1_PRIVATE);
    RAS1_QUICK(entry, classes, flow);
    tab = static_cast<PFM1_TAB *>(ZULSS_THREAD_BLOCK(&ZULPF_tabDescriptor));
    if (tab != nullptr && ZULPF_threadTAB != tab && !PFM1C_ReadyTAB(tab))
        return nullptr;
    return tab;
}
