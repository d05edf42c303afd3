// PFM1C_FindThread: the thread that should take an asynchronous signal.
//
// Walks the list of TABs, oldest first, without the lock: it runs in the
// signal handler.  The first TAB that handles the signal and is not
// inhibited is the answer.
#include "pfm/zulpf.h"

PFM1_TAB *PFM1C_FindThread(PFM1_PAB *pab, int signal)
{
    if (signal < SIG1_FIRST || signal > SIG1_LAST)
        return nullptr;
    const int word = (signal - 1) / 32;
    const uint32_t bit = 1u << ((signal - 1) % 32);
    const ZUL_links<PFM1_TAB> links = ZULPF_Links(pab);
    for (PFM1_TAB *tab = ZUL_Next(links, pab->nil); tab != nullptr && tab != pab->nil;
         tab = ZUL_Next(links, tab)) {
        if (__atomic_load_n(&tab->inhibit, __ATOMIC_RELAXED) == 0 &&
            (__atomic_load_n(&tab->signals.word[word], __ATOMIC_ACQUIRE) & bit) != 0)
            return tab;
    }
    return nullptr;
}
