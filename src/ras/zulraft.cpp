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

// Whether an element names a text that a filter keeps: types 4 to 6 are
// accepted and do nothing, and an element without text names nothing.
static bool kept(const ZULRA_elem_t *e)
{
    return e->length != 0 && e->type <= RAS1_FILTER_COMP;
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
        if (!kept(e))
            return 0;
        const ZULRA_spe_t *have = *field_of(filter, e->type);
        if (have == nullptr || have->length != e->length ||
            BSS1_Match(have->text, e->text, e->length) != 0)
            return 0;
    }
    return 1;
}

// Each element has a text and its length, or neither, and a type that a
// filter knows.
static bool elements_valid(const ZULRA_elem_t *elements, uint32_t count)
{
    if (count == 0 || elements == nullptr)
        return false;
    for (uint32_t i = 0; i < count; i++) {
        const ZULRA_elem_t *e = &elements[i];
        if ((e->text == nullptr) != (e->length == 0) || e->type < 0 || e->type > 6 ||
            e->length > RAS1_FILTER_TEXT_MAX)
            return false;
    }
    return true;
}

// The first UNIT text takes the form of unit names here, in the call
// itself, so that a filter made before the trace has started matches as
// well as one made after.  Then the exit routines see the elements, with
// no lock held, before they are weighed.
static void prepare_elements(ZULRA_pcb_t *block, ZULRA_elem_t *elements, uint32_t count)
{
    for (uint32_t i = 0; i < count; i++)
        if (elements[i].type == RAS1_FILTER_UNIT) {
            ZULRA_NormalizeName(&elements[i].text, &elements[i].length);
            break;
        }
    ZULRA_notice_t notice;
    memset(&notice, 0, sizeof notice);
    notice.size = sizeof notice;
    notice.elements = elements;
    notice.elementCount = count;
    ZULRA_CallExits(block, RAS1_EXIT_FILTER, &notice);
}

// 1 and, for each element that a filter keeps, its length times the weight
// of its type.
static uint32_t weigh(const ZULRA_elem_t *elements, uint32_t count)
{
    uint32_t weight = 1;
    for (uint32_t i = 0; i < count; i++)
        if (elements[i].type <= RAS1_FILTER_COMP)
            weight += elements[i].length * type_weight[elements[i].type];
    return weight;
}

// A new filter of that weight with the texts of `elements` in the pool;
// not yet in the list.  Null without memory.  The caller holds the block
// lock.
static ZULRA_filter_t *new_filter(ZULRA_pcb_t *block, uint32_t weight,
                                  const ZULRA_elem_t *elements, uint32_t count)
{
    ZULRA_filter_t *filter = static_cast<ZULRA_filter_t *>(calloc(1, sizeof *filter));
    if (filter == nullptr)
        return nullptr;
    filter->savedWeight = filter->weight = weight;
    filter->id = block->nextFilter;
    block->nextFilter += 2;
    for (uint32_t i = 0; i < count; i++) {
        const ZULRA_elem_t *e = &elements[i];
        // A later element of a type replaces an earlier one.
        if (kept(e))
            *field_of(filter, e->type) = ZULRA_InternString(block, e->text, e->length);
    }
    return filter;
}

int RAS1_NewFilter(uint32_t *id, uint32_t classes, ZULRA_elem_t *elements, uint32_t count,
                   uint32_t lineLow, uint32_t lineHigh)
{
    if (lineHigh == 0)
        lineHigh = 0xFFFFFFFFu;
    if (!elements_valid(elements, count))
        return STC1_BadArgument;

    ZULRA_pcb_t *block = ZULRA_Pcb();
    prepare_elements(block, elements, count);
    uint32_t weight = weigh(elements, count);

    ZULSS_HOLD(&block->lock);
    const ZUL_links<ZULRA_filter_t> links = ZULRA_FilterLinks(block);
    ZULRA_filter_t *filter = ZUL_Prev(links, links.head);
    while (filter != links.head && !same_filter(filter, weight, elements, count))
        filter = ZUL_Prev(links, filter);

    bool fresh = filter == links.head;
    if (fresh && (filter = new_filter(block, weight, elements, count)) == nullptr)
        return STC1_Shortage;

    uint32_t word = ZULRA_Complete(classes);
    // A reused filter that now says something else makes every record
    // stale, as RAS1_SetFilter does; a new one moves the sync word by its
    // insertion.
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
    return word != classes ? STC1_Warning : STC1_Success;
}

// RAS1_SetFilter: change the class word of a filter.
int RAS1_SetFilter(uint32_t id, uint32_t *old, uint32_t classes)
{
    // Completed like every class word; unlike RAS1_NewFilter this call
    // does not say so.
    uint32_t word = ZULRA_Complete(classes);
    ZULRA_pcb_t *block = ZULRA_Pcb();
    ZULSS_HOLD(&block->lock);
    ZULRA_filter_t *filter = ZULRA_FindFilter(block, id);
    if (filter == nullptr)
        return STC1_NotThere;
    if (old != nullptr)
        *old = filter->classes;
    if (filter->classes != word) {
        filter->classes = word;
        ZULRA_MoveSyncWord(block);
    }
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
    ZULSS_HOLD(&block->lock);
    ZULRA_filter_t *filter = ZULRA_FindFilter(block, id);
    if (filter == nullptr)
        return STC1_NotThere;
    if ((filter->weight == 0) == suspend)
        return STC1_Warning;
    ZULRA_UnlinkFilter(block, filter);
    filter->weight = suspend ? 0 : filter->savedWeight;
    ZULRA_InsertFilter(block, filter);
    return STC1_Success;
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
    ZULSS_HOLD(&block->lock);
    ZULRA_filter_t *filter = ZULRA_FindFilter(block, id);
    if (filter == nullptr)
        return STC1_NotThere;
    if (classes == nullptr)
        return STC1_BadArgument;
    *classes = filter->classes;
    return STC1_Success;
}

// Takes filter `id` out of the list; null if there is none.
static ZULRA_filter_t *take_out(ZULRA_pcb_t *block, uint32_t id)
{
    ZULSS_HOLD(&block->lock);
    ZULRA_filter_t *filter = ZULRA_FindFilter(block, id);
    if (filter != nullptr) {
        ZULRA_UnlinkFilter(block, filter);
        ZULRA_MoveSyncWord(block);
    }
    return filter;
}

// RAS1_DestroyFilter: remove a filter.  Its texts stay in the
// pool, where other filters may share them.
int RAS1_DestroyFilter(uint32_t id)
{
    ZULRA_filter_t *filter = take_out(ZULRA_Pcb(), id);
    if (filter == nullptr)
        return STC1_NotThere;
    free(filter);
    return STC1_Success;
}
