// The filter calls: create, change, suspend, resume, query and destroy a
// filter of the trace.
#include "ras/zulralg.h"
#include "ras/zulra.h"

#include <stdlib.h>
#include <string.h>

// RAS1_NewFilter: add a filter, or change the one that names
// the same texts.
// Weight of one character of each element type: a function name says
// more than a level, a level more than a component, a component more than
// a unit name.
static const uint32_t type_weight[4] = {1, 5, 4, 3};

// The field of `filter` that an element of `type` (0 to 3) fills.
static ZULRA_spe_t **field_of(ZULRA_filter_t *filter, int32_t type)
{
    switch (type) {
    case RAS1_FILTER_UNIT: return &filter->unitName;
    case RAS1_FILTER_ENTRY: return &filter->entryName;
    case RAS1_FILTER_LEVEL: return &filter->levelName;
    default: return &filter->compName;
    }
}

// Is `filter` the one that `elements` describe?  Each element must find
// its field filled with a text of its length that matches it without
// case; an element that names nothing, or of a reserved type, finds no
// twin at all, so such filters are always new.
static int same_filter(ZULRA_filter_t *filter, uint32_t weight, const ZULRA_elem_t *elements,
                       uint32_t count)
{
    if (filter->savedWeight != weight)
        return 0;
    for (uint32_t i = 0; i < count; i++) {
        const ZULRA_elem_t *e = &elements[i];
        if (e->length == 0 || e->type > RAS1_FILTER_COMP)
            return 0;
        const ZULRA_spe_t *have = *field_of(filter, e->type);
        if (have == nullptr || have->length != e->length ||
            BSS1_Match(have->text, e->text, e->length) != 0)
            return 0;
    }
    return 1;
}

int RAS1_NewFilter(uint32_t *id, uint32_t classes, ZULRA_elem_t *elements, uint32_t count,
                   uint32_t lineLow, uint32_t lineHigh)
{
    if (lineHigh == 0)
        lineHigh = 0xFFFFFFFFu;
    if (count == 0 || elements == nullptr)
        return STC1_BadArgument;
    for (uint32_t i = 0; i < count; i++) {
        const ZULRA_elem_t *e = &elements[i];
        if ((e->text == nullptr) != (e->length == 0) || e->type < 0 || e->type > 6 ||
            e->length > RAS1_FILTER_TEXT_MAX)
            return STC1_BadArgument;
    }

    ZULRA_pcb_t *block = ZULRA_Pcb();

    // The first UNIT text takes the form of unit names here, in the call
    // itself, so that a filter made before the trace has started matches
    // as well as one made after.
    for (uint32_t i = 0; i < count; i++)
        if (elements[i].type == RAS1_FILTER_UNIT) {
            ZULRA_NormalizeName(&elements[i].text, &elements[i].length);
            break;
        }

    // The exit routines see the elements before they are weighed, with no
    // lock held.
    ZULRA_notice_t notice;
    memset(&notice, 0, sizeof notice);
    notice.size = sizeof notice;
    notice.elements = elements;
    notice.elementCount = count;
    for (ZULRA_exit_t *node = __atomic_load_n(&block->exits, __ATOMIC_ACQUIRE); node;
         node = node->next)
        node->routine(RAS1_EXIT_FILTER, &node->user, &notice);

    uint32_t weight = 1;
    for (uint32_t i = 0; i < count; i++)
        if (elements[i].type <= RAS1_FILTER_COMP)
            weight += elements[i].length * type_weight[elements[i].type];

    BSS1_GetLock(&block->lock);
    ZULRA_filter_t *end = (ZULRA_filter_t *)block->filters.end;
    ZULRA_filter_t *filter = (ZULRA_filter_t *)block->filters.prev;
    while (filter != end && !same_filter(filter, weight, elements, count))
        filter = filter->prev;

    int fresh = filter == end;
    if (fresh) {
        filter = (ZULRA_filter_t *)calloc(1, sizeof *filter);
        if (filter == nullptr) {
            BSS1_ReleaseLock(&block->lock);
            return STC1_Shortage;
        }
        filter->savedWeight = filter->weight = weight;
        filter->id = block->nextFilter;
        block->nextFilter += 2;
        for (uint32_t i = 0; i < count; i++) {
            const ZULRA_elem_t *e = &elements[i];
            if (e->length == 0 || e->type > RAS1_FILTER_COMP)
                continue;
            // A later element of a type replaces an earlier one.
            *field_of(filter, e->type) = ZULRA_InternString(block, e->text, e->length);
        }
    }

    uint32_t word = ZULRA_Complete(classes);
    // A reused filter that now says something else makes every record
    // stale, as RAS1_SetFilter does; a new one has moved the sync word by
    // its insertion.
    if (!fresh && (filter->classes != word || filter->lineLow != lineLow ||
                   filter->lineHigh != lineHigh))
        ZULRA_MoveSyncWord(block);
    filter->classes = word;
    filter->lineLow = lineLow;
    filter->lineHigh = lineHigh;
    if (fresh)
        ZULRA_InsertFilter(block, filter);
    if (id != nullptr)
        *id = filter->id;
    BSS1_ReleaseLock(&block->lock);
    return word != classes ? STC1_Warning : STC1_Success;
}

