// zulrast - the store list: names, lookup, weighing and insertion, and the
// walk that picks the store for a class word.
#include "ras/zulralg.h"

#include <string.h>

int ZULRA_StoreName(char field[8], const char *name, uint32_t length)
{
    if (name == nullptr || length == 0 || length > 8)
        return 1;
    memset(field, ' ', 8);
    for (uint32_t i = 0; i < length; i++) {
        char c = name[i];
        field[i] = (c >= 'a' && c <= 'z') ? (char)(c - 'a' + 'A') : c;
    }
    return 0;
}

ZULRA_store_t *ZULRA_FindStore(ZULRA_pcb_t *block, const char field[8])
{
    ZULRA_store_t *end = ZULRA_StoreEnd(block);
    for (ZULRA_store_t *s = (ZULRA_store_t *)block->stores.next; s != end; s = s->next)
        if (memcmp(s->storeName, field, 8) == 0)
            return s;
    return nullptr;
}

void ZULRA_InsertStore(ZULRA_pcb_t *block, ZULRA_store_t *store)
{
    uint32_t bits = (uint32_t)__builtin_popcount(store->classes & ~RAS1_ANY);
    if (store->classes & RAS1_ANY)
        bits <<= 8;
    store->weight = bits != 0 ? bits : 0xFFFFFFFFu;

    // From the tail towards the head, past every heavier store; the new
    // store goes behind the one where the walk stops, so after stores of
    // equal weight.  A walk that runs off the head links it at the tail:
    // the head keeps the store that was there first.
    ZULRA_store_t *end = ZULRA_StoreEnd(block);
    ZULRA_store_t *at = (ZULRA_store_t *)block->stores.prev;
    while (at != end && at->weight > store->weight)
        at = at->prev;
    if (at == end)
        at = (ZULRA_store_t *)block->stores.prev;
    store->prev = at;
    store->next = at->next;
    at->next->prev = store;
    at->next = store;

    ZULRA_MoveSyncWord(block);
}

struct ZULRA_store *ZULRA_MatchStore(ZULRA_pcb_t *block, uint32_t want)
{
    ZULRA_store_t *end = ZULRA_StoreEnd(block);
    for (ZULRA_store_t *s = (ZULRA_store_t *)block->stores.next; s != end; s = s->next)
        if (ZULRA_ClassMatch(want, s->classes))
            return s;
    return nullptr;
}
