// BSS1__DropThread: run the destructors of a thread's blocks and free them.
#include "bss/zulss.h"
#include "platform/zulplat.h"

#include <stdlib.h>

void BSS1__DropThread(void *argument)
{
    ZULSS_pcb_t *pcb = ZULSS_Pcb();
    ZULSS_ttable_t *table = static_cast<ZULSS_ttable_t *>(argument);
    if (table == nullptr)
        table = static_cast<ZULSS_ttable_t *>(ZULPL_TlsGet(pcb->tlsIndex));
    if (table == nullptr)
        return;

    // Newest first: a block built before another is still alive while the
    // later one's destructor runs.  The slot is cleared as its entry is
    // unlinked, so a destructor that reaches for a block already dropped
    // gets a fresh one (dropped in turn) instead of freed memory.
    while (table->chain != nullptr) {
        ZULSS_tentry_t *entry = table->chain;
        table->chain = entry->next;
        const uintptr_t key = entry->descriptor->result;
        if (key >= 1 && key <= table->capacity && table->slots[key - 1] == entry)
            table->slots[key - 1] = nullptr;
        if (entry->descriptor->destructor != nullptr)
            entry->descriptor->destructor(reinterpret_cast<void *>(entry->block));
        free(entry);
    }
    if (ZULPL_TlsGet(pcb->tlsIndex) == table)
        ZULPL_TlsSet(pcb->tlsIndex, nullptr);
    free(table);
}
