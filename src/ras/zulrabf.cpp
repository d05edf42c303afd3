// zulrabf - RAS1_BeginFormat: open one line of the log.
//
// Picks the store by the record's cached class word, takes a context,
// opens a format object whose output goes through ZULRA_FormatHandler,
// writes the store's opening block if this is the store's first line,
// and writes the line head:
//
//     (seconds.nanoseconds-thread:<environment>unit,line,"function") text
//
// This is the path of every enabled line, and it stays close to the cost
// of the store's write: the thread's spare context brings its format
// object along, the store that the thread's last line went to serves again
// while the sync word has not moved, so that neither needs the block lock,
// and the head is put together by hand, byte for byte what the directives
// "(%08lX.%08lX-%lX:" and "%.*s,%d,\"%s\") " give.
#include "ras/zulralg.h"
#include "internal/zulfobj.h"
#include "internal/zulprint.h"

#include <stdlib.h>
#include <string.h>

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

// Upper-case hexadecimal digits of `value`, at least `width` of them,
// zeros in front.  Returns the end.
static char *put_hex(char *to, uint32_t value, int width)
{
    char digits[8];
    int count = 0;
    do {
        digits[count++] = "0123456789ABCDEF"[value & 15u];
        value >>= 4;
    } while (value != 0);
    while (width-- > count)
        *to++ = '0';
    while (count > 0)
        *to++ = digits[--count];
    return to;
}

// Signed decimal digits of `value`.  Returns the end.
static char *put_decimal(char *to, int value)
{
    uint32_t magnitude = (uint32_t)value;
    if (value < 0) {
        *to++ = '-';
        magnitude = 0u - magnitude;
    }
    char digits[10];
    int count = 0;
    do {
        digits[count++] = (char)('0' + magnitude % 10u);
        magnitude /= 10u;
    } while (magnitude != 0);
    while (count > 0)
        *to++ = digits[--count];
    return to;
}

// Room for a head whose names are short: the fixed fields take at most
// 45 bytes.
static constexpr size_t kHeadRoom = 192;

// A name as a text directive puts it, "NULL" for a null pointer, behind
// the head gathered in `head` up to `end`.  A name too long for the room
// left goes in as a piece of its own, after what has been gathered.
// Returns the new end of the gathered head.
static char *put_name(ZULSS_format_t *object, char *head, char *end, const char *text,
                      size_t length)
{
    if (text == nullptr)
        text = "NULL";
    // 16 bytes stay free for the fields that follow a name.
    if (length > (size_t)(head + kHeadRoom - 16 - end)) {
        ZULSS_WriteText(object, head, (size_t)(end - head));
        ZULSS_WriteText(object, text, length);
        return head;
    }
    memcpy(end, text, length);
    return end + length;
}

// The store for a line of class word `active`, and whether no tracing is
// configured.  The thread's remembered choice serves while the sync word
// has not moved; otherwise the store list is walked under the block lock
// and the choice is remembered with the sync word as it stood under it.
static ZULRA_store_t *pick_store(ZULRA_pcb_t *block, ZULRA_tcb_t *tcb, uint32_t active,
                                 uint32_t *unconfigured)
{
    uint32_t *syncWord = &block->anchor->syncWord;
    if (tcb != nullptr && tcb->store != nullptr && tcb->active == active &&
        tcb->syncValue == __atomic_load_n(syncWord, __ATOMIC_ACQUIRE)) {
        *unconfigured = tcb->unconfigured;
        return tcb->store;
    }
    BSS1_GetLock(&block->lock);
    ZULRA_store_t *store = ZULRA_MatchStore(block, active);
    if (store == nullptr)
        store = block->defaultStore;
    *unconfigured = ZULRA_NothingConfigured(block) ? RAS1_WRITE_UNCONFIGURED : 0u;
    uint32_t syncValue = __atomic_load_n(syncWord, __ATOMIC_RELAXED);
    BSS1_ReleaseLock(&block->lock);
    if (tcb != nullptr) {
        tcb->store = store;
        tcb->active = active;
        tcb->syncValue = syncValue;
        tcb->unconfigured = *unconfigured;
    }
    return store;
}

int RAS1_BeginFormat(ZULRA_entry_t *entry, int line, uint32_t flags, ZULSS_format_t **format)
{
    if (format == nullptr)
        return STC1_BadArgument;
    *format = nullptr;
    if (entry == nullptr)
        return STC1_BadArgument;

    ZULRA_pcb_t *block = ZULRA_Pcb();
    ZULRA_tcb_t *tcb = ZULRA_Tcb(); // null without memory: the locked way
    uint32_t active = __atomic_load_n(&entry->active, __ATOMIC_RELAXED);

    uint32_t unconfigured;
    ZULRA_store_t *store = pick_store(block, tcb, active, &unconfigured);
    ZULRA_envr_t *environments = __atomic_load_n(&block->environments, __ATOMIC_ACQUIRE);

    if (store == nullptr)
        return STC1_Authority;
    if (__atomic_load_n(&block->suspended, __ATOMIC_ACQUIRE) != 0)
        return STC1_SystemError;

    ZULRA_fctx_t *context = ZULRA_TakeContext(block, tcb);
    if (context == nullptr) {
        context = (ZULRA_fctx_t *)calloc(1, sizeof *context);
        if (context == nullptr)
            return STC1_Shortage;
    }
    // A context keeps its format object from one message to the next.
    if (context->format != nullptr) {
        ZULSS_ReuseFormat(context->format);
    } else {
        int status = BSS1_NewFormat(&context->format, context, ZULRA_FormatHandler, 0, 0);
        if (status != STC1_Success) {
            ZULRA_GiveContext(block, tcb, context);
            return status;
        }
        ZULSS_KeepFormat(context->format);
    }
    context->next = nullptr;
    context->store = store;
    context->entry = entry;
    context->flags = flags | unconfigured;
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

    // The head goes in as few pieces as it can: everything before the
    // environment routines' text as one, everything behind it as another.
    // No piece of it can start with a line feed after a carriage return,
    // so the records come out as they would from one piece per field.
    char head[kHeadRoom];
    char *end = head;
    *end++ = '(';
    end = put_hex(end, now.seconds, 8);
    *end++ = '.';
    end = put_hex(end, now.nanoseconds, 8);
    *end++ = '-';
    end = put_hex(end, BSS1_ThreadID(), 1);
    *end++ = ':';
    if (environments != nullptr) {
        ZULSS_WriteText(object, head, (size_t)(end - head));
        end = head;
        for (ZULRA_envr_t *node = environments; node != nullptr; node = node->next)
            node->routine(node->user, object);
    }
    const char *name;
    uint32_t nameLength;
    unit_name(block, entry->unit, &name, &nameLength);
    end = put_name(object, head, end, name, name ? strnlen(name, nameLength) : 4);
    *end++ = ',';
    end = put_decimal(end, line);
    *end++ = ',';
    *end++ = '"';
    end = put_name(object, head, end, entry->name, entry->name ? strlen(entry->name) : 4);
    *end++ = '"';
    *end++ = ')';
    *end++ = ' ';
    ZULSS_WriteText(object, head, (size_t)(end - head));

    *format = object;
    return STC1_Success;
}
