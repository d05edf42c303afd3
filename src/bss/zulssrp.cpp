// BSS1_ResolveProcess: the address of a process block, built on first use.
#include "bss/zulss.h"
#include "platform/zulplat.h"

#include <stdlib.h>
#include <string.h>

// Builds the block of the descriptor given as argument.  `result` is
// written last, with release order, because readers test it without a
// lock and then use the block at once.
static void construct_process_block(void *argument)
{
    ZULSS_descriptor_t *d = static_cast<ZULSS_descriptor_t *>(argument);
    uintptr_t value;
    if (d->size != 0) {
        void *block = malloc(d->size);
        if (block == nullptr) {
            // A process block is not optional.
            ZULPL_Abort("process block of %lu bytes: out of memory\n",
                        static_cast<unsigned long>(d->size));
        }
        memset(block, 0, d->size);
        if (d->constructor != nullptr)
            d->constructor(block);
        value = reinterpret_cast<uintptr_t>(block);
    } else {
        // A word block: the constructor stores the block's value in a word
        // that starts as its own address.
        uintptr_t word = reinterpret_cast<uintptr_t>(&word);
        if (d->constructor != nullptr)
            d->constructor(&word);
        value = word;
    }
    __atomic_store_n(&d->result, value, __ATOMIC_RELEASE);
}

void *BSS1_ResolveProcess(ZULSS_descriptor_t *descriptor, const char *file, int line)
{
    if (descriptor == nullptr)
        return nullptr;
    if (__atomic_load_n(&descriptor->once, __ATOMIC_ACQUIRE) >= 0)
        BSS1_InitializeOnce(&descriptor->once, construct_process_block, descriptor, file, line);
    return reinterpret_cast<void *>(__atomic_load_n(&descriptor->result, __ATOMIC_ACQUIRE));
}
