// zulratg - the default store's target: where ZUL_RAS1 sends the log.
//
// The text behind the last ">" of ZUL_RAS1 names the target, and one
// ">" more in front of it asks for appending:
//
//     >name  >>name            a file, emptied at start / appended to
//     >json:name  >>json:name  the same file, one JSON object a message
//     >stderr  >stdout         the process's standard error / output
//     >journal                 the systemd journal, one entry a message
//
// No ">" at all leaves the log on standard output.  The file stays open to
// the end of the process; `ras1 reopen`, and SIGHUP where
// ZUL_RAS1_SIGHUP=reopen, open it anew under the same name, which is what
// a log rotation asks of a program.  A target that cannot be opened says
// so on standard error, and the log goes there instead.  Text and JSON
// lines are held for large writes unless ZUL_RAS1_BUFFER=off or the
// target is a terminal (see zulrabu); `ras1 flush` writes them out.
#include "ras/zulralg.h"

#include "internal/zulascii.h"
#include "internal/zulprint.h"
#include "platform/zulplat.h"

#include <stdio.h>
#include <string.h>

static constinit ZULRA_target_t target_record = {};
static constinit ZULRA_target_t *published = nullptr;

static bool is_blank(char c)
{
    return ZUL_AsciiSpace(static_cast<unsigned char>(c));
}

static int is_word(const char *text, uint32_t length, const char *word)
{
    return length == strlen(word) && memcmp(text, word, length) == 0;
}

uint32_t ZULRA_ParseTarget(const char *value, uint32_t length, ZULRA_targetname_t *choice)
{
    *choice = {};
    choice->form = ZULRA_TO_TEXT;
    choice->stream = 1;
    const char *arrow = nullptr;
    for (uint32_t i = 0; i < length; i++)
        if (value[i] == '>')
            arrow = value + i;
    if (arrow == nullptr)
        return length;

    uint32_t expression = static_cast<uint32_t>(arrow - value);
    if (expression > 0 && value[expression - 1] == '>') {
        choice->append = 1;
        expression--;
    }
    const char *name = arrow + 1;
    const char *end = value + length;
    while (name < end && is_blank(*name))
        name++;
    while (end > name && is_blank(end[-1]))
        end--;
    uint32_t nameLength = static_cast<uint32_t>(end - name);

    choice->stream = 0;
    if (is_word(name, nameLength, "stdout")) {
        choice->stream = 1;
    } else if (is_word(name, nameLength, "stderr")) {
        choice->stream = 2;
    } else if (is_word(name, nameLength, "journal")) {
        choice->form = ZULRA_TO_JOURNAL;
    } else if (nameLength >= 5 && memcmp(name, "json:", 5) == 0) {
        choice->form = ZULRA_TO_JSON;
        name += 5;
        nameLength -= 5;
        // "json:stderr" and "json:stdout" are the streams in JSON form.
        if (is_word(name, nameLength, "stdout"))
            choice->stream = 1;
        else if (is_word(name, nameLength, "stderr"))
            choice->stream = 2;
    }
    choice->name = name;
    choice->nameLength = nameLength;
    return expression;
}

// One line on standard error about a target that could not be had.  It
// goes out in one write, so that it stands whole among other output.
static void say(const char *what, const char *name, uint32_t nameLength, const char *why,
                const ZULRA_target_t *target)
{
    char line[1024];
    const char *instead = target->form == ZULRA_TO_JSON ? " as JSON lines" : "";
    int n = snprintf(line, sizeof line, "ZUL_RAS1: cannot %s %.*s: %s; the log goes to standard error%s\n",
                     what, static_cast<int>(nameLength > 600 ? 600 : nameLength), name, why, instead);
    if (n > 0) {
        fflush(stderr);
        ZULPL_WriteAll(2, line, static_cast<size_t>(n) < sizeof line ? static_cast<size_t>(n) : sizeof line - 1);
    }
}

static void use_stream(ZULRA_target_t *target, uint32_t stream)
{
    target->fd = stream == 2 ? 2 : 1;
    target->stream = stream == 2 ? stderr : stdout;
    target->path[0] = '\0';
}

void ZULRA_OpenTarget(ZULRA_target_t *target, const ZULRA_targetname_t *choice)
{
    target->form = choice->form;
    target->append = choice->append;
    if (choice->form == ZULRA_TO_JOURNAL) {
        char why[400];
        if (ZULRA_LoadJournal(target, why, sizeof why) == 0)
            return;
        target->form = ZULRA_TO_TEXT;
        use_stream(target, 2);
        say("write to", "the systemd journal", 19, why, target);
        return;
    }
    if (choice->stream != 0) {
        use_stream(target, choice->stream);
        return;
    }

    use_stream(target, 2); // until the file is open
    if (choice->nameLength == 0) {
        say("open", "a log file", 10, "no name behind \">\"", target);
        return;
    }
    char why[64];
    if (choice->nameLength > ZULRA_LONGEST_PATH) {
        snprintf(why, sizeof why, "a name of %u bytes, longer than %u", choice->nameLength,
                 ZULRA_LONGEST_PATH);
        say("open the log file", choice->name, choice->nameLength, why, target);
        return;
    }
    memcpy(target->path, choice->name, choice->nameLength);
    target->path[choice->nameLength] = '\0';
    int error = 0;
    int fd = ZULPL_OpenLog(target->path, !choice->append, &error);
    if (fd < 0) {
        target->path[0] = '\0';
        say("open the log file", choice->name, choice->nameLength, ZULPL_ErrorText(error), target);
        return;
    }
    target->fd = fd;
    target->stream = nullptr;
}

