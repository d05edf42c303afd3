// ZULWN_Printf: the failure report's writer, safe inside a signal handler.
//
// The report is written while the process may be in any state: inside
// malloc, holding a stdio lock, on a small alternate stack.  So this
// writer formats by itself, with no locale, no allocation and no lock,
// into a buffer that goes to the file with write(2).  It knows the few
// conversions the report uses; a piece longer than the buffer is written
// in parts, never cut and never run past the buffer's end.
#include "wnt/zulwn.h"
#include "platform/zulplat.h"
#include "platform/zulplrp.h"

#include <string.h>

void ZULWN_Flush(ZULWN_out_t *out)
{
    uint32_t used = out->used;
    out->used = 0;
    // A failed write costs the report and nothing else.
    if (out->fd >= 0)
        ZULPL_WriteAll(out->fd, out->buffer, used);
}

void ZULWN_Write(ZULWN_out_t *out, const char *text, uint32_t length)
{
    while (length > 0) {
        uint32_t room = (uint32_t)sizeof out->buffer - out->used;
        if (room == 0) {
            ZULWN_Flush(out);
            continue;
        }
        uint32_t n = length < room ? length : room;
        memcpy(out->buffer + out->used, text, n);
        out->used += n;
        text += n;
        length -= n;
    }
}

static void put_fill(ZULWN_out_t *out, char c, int count)
{
    for (; count > 0; count--)
        ZULWN_Write(out, &c, 1);
}

// Writes `text` in a field of `width`, on the left when `left` is set.
static void put_field(ZULWN_out_t *out, const char *text, uint32_t length, int width, bool left,
                      char pad)
{
    int fill = width > (int)length ? width - (int)length : 0;
    if (!left)
        put_fill(out, pad, fill);
    ZULWN_Write(out, text, length);
    if (left)
        put_fill(out, ' ', fill);
}

// The digits of `value` in `base`, into the end of `room`; gives the start.
static char *digits(char *end, unsigned long long value, unsigned base, bool upper)
{
    const char *set = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    char *p = end;
    do {
        *--p = set[value % base];
        value /= base;
    } while (value != 0);
    return p;
}

// What a directive asks for besides its conversion.
typedef struct {
    bool left;     // "-": on the left of its field
    char pad;      // "0" pads numbers with zeros
    int width;     // digits or "*"
    int precision; // ".digits" or ".*"; -1 without
    int size;      // 0 int, 1 long, 2 long long or size_t
} field_t;

// Reads a number, or takes it from the arguments for "*".
static int read_count(const char **f, va_list *args)
{
    if (**f == '*') {
        (*f)++;
        return va_arg(*args, int);
    }
    int n = 0;
    while (**f >= '0' && **f <= '9')
        n = n * 10 + (*(*f)++ - '0');
    return n;
}

// Reads what stands between "%" and the conversion, leaving *f at the
// conversion.
static field_t read_field(const char **f, va_list *args)
{
    field_t field = {false, ' ', 0, -1, 0};
    for (;; (*f)++) {
        if (**f == '-')
            field.left = true;
        else if (**f == '0')
            field.pad = '0';
        else
            break;
    }
    field.width = read_count(f, args);
    if (**f == '.') {
        (*f)++;
        field.precision = read_count(f, args);
    }
    while (**f == 'l' || **f == 'z') {
        field.size += **f == 'z' ? 2 : 1;
        (*f)++;
    }
    if (field.left)
        field.pad = ' ';
    return field;
}

// Writes the number conversion `conversion` ("d", "u", "x" or "X").
static void put_number(ZULWN_out_t *out, char conversion, field_t field, va_list *args)
{
    char room[32];
    char *end = room + sizeof room;
    if (conversion == 'd') {
        long long v = field.size == 0   ? va_arg(*args, int)
                      : field.size == 1 ? va_arg(*args, long)
                                       : va_arg(*args, long long);
        unsigned long long magnitude = v < 0 ? 0ull - (unsigned long long)v : (unsigned long long)v;
        char *p = digits(end, magnitude, 10, false);
        if (v < 0) {
            if (field.pad == '0') {
                ZULWN_Write(out, "-", 1);
                field.width--;
            } else {
                *--p = '-';
            }
        }
        put_field(out, p, (uint32_t)(end - p), field.width, field.left, field.pad);
        return;
    }
    unsigned long long v = field.size == 0   ? va_arg(*args, unsigned)
                           : field.size == 1 ? va_arg(*args, unsigned long)
                                            : va_arg(*args, unsigned long long);
    char *p = digits(end, v, conversion == 'u' ? 10 : 16, conversion == 'X');
    put_field(out, p, (uint32_t)(end - p), field.width, field.left, field.pad);
}

// The arguments go by pointer to a copy: a va_list parameter cannot be
// handed on by its address.
static void put_all(ZULWN_out_t *out, const char *format, va_list *args)
{
    for (const char *f = format; *f != '\0'; f++) {
        if (*f != '%') {
            const char *run = f;
            while (f[1] != '\0' && f[1] != '%')
                f++;
            ZULWN_Write(out, run, (uint32_t)(f - run + 1));
            continue;
        }
        f++;
        const field_t field = read_field(&f, args);
        switch (*f) {
        case 's': {
            const char *text = va_arg(*args, const char *);
            if (text == nullptr)
                text = "(null)";
            uint32_t length = field.precision >= 0 ? (uint32_t)strnlen(text, (size_t)field.precision)
                                                  : (uint32_t)strlen(text);
            put_field(out, text, length, field.width, field.left, ' ');
            break;
        }
        case 'c': {
            char c = (char)va_arg(*args, int);
            put_field(out, &c, 1, field.width, field.left, ' ');
            break;
        }
        case 'd':
        case 'u':
        case 'x':
        case 'X':
            put_number(out, *f, field, args);
            break;
        case '%':
            ZULWN_Write(out, "%", 1);
            break;
        default: // not a conversion this writer knows: shown as it stands
            ZULWN_Write(out, "%", 1);
            if (*f == '\0')
                return;
            ZULWN_Write(out, f, 1);
            break;
        }
    }
}

void ZULWN_VPrintf(ZULWN_out_t *out, const char *format, va_list args)
{
    va_list copy;
    va_copy(copy, args);
    put_all(out, format, &copy);
    va_end(copy);
}

void ZULWN_Printf(ZULWN_out_t *out, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    ZULWN_VPrintf(out, format, args);
    va_end(args);
}

int ZULWN_ReadMemory(uintptr_t address, void *to, uint32_t length)
{
    return ZULPL_ReadMemory(address, to, length);
}
