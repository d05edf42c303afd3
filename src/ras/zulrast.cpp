// zulrast - the store list: names, lookup, weighing and insertion, and the
// walk that picks the store for a class word.
#include "ras/zulralg.h"

#include <string.h>

#include "internal/zulascii.h"

int ZULRA_StoreName(char field[8], const char *name, uint32_t length)
{
    if (name == nullptr || length == 0 || length > 8)
        return 1;
    memset(field, ' ', 8);
    for (uint32_t i = 0; i < length; i++)
        field[i] = static_cast<char>(ZUL_AsciiUpper(static_cast<unsigned char>(name[i])));
    return 0;
}

ZULRA_store_t *ZULRA_FindStore(ZULRA_pcb_t *block, const char field[8])
{
    ZUL_ASSERT_HELD(&block->lock);
    const ZUL_links<ZULRA_store_t> links = ZULRA_StoreLinks(block);
    for (ZULRA_store_t *s = ZUL_Next(links, links.head); s != links.head; s = ZUL_Next(links, s))
        if (memcmp(s->storeName, field, 8) == 0)
            return s;
    return nullptr;
}

void ZULRA_InsertStore(ZULRA_pcb_t *block, ZULRA_store_t *store)
{
    ZUL_ASSERT_HELD(&block->lock);
    uint32_t bits = static_cast<uint32_t>(__builtin_popcount(store->classes & ~RAS1_ANY));
    if (store->classes & RAS1_ANY)
        bits <<= 8;
    store->weight = bits != 0 ? bits : 0xFFFFFFFFu;

    // From the tail towards the head, past every heavier store; the new
    // store goes behind the one where the walk stops, so after stores of
    // equal weight.  A walk that runs off the head links it at the tail:
    // the head keeps the store that was there first.
    const ZUL_links<ZULRA_store_t> links = ZULRA_StoreLinks(block);
    ZULRA_store_t *at = ZUL_Prev(links, links.head);
    while (at != links.head && at->weight > store->weight)
        at = ZUL_Prev(links, at);
    if (at == links.head)
        at = ZUL_Prev(links, links.head);
    ZUL_RingInit(links, store);
    ZUL_RingSplice(links, at, store);

    ZULRA_MoveSyncWord(block);
}

void ZULRA_UnlinkStore(ZULRA_pcb_t *block, ZULRA_store_t *store)
{
    ZUL_ASSERT_HELD(&block->lock);
    ZUL_RingUnlink(ZULRA_StoreLinks(block), store);
}

ZULRA_store_t *ZULRA_MatchStore(ZULRA_pcb_t *block, uint32_t want)
{
    ZUL_ASSERT_HELD(&block->lock);
    const ZUL_links<ZULRA_store_t> links = ZULRA_StoreLinks(block);
    for (ZULRA_store_t *s = ZUL_Next(links, links.head); s != links.head; s = ZUL_Next(links, s))
        if (ZULRA_ClassMatch(want, s->classes))
            return s;
    return nullptr;
}
