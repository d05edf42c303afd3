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
// "(%08lX.%08lX-%lX:" and "%.*s,%d,\"%s\") " give; a thread that writes
// from the same place again copies all of it behind the time.  The line's
// opening (ZULRA_OpenLine) and its head (ZULRA_FlatHead) also serve the
// flat way of a message of one line (zulrafo).
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
    ZULSS_HOLD(&block->anchor->lock);
    *name = unit->file;
    *length = unit->fileLen;
}

// The eight upper-case hexadecimal digits of `value`, most significant
// first, as one 64-bit word in memory order.  The nibbles are spread to a
// byte each and turned into digits all at once: a handful of instructions
// against a loop per digit, for three numbers on every line.
static uint64_t hex_word(uint32_t value)
{
    uint64_t x = value;
    x = ((x & 0xFFFF0000u) << 16) | (x & 0xFFFFu);
    x = ((x & 0x0000FF000000FF00u) << 8) | (x & 0x000000FF000000FFu);
    x = ((x & 0x00F000F000F000F0u) << 4) | (x & 0x000F000F000F000Fu);
    // A byte whose nibble is 10 or more gets the step from '9' to 'A'.
    uint64_t letters = ((x + 0x0606060606060606u) >> 4) & 0x0101010101010101u;
    x += 0x3030303030303030u + letters * 7u;
    return __builtin_bswap64(x); // the first digit at the lowest address
}

// Upper-case hexadecimal digits of `value`, at least `width` (1 to 8) of
// them, zeros in front.  Returns the end.  Eight bytes are always stored:
// `to` has room for them, and what lies beyond the digits is written over
// by the fields that follow.
static char *put_hex(char *to, uint32_t value, int width)
{
    int count = value == 0 ? 1 : (35 - __builtin_clz(value)) / 4;
    if (count < width)
        count = width;
    uint64_t word = hex_word(value) >> (8 * (8 - count)); // drops leading zeros
    memcpy(to, &word, sizeof word);
    return to + count;
}

// Signed decimal digits of `value`.  Returns the end.
static char *put_decimal(char *to, int value)
{
    uint32_t magnitude = static_cast<uint32_t>(value);
    if (value < 0) {
        *to++ = '-';
        magnitude = 0u - magnitude;
    }
    int count = 1;
    for (uint32_t rest = magnitude; rest >= 10u; rest /= 10u)
        count++;
    char *end = to + count;
    for (char *at = end; at != to; magnitude /= 10u)
        *--at = static_cast<char>('0' + magnitude % 10u);
    return end;
}

// Room for a head whose names are short: the fixed fields take at most
// 45 bytes.
static constexpr size_t kHeadRoom = 192;

// "(SSSSSSSS.NNNNNNNN": the time in front of every head.
static constexpr uint32_t kTimeLength = 18;

