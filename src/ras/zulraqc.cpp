// zulraqc - RAS1_QueryClass: the default class.
#include "ras/zulralg.h"

int RAS1_QueryClass(uint32_t *classes)
{
    // One 32-bit word, read with no lock.
    uint32_t value = __atomic_load_n(&ZULRA_Pcb()->defaultClass, __ATOMIC_RELAXED);
    if (classes != nullptr)
        *classes = value;
    return STC1_Success;
}
