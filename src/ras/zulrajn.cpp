// zulrajn - ZULRA_WriteJournal: the default store's write routine for the
// systemd journal, and the loading of the journal's client library.
//
// libsystemd is loaded by name (libsystemd.so.0) when ZUL_RAS1 asks for
// the journal, so that the library does not depend on it otherwise.  Each
// message is one entry, sent with sd_journal_sendv: MESSAGE is the text
// without its head, whose facts become fields of their own, and a message
// of several lines stays one entry.  PRIORITY comes from the line's trace
// kind:
//
//     ERROR 3 (err); STATE, METRICS and no kind 6 (info);
//     FLOW, TIME, INPUT, OUTPUT, DETAIL 7 (debug)
//
// and CODE_FILE (the unit), CODE_LINE, CODE_FUNC, TID, SYSLOG_IDENTIFIER
// (the program), ZUL_UNIT, ZUL_COMPONENT, ZUL_CLASS (the kind) and
// ZUL_TIME (the head's time, as the text log writes it) go with it.  The
// opening block is one entry of its own, without the fields of a head.
#include "ras/zulralg.h"

#include "platform/zulplat.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/uio.h>

// Where the journal takes entries; the client library sends there too.
#define JOURNAL_SOCKET "/run/systemd/journal/socket"

int ZULRA_LoadJournal(ZULRA_target_t *target, char *why, size_t size)
{
    const char *reason = nullptr;
    void *routine = ZULPL_LoadRoutine("libsystemd.so.0", "sd_journal_sendv", &reason);
    if (routine == nullptr) {
        snprintf(why, size, "%s", reason ? reason : "libsystemd.so.0 has no sd_journal_sendv");
        return -1;
    }
    int error = ZULPL_SocketAnswers(JOURNAL_SOCKET);
    if (error != 0) {
        snprintf(why, size, "%s: %s", JOURNAL_SOCKET, ZULPL_ErrorText(error));
        return -1;
    }
    target->send = reinterpret_cast<int (*)(const struct iovec *, int)>(routine);
    char program[64];
    if (BSS1_Info(4, program, sizeof program) == 0)
        snprintf(program, sizeof program, "zul");
    snprintf(target->identifier, sizeof target->identifier, "%s", program);
    return 0;
}

static int priority_of(uint32_t kind)
{
    switch (kind) {
    case RAS1_ERROR:
        return 3;
    case RAS1_FLOW:
    case RAS1_TIME:
    case RAS1_INPUT:
    case RAS1_OUTPUT:
    case RAS1_DETAIL:
        return 7;
    default: // STATE, METRICS, no kind
        return 6;
    }
}

// Fields of a message but its text, each "NAME=value" in `fields`.
struct Fields {
    char text[1024];
    size_t used;
    struct iovec vector[16];
    int count;
};

static void add(Fields *f, const char *name, const char *value, size_t length)
{
    if (f->count >= 16)
        return;
    size_t nameLength = strlen(name);
    size_t room = sizeof f->text - f->used;
    if (nameLength + 1 >= room)
        return;
    if (length > room - nameLength - 1)
        length = room - nameLength - 1;
    char *at = f->text + f->used;
    memcpy(at, name, nameLength);
    at[nameLength] = '=';
    memcpy(at + nameLength + 1, value, length);
    f->vector[f->count].iov_base = at;
    f->vector[f->count].iov_len = nameLength + 1 + length;
    f->count++;
    f->used += nameLength + 1 + length;
}

static void add_number(Fields *f, const char *name, long long value)
{
    char digits[24];
    int n = snprintf(digits, sizeof digits, "%lld", value);
    add(f, name, digits, static_cast<size_t>(n));
}

int ZULRA_WriteJournal(void *data, const char *text, uint32_t length, ZULRA_entry_t *entry,
                       uint32_t flags)
{
    ZULRA_target_t *target = static_cast<ZULRA_target_t *>(data);
    if (target == nullptr || target->send == nullptr || length == 0)
        return 0;
    ZULRA_message_t m;
    ZULRA_TakeApart(text, length, entry, flags, &m);

    // MESSAGE= and the text make one field, so they must stand together:
    // the message is copied behind the name, in the target's buffer (which
    // the store's lock guards) when it is long, or, without memory for
    // that, cut.
    static const char name[] = "MESSAGE=";
    const size_t nameLength = sizeof name - 1;
    size_t need = nameLength + m.length;
    char small[2048];
    char *field = small;
    size_t room = sizeof small;
    if (need > room) {
        if (need > target->bufferSize) {
            char *grown = static_cast<char *>(realloc(target->buffer, need));
            if (grown != nullptr) {
                target->buffer = grown;
                target->bufferSize = static_cast<uint32_t>(need);
            }
        }
        if (need <= target->bufferSize) {
            field = target->buffer;
            room = target->bufferSize;
        }
    }
    size_t copied = need <= room ? m.length : room - nameLength;
    memcpy(field, name, nameLength);
    memcpy(field + nameLength, m.text, copied);

    Fields f;
    f.used = 0;
    f.count = 1;
    f.vector[0].iov_base = field;
    f.vector[0].iov_len = nameLength + copied;
    add_number(&f, "PRIORITY", priority_of(m.kind));
    add(&f, "SYSLOG_IDENTIFIER", target->identifier, strlen(target->identifier));
    add_number(&f, "TID", m.thread);
    if (m.headed) {
        add(&f, "CODE_FILE", m.unit, m.unitLength);
        add_number(&f, "CODE_LINE", m.line);
        add(&f, "CODE_FUNC", m.function, m.functionLength);
        add(&f, "ZUL_UNIT", m.unit, m.unitLength);
        if (m.component != nullptr)
            add(&f, "ZUL_COMPONENT", m.component, m.componentLength);
        const char *kind = ZULRA_KindName(m.kind);
        if (kind != nullptr)
            add(&f, "ZUL_CLASS", kind, strlen(kind));
    }
    char stamp[24];
    int n = snprintf(stamp, sizeof stamp, "%08X.%08X", m.time.seconds, m.time.nanoseconds);
    add(&f, "ZUL_TIME", stamp, static_cast<size_t>(n));
    (void)target->send(f.vector, f.count);
    return 0;
}
