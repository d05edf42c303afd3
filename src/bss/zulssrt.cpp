// BSS1_ResolveThread: the calling thread's block for a descriptor.
//
// A thread descriptor gets a key, 1 and up, at its first use anywhere in
// the process.  Each thread keeps a table indexed by key - 1 in the
// thread-local slot, grown in steps of 8 keys, and a chain of its blocks,
// newest first, which is the order in which they are dropped.
#include "bss/zulss.h"
#include "platform/zulplat.h"

#include <stdlib.h>
#include <string.h>

static void assign_key(void *argument)
{
    ZULSS_descriptor_t *d = static_cast<ZULSS_descriptor_t *>(argument);
    ZULSS_pcb_t *pcb = ZULSS_Pcb();
    BSS1_GetLock(&pcb->keyLock);
    uint32_t key = ++pcb->keyCount;
    BSS1_ReleaseLock(&pcb->keyLock);
    __atomic_store_n(&d->result, static_cast<uintptr_t>(key), __ATOMIC_RELEASE);
}

void *BSS1_ResolveThread(ZULSS_descriptor_t *descriptor, const char *file, int line)
{
    if (descriptor == nullptr)
        return nullptr;
    ZULSS_pcb_t *pcb = ZULSS_Pcb();
    if (__atomic_load_n(&descriptor->once, __ATOMIC_ACQUIRE) >= 0)
        BSS1_InitializeOnce(&descriptor->once, assign_key, descriptor, file, line);
    const uint32_t key = static_cast<uint32_t>(__atomic_load_n(&descriptor->result, __ATOMIC_ACQUIRE));

    ZULSS_ttable_t *table = static_cast<ZULSS_ttable_t *>(ZULPL_TlsGet(pcb->tlsIndex));
    if (table == nullptr || key > table->capacity) {
        // Build a table big enough for this key.  Until the new one is
        // complete, the old table stays in place, so a failure loses nothing.
        ZULSS_ttable_t *old = table;
        const uint32_t capacity = (key + 7u) & ~7u;
        const size_t bytes = sizeof(ZULSS_ttable_t) + capacity * sizeof(ZULSS_tentry_t *);
        table = static_cast<ZULSS_ttable_t *>(malloc(bytes));
        if (table == nullptr)
            return nullptr;
        memset(table, 0, bytes);
        table->capacity = capacity;
        table->slots = reinterpret_cast<ZULSS_tentry_t **>(table + 1);
        if (old != nullptr) {
            memcpy(table->slots, old->slots, old->capacity * sizeof(ZULSS_tentry_t *));
            table->chain = old->chain;
            free(old);
        }
        ZULPL_TlsSet(pcb->tlsIndex, table);
    }

    ZULSS_tentry_t *entry = table->slots[key - 1];
    if (entry == nullptr) {
        entry = static_cast<ZULSS_tentry_t *>(malloc(sizeof(ZULSS_tentry_t) + descriptor->size));
        if (entry == nullptr)
            return nullptr;
        memset(entry + 1, 0, descriptor->size);
        entry->block = descriptor->size != 0 ? reinterpret_cast<uintptr_t>(entry + 1)
                                             : reinterpret_cast<uintptr_t>(&entry->block);
        entry->descriptor = descriptor;
        entry->next = table->chain;
        table->chain = entry;
        table->slots[key - 1] = entry;
        // The entry is in place before the constructor runs: a constructor
        // that resolves its own block gets the block under construction,
        // and blocks that it resolves are newer and so dropped first.
        if (descriptor->constructor != nullptr)
            descriptor->constructor(reinterpret_cast<void *>(entry->block));
    }
    return reinterpret_cast<void *>(entry->block);
}
