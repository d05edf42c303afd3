// zulrabf - RAS1_BeginFormat: open one line of the log.
//
// Picks the store by the record's cached class word, takes a context,
// opens a format object whose output goes through ZULRA_FormatHandler,
// writes the store's opening block if this is the store's first line,
// and writes the line head:
//
//     (seconds.nanoseconds-thread:<environment>unit,line,"function") text
#include "ras/zulralg.h"
#include "internal/zulprint.h"

#include <stdlib.h>

// Writes the opening block of a store: the title, the header of the
// process and a rule.
static void open_store(ZULSS_format_t *format)
{
    ZULSS_Print(format, "========================>  Torvel QX/RAS1 Service Log  "
                        "<========================\n");
    BSS1_DisplayEnvironment(format);
    ZULSS_Print(format, "================================================================"
                        "================\n");
    BSS1_FlushFormat(format);
}

// The unit's name as the head shows it.  A registered unit's name is in
// its final form and never changes again (the release store of
// `registered` publishes it); a unit not yet registered may be having its
// name put in form on another thread, which holds the anchor's lock.
static void unit_name(ZULRA_pcb_t *block, const ZULRA_unit_t *unit, const char **name,
                      uint32_t *length)
{
    *name = "";
    *length = 0;
    if (unit == nullptr)
        return;
    if (__atomic_load_n(&unit->registered, __ATOMIC_ACQUIRE) != 0) {
        *name = unit->file;
        *length = unit->fileLen;
        return;
    }
    BSS1_GetLock(&block->anchor->lock);
    *name = unit->file;
    *length = unit->fileLen;
    BSS1_ReleaseLock(&block->anchor->lock);
}

int RAS1_BeginFormat(ZULRA_entry_t *entry, int line, uint32_t flags, ZULSS_format_t **format)
{
    if (format == nullptr)
        return STC1_BadArgument;
    *format = nullptr;
    if (entry == nullptr)
        return STC1_BadArgument;

    ZULRA_pcb_t *block = ZULRA_Pcb();
    uint32_t active = __atomic_load_n(&entry->active, __ATOMIC_RELAXED);
    ZULRA_fctx_t *context = nullptr;

    BSS1_GetLock(&block->lock);
    ZULRA_store_t *store = ZULRA_MatchStore(block, active);
    if (store == nullptr)
        store = block->defaultStore;
    if (store != nullptr && block->freeContexts != nullptr) {
        context = block->freeContexts;
        block->freeContexts = context->next;
    }
    if (ZULRA_NothingConfigured(block))
        flags |= RAS1_WRITE_UNCONFIGURED;
    BSS1_ReleaseLock(&block->lock);

    ZULRA_envr_t *environments = __atomic_load_n(&block->environments, __ATOMIC_ACQUIRE);

    if (store == nullptr)
        return STC1_Authority;
    if (__atomic_load_n(&block->suspended, __ATOMIC_ACQUIRE) != 0) {
        if (context != nullptr) {
            BSS1_GetLock(&block->lock);
            context->next = block->freeContexts;
            block->freeContexts = context;
            BSS1_ReleaseLock(&block->lock);
        }
        return STC1_SystemError;
    }
    if (context == nullptr) {
        context = (ZULRA_fctx_t *)calloc(1, sizeof *context);
        if (context == nullptr)
            return STC1_Shortage;
    }

    int status = BSS1_NewFormat(&context->format, context, ZULRA_FormatHandler, 0, 0);
    if (status != STC1_Success) {
        free(context->pending);
        free(context);
        return status;
    }
    context->next = nullptr;
    context->store = store;
    context->entry = entry;
    context->flags = flags;
    ZULSS_format_t *object = context->format;

    ZULSS_time_t now;
    BSS1_GetTime(&now);

    // Only the thread that finds the store unopened writes the block; the
    // count is read without the lock first so that later lines pay one
    // load.
    if (__atomic_load_n(&store->opened, __ATOMIC_ACQUIRE) == 0) {
        BSS1_GetLock(&store->lock);
        uint32_t old = __atomic_fetch_add(&store->opened, 1u, __ATOMIC_ACQ_REL);
        BSS1_ReleaseLock(&store->lock);
        if (old == 0)
            open_store(object);
    }

    ZULSS_Print(object, "(%08lX.%08lX-%lX:", now.seconds, now.nanoseconds, BSS1_ThreadID());
    for (ZULRA_envr_t *node = environments; node != nullptr; node = node->next)
        node->routine(node->user, object);
    const char *name;
    uint32_t nameLength;
    unit_name(block, entry->unit, &name, &nameLength);
    ZULSS_Print(object, "%.*s,%d,\"%s\") ", nameLength, name, line, entry->name);

    *format = object;
    return STC1_Success;
}
