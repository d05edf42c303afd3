// zulrafl - the filter list: insertion by weight, unlinking, lookup by id,
// and the walk that RAS1_Sync makes.
#include "ras/zulra.h"

#include <string.h>

void ZULRA_InsertFilter(ZULRA_pcb_t *block, ZULRA_filter_t *filter)
{
    ZUL_ASSERT_HELD(&block->lock);
    // From the tail towards the head past every filter that is not
    // heavier; the new one goes right behind the first heavier filter, so
    // it comes before older filters of its own weight.  A walk that runs
    // off the head links it first.
    const ZUL_links<ZULRA_filter_t> links = ZULRA_FilterLinks(block);
    ZULRA_filter_t *at = ZUL_Prev(links, links.head);
    while (at != links.head && at->weight <= filter->weight)
        at = ZUL_Prev(links, at);
    ZUL_RingInit(links, filter);
    ZUL_RingSplice(links, at, filter);
    ZULRA_MoveSyncWord(block);
}

void ZULRA_UnlinkFilter(ZULRA_pcb_t *block, ZULRA_filter_t *filter)
{
    ZUL_ASSERT_HELD(&block->lock);
    ZUL_RingUnlink(ZULRA_FilterLinks(block), filter);
}

ZULRA_filter_t *ZULRA_FindFilter(ZULRA_pcb_t *block, uint32_t id)
{
    ZUL_ASSERT_HELD(&block->lock);
    const ZUL_links<ZULRA_filter_t> links = ZULRA_FilterLinks(block);
    for (ZULRA_filter_t *f = ZUL_Next(links, links.head); f != links.head; f = ZUL_Next(links, f))
        if (f->id == id)
            return f;
    return nullptr;
}

// Does `name` begin the text `text` of `length` bytes?  Exact in case.
static int begins(const ZULRA_spe_t *name, const char *text, uint32_t length)
{
    return name->length <= length && (name->length == 0 || memcmp(name->text, text, name->length) == 0);
}

int ZULRA_MatchFilters(ZULRA_pcb_t *block, ZULRA_entry_t *entry, uint32_t *classes)
{
    ZUL_ASSERT_HELD(&block->lock);
    static const char none[] = "";
    const ZULRA_unit_t *unit = entry->unit;
    const ZUL_links<ZULRA_filter_t> links = ZULRA_FilterLinks(block);
    for (ZULRA_filter_t *f = ZUL_Next(links, links.head); f != links.head; f = ZUL_Next(links, f)) {
        // Suspended filters sort behind all active ones.
        if (f->weight == 0)
            break;
        if (f->entryName && !begins(f->entryName, entry->name ? entry->name : none, entry->nameLen))
            continue;
        if (f->unitName && !(unit && begins(f->unitName, unit->file, unit->fileLen)))
            continue;
        if (f->levelName && !(unit && begins(f->levelName, unit->level, unit->levelLen)))
            continue;
        if (f->compName && !(unit && begins(f->compName, unit->comp, unit->compLen)))
            continue;
        if (entry->line < f->lineLow || entry->line > f->lineHigh)
            continue;
        *classes = f->classes;
        return 1;
    }
    return 0;
}
