// zulrasc - RAS1_SetClass: change the default class.
#include "ras/zulralg.h"

int RAS1_SetClass(uint32_t *old, uint32_t classes)
{
    uint32_t word = ZULRA_Complete(classes);
    ZULRA_pcb_t *block = ZULRA_Pcb();

    BSS1_GetLock(&block->lock);
    uint32_t current = __atomic_load_n(&block->defaultClass, __ATOMIC_RELAXED);
    if (old != nullptr)
        *old = current;
    // Only a real change makes every record stale.
    if (word != current) {
        __atomic_store_n(&block->defaultClass, word, __ATOMIC_RELAXED);
        ZULRA_MoveSyncWord(block);
    }
    BSS1_ReleaseLock(&block->lock);

    // The completed word is applied; the status says it is not the word
    // given.
    return word != classes ? STC1_Warning : STC1_Success;
}
