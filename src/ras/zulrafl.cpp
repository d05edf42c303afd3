// zulrafl - the filter list: insertion by weight, unlinking, lookup by id,
// and the walk that RAS1_Sync makes.
#include "ras/zulra.h"

#include <string.h>

static ZULRA_filter_t *list_end(ZULRA_pcb_t *block)
{
    return (ZULRA_filter_t *)block->filters.end;
}

void ZULRA_InsertFilter(ZULRA_pcb_t *block, ZULRA_filter_t *filter)
{
    // From the tail towards the head past every filter that is not
    // heavier; the new one goes right behind the first heavier filter, so
    // it comes before older filters of its own weight.
    ZULRA_filter_t *end = list_end(block);
    ZULRA_filter_t *at = (ZULRA_filter_t *)block->filters.prev;
    while (at != end && at->weight <= filter->weight)
        at = at->prev;
    // `at` is the heavier filter, or the head itself, which links the new
    // filter first.
    filter->prev = at;
    filter->next = at->next;
    at->next->prev = filter;
    at->next = filter;
    ZULRA_MoveSyncWord(block);
}

void ZULRA_UnlinkFilter(ZULRA_filter_t *filter)
{
    filter->prev->next = filter->next;
    filter->next->prev = filter->prev;
    filter->next = filter->prev = nullptr;
}

ZULRA_filter_t *ZULRA_FindFilter(ZULRA_pcb_t *block, uint32_t id)
{
    ZULRA_filter_t *end = list_end(block);
    for (ZULRA_filter_t *f = (ZULRA_filter_t *)block->filters.next; f != end; f = f->next)
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
    static const char none[] = "";
    const ZULRA_unit_t *unit = entry->unit;
    ZULRA_filter_t *end = list_end(block);
    for (ZULRA_filter_t *f = (ZULRA_filter_t *)block->filters.next; f != end; f = f->next) {
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