// RAS1_SetFilter: change the class word of a filter.
int RAS1_SetFilter(uint32_t id, uint32_t *old, uint32_t classes)
{
    // Completed like every class word; unlike RAS1_NewFilter this call
    // does not say so.
    uint32_t word = ZULRA_Complete(classes);
    ZULRA_pcb_t *block = ZULRA_Pcb();
    BSS1_GetLock(&block->lock);
    ZULRA_filter_t *filter = ZULRA_FindFilter(block, id);
    if (filter == nullptr) {
        BSS1_ReleaseLock(&block->lock);
        return STC1_NotThere;
    }
    if (old != nullptr)
        *old = filter->classes;
    if (filter->classes != word) {
        filter->classes = word;
        ZULRA_MoveSyncWord(block);
    }
    BSS1_ReleaseLock(&block->lock);
    return STC1_Success;
}

// Moves filter `id` between use and suspension: a suspended filter weighs
// 0, so it sorts behind every active filter, where the walk of RAS1_Sync
// stops before reaching it; a resumed one gets its weight back and goes in
// front of the active filters of that weight.  Warning if it is already
// where it was asked to go.
static int set_suspended(uint32_t id, bool suspend)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    int status = STC1_Success;
    BSS1_GetLock(&block->lock);
    ZULRA_filter_t *filter = ZULRA_FindFilter(block, id);
    if (filter == nullptr) {
        status = STC1_NotThere;
    } else if ((filter->weight == 0) == suspend) {
        status = STC1_Warning;
    } else {
        ZULRA_UnlinkFilter(filter);
        filter->weight = suspend ? 0 : filter->savedWeight;
        ZULRA_InsertFilter(block, filter);
    }
    BSS1_ReleaseLock(&block->lock);
    return status;
}

// RAS1_SuspendFilter: take a filter out of use and keep it.
int RAS1_SuspendFilter(uint32_t id)
{
    return set_suspended(id, true);
}

// RAS1_ResumeFilter: put a suspended filter back in use.
int RAS1_ResumeFilter(uint32_t id)
{
    return set_suspended(id, false);
}

// RAS1_QueryFilter: the class word of a filter.
int RAS1_QueryFilter(uint32_t id, uint32_t *classes)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    int status = STC1_Success;
    BSS1_GetLock(&block->lock);
    ZULRA_filter_t *filter = ZULRA_FindFilter(block, id);
    if (filter == nullptr)
        status = STC1_NotThere;
    else if (classes == nullptr)
        status = STC1_BadArgument;
    else
        *classes = filter->classes;
    BSS1_ReleaseLock(&block->lock);
    return status;
}

// RAS1_DestroyFilter: remove a filter.  Its texts stay in the
// pool, where other filters may share them.
int RAS1_DestroyFilter(uint32_t id)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    BSS1_GetLock(&block->lock);
    ZULRA_filter_t *filter = ZULRA_FindFilter(block, id);
    if (filter == nullptr) {
        BSS1_ReleaseLock(&block->lock);
        return STC1_NotThere;
    }
    ZULRA_UnlinkFilter(filter);
    ZULRA_MoveSyncWord(block);
    BSS1_ReleaseLock(&block->lock);
    free(filter);
    return STC1_Success;
}
