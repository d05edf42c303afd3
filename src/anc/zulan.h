// anc/zulan.h - private records of the anchors: the family's block, an
// anchor, and the list calls the anchor units share.
//
// The anchors are a circular list, oldest first, whose ends are the
// block's `first` and `last`.  `end`, the block's own address, stands for
// the list head in the links: it ends a walk and is never followed
// (internal/zullinks.h).
#ifndef ZUL_SRC_ANC_ZULAN_H
#define ZUL_SRC_ANC_ZULAN_H

#include <zul/anc1.h>
#include <zul/bss1.h>
#include <zul/res1.h>

#include "internal/zullinks.h"
#include "internal/zullock.h"

typedef struct ZULAN_anchor {
    struct ZULAN_anchor *next, *prior;
    ZULAN_name_t name;  // `text` points at the copy in this allocation
    void *address;      // the saved address, the data area, or null
    uint32_t allocated; // bytes of the whole allocation
} ZULAN_anchor_t;

typedef struct ZULAN_pcb {
    ZULAN_anchor_t *first, *last; // `end` when the list is empty
    ZULAN_anchor_t *end;          // the block's own address
    ZULSS_lock_t lock;            // guards the list
    uint32_t aliasClass;          // the resource class of aliases
} ZULAN_pcb_t;

extern ZULSS_descriptor_t ZULAN_pcbDescriptor;

static inline ZULAN_pcb_t *ZULAN_Pcb(void)
{
    return (ZULAN_pcb_t *)ZULSS_PROCESS_BLOCK(&ZULAN_pcbDescriptor);
}

// The links of the list of anchors.
static inline ZUL_links<ZULAN_anchor_t> ZULAN_Links(ZULAN_pcb_t *pcb)
{
    return {&ZULAN_anchor_t::next, &ZULAN_anchor_t::prior, pcb->end, &pcb->first, &pcb->last};
}

// The status for a name that no call can take (a negative length, or no
// text behind a positive one), with its reason; STC1_Success for a good
// name.
int ZULAN_CheckName(ZULAN_name_t name, int *reason);

// The same for the calls that store an address they find: the name, and
// the place for the address, which may not be null.
int ZULAN_CheckLocate(ZULAN_name_t name, void *const *address, int *reason);

// The anchor of `name`, or null.  The caller holds the block's lock.
ZULAN_anchor_t *ZULAN_Find(ZULAN_pcb_t *pcb, ZULAN_name_t name);

// A new anchor of `name` with a data area of `size` bytes (none for 0),
// appended to the list; null if there is no memory.  The caller holds the
// block's lock.
ZULAN_anchor_t *ZULAN_Create(ZULAN_pcb_t *pcb, ZULAN_name_t name, uint32_t size);

// Stores a reason if the caller gave an address for it, and returns
// `status`.
static inline int ZULAN_Answer(int status, int why, int *reason)
{
    if (reason != NULL)
        *reason = why;
    return status;
}

// Takes a use of `alias`, with its object in *object if that is not
// null: STC1_Success, or RES1_Use's refusal.  The class's own handle
// passes RES1's check of the class, but stands for no alias.
static inline int ZULAN_UseAlias(uint32_t alias, void **object)
{
    const uint32_t aliasClass = ZULAN_Pcb()->aliasClass;
    return alias == aliasClass ? STC1_NotThere : RES1_Use(alias, aliasClass, object);
}

// The name of `code` in a table of names in cells of 20 bytes, which
// answers for the codes below `bound`: STC1_NotThere beyond them, then
// STC1_BadArgument for a null `name`.
static inline int ZULAN_NameOf(const char (*table)[20], int32_t bound, int32_t code, const char **name)
{
    if (code < 0 || code >= bound)
        return STC1_NotThere;
    if (name == nullptr)
        return STC1_BadArgument;
    *name = table[code];
    return STC1_Success;
}

#endif