ZULRA_write_t ZULRA_TargetWriter(const ZULRA_target_t *target)
{
    switch (target->form) {
    case ZULRA_TO_JSON:
        return ZULRA_WriteJson;
    case ZULRA_TO_JOURNAL:
        return ZULRA_WriteJournal;
    default:
        return ZULRA_WriteStream;
    }
}

// A hangup reopens the file right in the signal handler: the swap of the
// descriptor is one async-signal-safe step, and a line being written goes
// whole to the file it began in.
static void reopen_on_hangup(void)
{
    ZULRA_target_t *target = __atomic_load_n(&published, __ATOMIC_ACQUIRE);
    if (target == nullptr || target->path[0] == '\0')
        return;
    // The lines held belong to the file they were written for.
    ZULRA_DrainHeld(target, 0);
    int error = ZULPL_ReopenLog(target->fd, target->path);
    if (error == 0)
        return;
    // Built by hand: nothing that formats is safe in a signal handler.
    static const char head[] = "ZUL_RAS1: cannot reopen the log file ";
    static const char tail[] = "; the log stays on the file it had\n";
    char line[ZULRA_LONGEST_PATH + 256];
    size_t n = 0;
    const char *reason = ZULPL_ErrorText(error);
    const char *parts[] = {head, target->path, ": ", reason, tail};
    for (const char *part : parts) {
        size_t length = strlen(part);
        if (length > sizeof line - n)
            length = sizeof line - n;
        memcpy(line + n, part, length);
        n += length;
    }
    ZULPL_WriteAll(2, line, n);
}

ZULRA_target_t *ZULRA_Target(void)
{
    return __atomic_load_n(&published, __ATOMIC_ACQUIRE);
}

int ZULRA_PrepareTargetStore(ZULRA_store_t *store)
{
    ZULRA_target_t *target = ZULRA_Target();
    if (target == nullptr || store->data != target)
        return 0;
    ZULSS_lock_t *ring = ZULRA_DefaultStoreLock();
    __atomic_store_n(&store->lock.handle, __atomic_load_n(&ring->handle, __ATOMIC_ACQUIRE),
                     __ATOMIC_RELEASE);
    __atomic_store_n(&store->lock.created, 1u, __ATOMIC_RELEASE);
    store->messages = target->form != ZULRA_TO_TEXT;
    return 1;
}

// The default store's lock, the store found under the block lock (the
// two locks are never held together); null if there is no such store,
// which a hold takes as no lock.
static ZULSS_lock_t *default_store_lock(void)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    char field[8];
    (void)ZULRA_StoreName(field, "ZUL_RAS1", 8);
    ZULSS_HOLD(&block->lock);
    ZULRA_store_t *store = ZULRA_FindStore(block, field);
    return store != nullptr ? &store->lock : nullptr;
}

// Gives the default store on its target: reads the target of ZUL_RAS1,
// opens it, registers the store, takes SIGHUP if asked to, and gives the
// target its buffer.  Returns the expression's length.
uint32_t ZULRA_SetUpTarget(const char *value)
{
    ZULRA_target_t *target = &target_record;
    ZULRA_targetname_t choice;
    uint32_t expression = 0;
    if (value != nullptr)
        expression = ZULRA_ParseTarget(value, static_cast<uint32_t>(strlen(value)), &choice);
    else
        (void)ZULRA_ParseTarget("", 0, &choice);
    ZULRA_OpenTarget(target, &choice);
    __atomic_store_n(&published, target, __ATOMIC_RELEASE);

    (void)RAS1_RegisterStore("ZUL_RAS1", 8, target, ZULRA_TargetWriter(target), RAS1_ANY);

    const char *hangup = BSS1_LocateEnv("ZUL_RAS1_SIGHUP");
    if (hangup != nullptr && BSS1_Match(hangup, "reopen", 0) == 0 && target->path[0] != '\0') {
        int error = ZULPL_OnHangup(reopen_on_hangup);
        if (error != 0)
            say("take", "SIGHUP", 6, ZULPL_ErrorText(error), target);
    }
    // After SIGHUP is settled: the buffer takes the signals that end the
    // process only where they still have their default action.
    ZULRA_HoldLines(target, BSS1_LocateEnv("ZUL_RAS1_BUFFER"),
                    BSS1_LocateEnv("ZUL_RAS1_WRITER"));
    return expression;
}

