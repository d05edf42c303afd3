// internal/zulforward.h - process blocks reached through a forwarding
// descriptor.
//
// A family whose block is built by one unit keeps two descriptors.  The
// real one, private to that unit, has the block's size and constructor.
// The public one, which the rest of the family reads, is a word block
// whose constructor resolves the real one and keeps the block's address
// as its value: every reader reaches the block through one inline test
// of the public `result` (ZULSS_PROCESS_BLOCK), and whichever is resolved
// first builds the block.
#ifndef ZUL_SRC_INTERNAL_ZULFORWARD_H
#define ZUL_SRC_INTERNAL_ZULFORWARD_H

#include <zul/bss1.h>

// Stores in `word` the address of the block that `real` describes,
// building it now if it is not built yet.
static inline void ZULSS_Forward(void *word, ZULSS_descriptor_t *real, const char *file, int line)
{
    *static_cast<uintptr_t *>(word) =
        reinterpret_cast<uintptr_t>(BSS1_ResolveProcess(real, file, line));
}

// A word block with no destructor whose constructor is `constructor`: a
// public descriptor's forward, or a real block that is one word.
#define ZULSS_WORD_DESCRIPTOR(constructor) {0, (constructor), nullptr, 0, 0}

// Defines the public descriptor `name`, which forwards to the real
// descriptor `real`.  A forward that traces itself is written out with
// ZULSS_Forward and ZULSS_WORD_DESCRIPTOR.
#define ZULSS_FORWARDING_DESCRIPTOR(name, real)                      \
    static void name##Forward(void *word)                           \
    {                                                                \
        ZULSS_Forward(word, &(real), __FILE__, __LINE__);            \
    }                                                                \
    constinit ZULSS_descriptor_t name = ZULSS_WORD_DESCRIPTOR(name##Forward)

#endif
