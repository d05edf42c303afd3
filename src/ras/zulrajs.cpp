// zulrajs - ZULRA_WriteJson: the default store's write routine for JSON
// lines, one object a message:
//
//     {"time":"2026-11-23T12:15:04.123456789Z","stamp":"6921F9E8.075BCD15",
//      "thread":41822,"unit":"zulssge","line":47,"function":"BSS1_GetEnv",
//      "class":"ERROR","component":"BSS1","message":"..."}
//
// (on one line).  `time` is the head's time in ISO 8601, UTC, with
// nanoseconds; `stamp` is the same time as the head writes it, so that a
// line can be found in a text log of the same run.  `class` is the line's
// trace kind, null for none; lines that came without a head (the opening
// block) have null for unit, line, function and component.
//
// Any bytes make valid JSON: quotes, backslashes and control characters
// (NUL included) are escaped, and a byte that is not part of well-formed
// UTF-8 becomes U+FFFD, as decoders that replace do.
#include "ras/zulralg.h"

#include <stdlib.h>
#include <string.h>

namespace {

// Where an object is built: the target's buffer, grown to hold the
// longest object a message can make, or, without memory for that, a
// small buffer that is given to the target each time it fills.
struct Out {
    char *at, *end, *base;
    ZULRA_target_t *target;
    uint32_t flags;
};

void flush(Out *o)
{
    (void)ZULRA_Put(o->target, o->base, static_cast<uint32_t>(o->at - o->base), o->flags);
    o->at = o->base;
}

void put(Out *o, const char *text, size_t length)
{
    while (length > 0) {
        if (o->at == o->end)
            flush(o);
        size_t n = static_cast<size_t>(o->end - o->at);
        if (n > length)
            n = length;
        memcpy(o->at, text, n);
        o->at += n;
        text += n;
        length -= n;
    }
}

void put_text(Out *o, const char *text)
{
    put(o, text, strlen(text));
}

void put_unsigned(Out *o, uint64_t value, int width)
{
    char digits[24];
    int n = 0;
    do {
        digits[sizeof digits - 1 - n++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0 || n < width);
    put(o, digits + sizeof digits - n, static_cast<size_t>(n));
}

// The length of the well-formed UTF-8 sequence at `p` (up to `end`), or 0
// when the byte there does not begin one.
size_t utf8_length(const unsigned char *p, const unsigned char *end)
{
    unsigned char c = p[0];
    size_t need;
    unsigned char low = 0x80, high = 0xBF; // range of the second byte
    if (c < 0x80)
        return 1;
    if (c >= 0xC2 && c <= 0xDF) {
        need = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
        need = 3;
        if (c == 0xE0)
            low = 0xA0; // no overlong forms
        else if (c == 0xED)
            high = 0x9F; // no surrogates
    } else if (c >= 0xF0 && c <= 0xF4) {
        need = 4;
        if (c == 0xF0)
            low = 0x90;
        else if (c == 0xF4)
            high = 0x8F; // nothing above U+10FFFF
    } else {
        return 0;
    }
    if (static_cast<size_t>(end - p) < need || p[1] < low || p[1] > high)
        return 0;
    for (size_t i = 2; i < need; i++)
        if ((p[i] & 0xC0) != 0x80)
            return 0;
    return need;
}

// A JSON string of any bytes.
void put_string(Out *o, const char *text, size_t length)
{
    static const char hex[] = "0123456789abcdef";
    const unsigned char *p = reinterpret_cast<const unsigned char *>(text);
    const unsigned char *end = p + length;
    put(o, "\"", 1);
    while (p < end) {
        // Runs of plain bytes go in one piece.
        const unsigned char *run = p;
        while (p < end && *p >= 0x20 && *p < 0x7F && *p != '"' && *p != '\\')
            p++;
        put(o, reinterpret_cast<const char *>(run), static_cast<size_t>(p - run));
        if (p == end)
            break;
        unsigned char c = *p;
        char escape[6] = {'\\', 0, 0, 0, 0, 0};
        switch (c) {
        case '"': escape[1] = '"'; put(o, escape, 2); p++; continue;
        case '\\': escape[1] = '\\'; put(o, escape, 2); p++; continue;
        case '\n': escape[1] = 'n'; put(o, escape, 2); p++; continue;
        case '\r': escape[1] = 'r'; put(o, escape, 2); p++; continue;
        case '\t': escape[1] = 't'; put(o, escape, 2); p++; continue;
        default: break;
        }
        if (c < 0x20 || c == 0x7F) {
            char u[6] = {'\\', 'u', '0', '0', hex[c >> 4], hex[c & 15]};
            put(o, u, 6);
            p++;
            continue;
        }
        size_t n = utf8_length(p, end);
        if (n == 0) {
            put(o, "\\ufffd", 6);
            p++;
        } else {
            put(o, reinterpret_cast<const char *>(p), n);
            p += n;
        }
    }
    put(o, "\"", 1);
}

// Days since 1970-01-01 to a civil date (proleptic Gregorian).
void civil(int64_t days, int64_t *year, unsigned *month, unsigned *day)
{
    days += 719468;
    int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    unsigned doe = static_cast<unsigned>(days - era * 146097);
    unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    unsigned mp = (5 * doy + 2) / 153;
    *day = doy - (153 * mp + 2) / 5 + 1;
    *month = mp < 10 ? mp + 3 : mp - 9;
    *year = int64_t{yoe} + era * 400 + (*month <= 2);
}

void put_time(Out *o, const ZULSS_time_t &time)
{
    int64_t year;
    unsigned month, day;
    uint32_t seconds = time.seconds;
    civil(seconds / 86400, &year, &month, &day);
    uint32_t inDay = seconds % 86400;
    put(o, "\"", 1);
    put_unsigned(o, static_cast<uint64_t>(year), 4);
    put(o, "-", 1);
    put_unsigned(o, month, 2);
    put(o, "-", 1);
    put_unsigned(o, day, 2);
    put(o, "T", 1);
    put_unsigned(o, inDay / 3600, 2);
    put(o, ":", 1);
    put_unsigned(o, inDay / 60 % 60, 2);
    put(o, ":", 1);
    put_unsigned(o, inDay % 60, 2);
    put(o, ".", 1);
    put_unsigned(o, time.nanoseconds, 9);
    put_text(o, "Z\",\"stamp\":\"");
    static const char hex[] = "0123456789ABCDEF";
    char stamp[17];
    for (int i = 0; i < 8; i++) {
        stamp[i] = hex[(seconds >> (28 - 4 * i)) & 15];
        stamp[9 + i] = hex[(time.nanoseconds >> (28 - 4 * i)) & 15];
    }
    stamp[8] = '.';
    put(o, stamp, sizeof stamp);
    put(o, "\"", 1);
}

// Grows the target's buffer to `need` bytes; false without memory.
bool reserve(ZULRA_target_t *target, size_t need)
{
    if (need <= target->bufferSize)
        return true;
    if (need > UINT32_MAX)
        return false;
    size_t size = target->bufferSize ? target->bufferSize : 4096;
    while (size < need)
        size *= 2;
    if (size > UINT32_MAX)
        size = need;
    char *grown = static_cast<char *>(realloc(target->buffer, size));
    if (grown == nullptr)
        return false;
    target->buffer = grown;
    target->bufferSize = static_cast<uint32_t>(size);
    return true;
}

// A field whose value is a string, or null where there is none.
void put_field(Out *o, const char *name, const char *text, size_t length)
{
    put_text(o, name);
    if (text != nullptr)
        put_string(o, text, length);
    else
        put_text(o, "null");
}

} // namespace

int ZULRA_WriteJson(void *data, const char *text, uint32_t length, ZULRA_entry_t *entry,
                    uint32_t flags)
{
    ZULRA_target_t *target = static_cast<ZULRA_target_t *>(data);
    if (target == nullptr || length == 0)
        return 0;
    ZULRA_message_t m;
    ZULRA_TakeApart(text, length, entry, flags, &m);

    // Every byte of a name or the message takes at most six.
    size_t need = 256 + 6 * (size_t{m.length} + m.unitLength + m.functionLength + m.componentLength);
    char small[1024];
    Out o;
    if (reserve(target, need))
        o = {target->buffer, target->buffer + target->bufferSize, target->buffer, target, flags};
    else
        o = {small, small + sizeof small, small, target, flags};

    put_text(&o, "{\"time\":");
    put_time(&o, m.time);
    put_text(&o, ",\"thread\":");
    put_unsigned(&o, m.thread, 1);
    put_field(&o, ",\"unit\":", m.unit, m.unitLength);
    put_text(&o, ",\"line\":");
    if (m.headed) {
        int64_t line = m.line;
        if (line < 0)
            put(&o, "-", 1);
        put_unsigned(&o, static_cast<uint64_t>(line < 0 ? -line : line), 1);
    } else {
        put_text(&o, "null");
    }
    put_field(&o, ",\"function\":", m.function, m.functionLength);
    const char *kind = ZULRA_KindName(m.kind);
    put_field(&o, ",\"class\":", kind, kind ? strlen(kind) : 0);
    put_field(&o, ",\"component\":", m.component, m.componentLength);
    put_field(&o, ",\"message\":", m.text, m.length);
    put_text(&o, "}\n");
    flush(&o);
    return 0;
}