// Where a target that is no file sends the log.
static const char *stream_name(const ZULRA_target_t *target)
{
    return target->form == ZULRA_TO_JOURNAL ? "the systemd journal"
           : target->fd == 2                ? "standard error"
                                            : "standard output";
}

int ZULRA_ReopenTarget(ZULSS_format_t *format)
{
    ZULRA_target_t *target = ZULRA_Target();
    if (target == nullptr) {
        ZULSS_Print(format, "The program chose its log stores itself: no log file to reopen\n");
        return STC1_Success;
    }
    if (target->path[0] == '\0') {
        ZULSS_Print(format, "The log goes to %s: no file to reopen\n", stream_name(target));
        return STC1_Success;
    }

    // The lines held go to the old file.  Each line is written whole by
    // one write(2), so none is split between the two files; under the
    // store's lock no half of the buffer is handed off meanwhile.
    int error;
    {
        ZULSS_HOLD(default_store_lock());
        (void)ZULRA_WriteHeld(target);
        error = ZULPL_ReopenLog(target->fd, target->path);
    }

    if (error != 0) {
        ZULSS_Print(format, "Cannot reopen %s: %s; the log stays on the file it had\n", target->path,
                    ZULPL_ErrorText(error));
        return STC1_SystemError;
    }
    ZULSS_Print(format, "Reopened %s\n", target->path);
    return STC1_Success;
}

int ZULRA_FlushTarget(ZULSS_format_t *format)
{
    ZULRA_target_t *target = ZULRA_Target();
    if (target == nullptr) {
        ZULSS_Print(format, "The program chose its log stores itself: nothing to flush\n");
        return STC1_Success;
    }
    const char *where = target->path[0] != '\0' ? target->path : stream_name(target);
    if (__atomic_load_n(&target->hold.bytes, __ATOMIC_ACQUIRE) == nullptr) {
        ZULSS_Print(format, "The log writes each line to %s as it comes: nothing to flush\n", where);
        return STC1_Success;
    }
    uint32_t written;
    {
        ZULSS_HOLD(default_store_lock());
        written = ZULRA_WriteHeld(target);
    }
    ZULSS_Print(format, "Flushed %u bytes to %s\n", written, where);
    return STC1_Success;
}

// Where the head ends in the first line of `text`: at its known length,
// or, where environment routines wrote into it, behind the first
// `"function") `.
static uint32_t head_end(const ZULRA_fctx_t *context, const char *text, uint32_t length,
                         const char *name)
{
    if (context->headLength != 0 && context->headLength <= length)
        return context->headLength;
    size_t nameLength = strlen(name);
    const char *lineEnd = static_cast<const char *>(memchr(text, '\n', length));
    uint32_t first = lineEnd ? static_cast<uint32_t>(lineEnd - text) : length;
    for (uint32_t at = static_cast<uint32_t>(nameLength) + 1; at + 3 <= first; at++)
        if (memcmp(text + at, "\") ", 3) == 0 && text[at - nameLength - 1] == '"' &&
            memcmp(text + at - nameLength, name, nameLength) == 0)
            return at + 3;
    return 0;
}

void ZULRA_TakeApart(const char *text, uint32_t length, ZULRA_entry_t *entry, uint32_t flags,
                     ZULRA_message_t *message)
{
    const ZULRA_fctx_t *context = ZULRA_writing;
    *message = {};
    uint32_t start = 0;
    if (context != nullptr) {
        message->time = context->time;
        message->thread = context->thread;
    }
    if (context != nullptr && context->headed) {
        const char *name = entry && entry->name ? entry->name : "NULL";
        start = head_end(context, text, length, name);
        message->headed = 1;
        message->line = context->line;
        message->unit = context->unitName ? context->unitName : "";
        message->unitLength = context->unitName ? context->unitLength : 0;
        message->function = name;
        message->functionLength = static_cast<uint32_t>(strlen(name));
        const ZULRA_unit_t *unit = entry ? entry->unit : nullptr;
        if (unit != nullptr && unit->comp != nullptr) {
            message->component = unit->comp;
            message->componentLength = static_cast<uint32_t>(strnlen(unit->comp, unit->compLen));
        }
        message->kind = RAS1_WRITE_KIND(flags);
    }
    uint32_t end = length;
    while (start < end && text[start] == '\n')
        start++;
    while (end > start && text[end - 1] == '\n')
        end--;
    message->text = text + start;
    message->length = end - start;
}

const char *ZULRA_KindName(uint32_t kind)
{
    switch (kind) {
    case RAS1_ERROR:
        return "ERROR";
    case RAS1_FLOW:
        return "FLOW";
    case RAS1_TIME:
        return "TIME";
    case RAS1_STATE:
        return "STATE";
    case RAS1_INPUT:
        return "INPUT";
    case RAS1_OUTPUT:
        return "OUTPUT";
    case RAS1_METRICS:
        return "METRICS";
    case RAS1_DETAIL:
        return "DETAIL";
    default:
        return nullptr;
    }
}