// A name as a text directive puts it, "NULL" for a null pointer, behind
// the head gathered in `head` up to `end`.  A name too long for the room
// left goes in as a piece of its own, after what has been gathered.
// Returns the new end of the gathered head.
static char *put_name(ZULSS_format_t *object, char *head, char *end, const char *text,
                      size_t length, size_t *written)
{
    if (text == nullptr)
        text = "NULL";
    // 16 bytes stay free for the fields that follow a name.
    if (length > static_cast<size_t>(head + kHeadRoom - 16 - end)) {
        ZULSS_WriteText(object, head, static_cast<size_t>(end - head));
        ZULSS_WriteText(object, text, length);
        *written += static_cast<size_t>(end - head) + length;
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
    ZULRA_store_t *store;
    uint32_t syncValue;
    {
        ZULSS_HOLD(&block->lock);
        store = ZULRA_MatchStore(block, active);
        if (store == nullptr)
            store = block->defaultStore;
        *unconfigured = ZULRA_NothingConfigured(block) ? RAS1_WRITE_UNCONFIGURED : 0u;
        syncValue = __atomic_load_n(syncWord, __ATOMIC_RELAXED);
    }
    if (tcb != nullptr) {
        tcb->store = store;
        tcb->active = active;
        tcb->syncValue = syncValue;
        tcb->unconfigured = *unconfigured;
    }
    return store;
}

// Writes the store's opening block if no other thread has begun it, under
// the store's lock, and then lets the store's lines go without that lock
// where the store needs none (`ready`, see zulrafh): a line that comes
// while the block is being written waits on the lock, and so follows it.
static void open_once(ZULRA_store_t *store, ZULRA_fctx_t *context)
{
    ZULSS_HOLD(&store->lock);
    if (__atomic_fetch_add(&store->opened, 1u, __ATOMIC_ACQ_REL) != 0)
        return;
    uint32_t flags = context->flags;
    context->flags &= ~RAS1_WRITE_KIND_MASK;
    open_store(context->format);
    context->flags = flags;
    __atomic_store_n(&store->ready, 1u, __ATOMIC_RELEASE);
}

int ZULRA_OpenLine(ZULRA_entry_t *entry, int line, uint32_t flags, ZULRA_fctx_t **opened)
{
    *opened = nullptr;
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
        context = static_cast<ZULRA_fctx_t *>(calloc(1, sizeof *context));
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
    context->environments = environments;

    ZULSS_time_t now;
    BSS1_GetTime(&now);
    context->time = now;
    context->thread = BSS1_ThreadID();
    context->line = line;
    context->headed = 0;

    // Only the thread that finds the store unopened writes the block; the
    // count is read without the lock first so that later lines pay one
    // load.  The block is written under the store's lock, which its own
    // flushes take again on this thread: the first lines of other threads,
    // which take that lock to be written, wait for it, so that they follow
    // the block in the store and in the capture ring rather than come
    // before it.  Nothing in the block writes to the log.  The block is of
    // no trace kind, whatever the line's is.
    if (__atomic_load_n(&store->opened, __ATOMIC_ACQUIRE) == 0)
        open_once(store, context);
    context->headed = 1;
    *opened = context;
    return STC1_Success;
}

uint32_t ZULRA_FlatHead(ZULRA_fctx_t *context, char *to, size_t room)
{
    if (context->environments != nullptr || room < kTimeLength + ZULRA_SITE_ROOM + 8)
        return 0;
    const ZULRA_entry_t *entry = context->entry;
    ZULRA_tcb_t *tcb = ZULRA_Tcb();
    *to = '(';
    put_hex(to + 1, context->time.seconds, 8);
    to[9] = '.';
    put_hex(to + 10, context->time.nanoseconds, 8);
    char *site = to + kTimeLength;

    // A thread that writes from the same place as last time puts its time
    // in front of the rest of the head it built then.
    if (tcb != nullptr && tcb->siteEntry == entry && tcb->siteLine == context->line &&
        tcb->siteThread == context->thread) {
        memcpy(site, tcb->site, tcb->siteLength);
        context->unitName = tcb->siteUnit;
        context->unitLength = tcb->siteUnitLength;
        context->headLength = kTimeLength + tcb->siteLength;
        return context->headLength;
    }

    // "-%lX:" "%.*s,%d,\"%s\") " by hand, if the names leave the whole of
    // it within the room kept for it (8 bytes more for the last digits).
    const char *name;
    uint32_t nameLength;
    unit_name(ZULRA_Pcb(), entry->unit, &name, &nameLength);
    size_t unitLength = name ? strnlen(name, nameLength) : 4;
    const char *function = entry->name ? entry->name : "NULL";
    size_t functionLength = strlen(function);
    if (unitLength + functionLength + 40 > ZULRA_SITE_ROOM)
        return 0;
    char *end = site;
    *end++ = '-';
    end = put_hex(end, context->thread, 1);
    *end++ = ':';
    memcpy(end, name ? name : "NULL", unitLength);
    end += unitLength;
    *end++ = ',';
    end = put_decimal(end, context->line);
    *end++ = ',';
    *end++ = '"';
    memcpy(end, function, functionLength);
    end += functionLength;
    *end++ = '"';
    *end++ = ')';
    *end++ = ' ';
    uint32_t length = static_cast<uint32_t>(end - site);
    // A name with a line feed would end the line inside its head: the
    // format object writes such a head, as records.
    if (memchr(site, '\n', length) != nullptr)
        return 0;
    context->unitName = name;
    context->unitLength = name ? static_cast<uint32_t>(unitLength) : 0u;
    context->headLength = kTimeLength + length;

    // Kept for the thread's next line from here once the unit's name is
    // final.
    if (tcb != nullptr &&
        (entry->unit == nullptr || __atomic_load_n(&entry->unit->registered, __ATOMIC_ACQUIRE))) {
        memcpy(tcb->site, site, length);
        tcb->siteLength = length;
        tcb->siteEntry = entry;
        tcb->siteLine = context->line;
        tcb->siteThread = context->thread;
        tcb->siteUnit = context->unitName;
        tcb->siteUnitLength = context->unitLength;
    }
    return context->headLength;
}

// Writes the head of an opened line into its format object: flat where
// it can be, else piece by piece around what the environment routines
// write.  No piece of it can start with a line feed after a carriage
// return, so the records come out as they would from one piece per field.
void ZULRA_WriteHead(ZULRA_fctx_t *context)
{
    ZULSS_format_t *object = context->format;
    char flat[kTimeLength + ZULRA_SITE_ROOM + 8];
    uint32_t length = ZULRA_FlatHead(context, flat, sizeof flat);
    if (length != 0) {
        char *to = ZULSS_Claim(object, length);
        if (to != nullptr)
            memcpy(to, flat, length);
        else
            ZULSS_WriteText(object, flat, length);
        return;
    }

    ZULRA_envr_t *environments = context->environments;
    const ZULRA_entry_t *entry = context->entry;
    char head[kHeadRoom];
    char *end = head;
    size_t written = 0; // head bytes already in the object
    *end++ = '(';
    end = put_hex(end, context->time.seconds, 8);
    *end++ = '.';
    end = put_hex(end, context->time.nanoseconds, 8);
    *end++ = '-';
    end = put_hex(end, context->thread, 1);
    *end++ = ':';
    if (environments != nullptr) {
        ZULSS_WriteText(object, head, static_cast<size_t>(end - head));
        written += static_cast<size_t>(end - head);
        end = head;
        for (ZULRA_envr_t *node = environments; node != nullptr; node = node->next)
            node->routine(node->user, object);
    }
    const char *name;
    uint32_t nameLength;
    unit_name(ZULRA_Pcb(), entry->unit, &name, &nameLength);
    context->unitName = name;
    context->unitLength = name ? static_cast<uint32_t>(strnlen(name, nameLength)) : 0u;
    end = put_name(object, head, end, name, name ? strnlen(name, nameLength) : 4, &written);
    *end++ = ',';
    end = put_decimal(end, context->line);
    *end++ = ',';
    *end++ = '"';
    end = put_name(object, head, end, entry->name, entry->name ? strlen(entry->name) : 4,
                   &written);
    *end++ = '"';
    *end++ = ')';
    *end++ = ' ';
    ZULSS_WriteText(object, head, static_cast<size_t>(end - head));
    written += static_cast<size_t>(end - head);
    // What the environment routines wrote is not counted: a target that
    // takes the head apart then looks for its end.
    context->headLength = environments == nullptr ? static_cast<uint32_t>(written) : 0u;
}

int RAS1_BeginFormat(ZULRA_entry_t *entry, int line, uint32_t flags, ZULSS_format_t **format)
{
    if (format == nullptr)
        return STC1_BadArgument;
    *format = nullptr;
    if (entry == nullptr)
        return STC1_BadArgument;
    ZULRA_fctx_t *context;
    int status = ZULRA_OpenLine(entry, line, flags, &context);
    if (status != STC1_Success)
        return status;
    ZULRA_WriteHead(context);
    *format = context->format;
    return STC1_Success;
}
