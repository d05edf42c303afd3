// ZULAN_Find, ZULAN_Create: the list of anchors, searched and extended
// under the block's lock.
//
// An anchor is one allocation: the record, then the data area if one was
// asked for, then the bytes of the name.  Names compare by length first,
// then by bytes, exactly: case counts and zero bytes are part of a name.
#include "anc/zulan.h"

#include <stddef.h>
#include <string.h>

// The data area follows the record, and is aligned as malloc aligns.
static_assert(sizeof(ZULAN_anchor_t) % alignof(max_align_t) == 0, "data area alignment");

int ZULAN_CheckName(ZULAN_name_t name, int *reason)
{
    if (name.length < 0 || (name.length > 0 && name.text == nullptr))
        return ZULAN_Answer(STC1_BadArgument, RSN1_Arguments, reason);
    return STC1_Success;
}

int ZULAN_CheckLocate(ZULAN_name_t name, void *const *address, int *reason)
{
    int status = ZULAN_CheckName(name, reason);
    if (status == STC1_Success && address == nullptr)
        return ZULAN_Answer(STC1_BadArgument, RSN1_Arguments, reason);
    return status;
}

ZULAN_anchor_t *ZULAN_Find(ZULAN_pcb_t *pcb, ZULAN_name_t name)
{
    ZUL_ASSERT_HELD(&pcb->lock);
    for (ZULAN_anchor_t *a = pcb->first; a != pcb->end; a = a->next)
        if (a->name.length == name.length &&
            (name.length == 0 || memcmp(a->name.text, name.text, name.length) == 0))
            return a;
    return nullptr;
}

ZULAN_anchor_t *ZULAN_Create(ZULAN_pcb_t *pcb, ZULAN_name_t name, uint32_t size)
{
    ZUL_ASSERT_HELD(&pcb->lock);
    // The record keeps its size in 32 bits: a larger request is as
    // impossible as one the heap refuses.
    const uint64_t total = uint64_t{sizeof(ZULAN_anchor_t)} + size + uint64_t(name.length);
    if (total > UINT32_MAX)
        return nullptr;
    void *memory = nullptr;
    if (BSS1_GetMem(static_cast<size_t>(total), &memory, nullptr) != STC1_Success)
        return nullptr;

    ZULAN_anchor_t *a = static_cast<ZULAN_anchor_t *>(memory);
    memset(a, 0, sizeof *a);
    a->allocated = static_cast<uint32_t>(total);
    char *text = reinterpret_cast<char *>(a + 1) + size;
    if (name.length > 0)
        memcpy(text, name.text, static_cast<size_t>(name.length));
    a->name.text = text;
    a->name.size = static_cast<uint16_t>(name.length);
    a->name.length = name.length;
    if (size != 0)
        a->address = a + 1;
    ZUL_RingInsertBefore(ZULAN_Links(pcb), pcb->end, a);
    return a;
}
