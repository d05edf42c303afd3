// zulrais - RAS1_InterpretString and ParseExpression: the filter
// expression language.
//
// An expression is read in levels.  The whole text is one level, each
// group in parentheses is a level of its own, and each line of an
// included file is one too.  A level collects class names and filter
// elements and applies them once, at its end: with elements they make
// one filter, without they set the default class.  A group is applied as
// soon as it is read, so in "ERROR (UNIT:zulcr FLOW)" the filter comes
// first and the default class after it.
//
// This code runs inside the start of the trace, where nothing may sync a
// record, so it reads its own class word with the quick read and writes
// its messages without testing it: they reach the log whenever a store
// exists, as ERROR lines.
#include "ras/zulralg.h"

#include <stdio.h>
#include <string.h>

#include "platform/zulplat.h"

ZULRA_PARSER_UNIT("zulrais");
RAS1_DECLARE_ENTRY(parse_entry, "ParseExpression", 0);

// Elements of one level.  Expressions name at most a unit, a function, a
// level and a component, so seven leave room for repeats.
#define MAX_ELEMENTS 7
// The longest class name, and the longest line of an included file.
#define LONGEST_NAME 16u
#define LONGEST_LINE 255u
// Included files may include others; a file that includes itself must
// not exhaust the stack.
#define DEEPEST_INCLUSION 8

// Files that one expression may open in all, over every level: the depth
// bound alone lets a file that names itself a few times on a line be
// opened billions of times.
#define MOST_INCLUSIONS 256u

// Character classes of the C locale, whatever locale the program set.
static int is_space(unsigned char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

static int is_punct(unsigned char c)
{
    return (c >= 0x21 && c <= 0x2F) || (c >= 0x3A && c <= 0x40) || (c >= 0x5B && c <= 0x60) ||
           (c >= 0x7B && c <= 0x7E);
}

static char upper(char c)
{
    return (c >= 'a' && c <= 'z') ? (char)(c - 'a' + 'A') : c;
}

static int parse_level(char *text, uint32_t length, int depth, uint32_t *filesLeft);

// Reads the next line of an included file into `line` as fgets would,
// at most LONGEST_LINE bytes with the line end kept, but counting every
// byte against `*left`, the bytes the file may still give.  A zero byte
// and what follows it up to the line end are read but not kept.  Returns
// the line's length, or -1 at the end of the file, or -2 when the file
// has more than it may give.
static int read_line(FILE *file, char *line, uint32_t *left)
{
    int n = 0;
    int dropping = 0;
    int c = 0;
    while (n < (int)LONGEST_LINE && (c = getc_unlocked(file)) != EOF) {
        if (*left == 0)
            return -2;
        (*left)--;
        if (c == '\0')
            dropping = 1;
        if (!dropping || c == '\n')
            line[n++] = (char)c;
        if (c == '\n')
            break;
    }
    line[n] = '\0';
    return n == 0 && c == EOF ? -1 : n;
}

// A level that names a file: each line of the file is a level.  White
// space behind the name, a line end above all, is not part of it.  Only
// a regular file is read, and at most ZULPL_TEXT_LIMIT bytes of it.
static int include_file(const char *name, uint32_t length, int depth, uint32_t *filesLeft)
{
    while (length > 0 && is_space((unsigned char)name[length - 1]))
        length--;
    char path[LONGEST_LINE + 1];
    memcpy(path, name, length);
    path[length] = '\0';
    if (depth >= DEEPEST_INCLUSION) {
        RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "Inclusion nested too deeply: %s\n", path);
        return STC1_ProtocolError;
    }
    if (*filesLeft == 0) {
        RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "Too many inclusions: %s\n", path);
        return STC1_ProtocolError;
    }
    (*filesLeft)--;
    int found;
    FILE *file = ZULPL_OpenText(path, nullptr, &found);
    if (file == nullptr) {
        RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR,
                 found == ZULPL_TEXT_NOT_REGULAR ? "Not a regular file: %s\n"
                                                 : "Unable to open file: %s\n",
                 path);
        return STC1_NotThere;
    }
    char line[LONGEST_LINE + 1];
    uint32_t left = ZULPL_TEXT_LIMIT;
    int status = STC1_Success;
    int n = -1;
    while (status == STC1_Success && (n = read_line(file, line, &left)) >= 0)
        status = parse_level(line, (uint32_t)n, depth + 1, filesLeft);
    fclose(file);
    if (status == STC1_Success && n == -2) {
        RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "File cut at %u bytes: %s\n",
                 (uint32_t)ZULPL_TEXT_LIMIT, path);
        status = STC1_ProtocolError;
    }
    return status;
}

// The element type of an upper-case keyword, or -1.
static int keyword_type(const char *word, uint32_t length)
{
    static const struct {
        const char *name;
        int type;
    } keywords[] = {{"UNIT", RAS1_FILTER_UNIT},
                    {"ENTRY", RAS1_FILTER_ENTRY},
                    {"LEVEL", RAS1_FILTER_LEVEL},
                    {"COMP", RAS1_FILTER_COMP}};
    for (const auto &k : keywords)
        if (strlen(k.name) == length && memcmp(k.name, word, length) == 0)
            return k.type;
    return -1;
}

// The value of one class name (full or abbreviated); NONE counts.
static int class_value(const char *token, uint32_t n, uint32_t *value)
{
    if (n > LONGEST_NAME) {
        RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "Class name too long: %*.*s\n", n, n, token);
        return STC1_BadObject;
    }
    char name[LONGEST_NAME];
    for (uint32_t i = 0; i < n; i++)
        name[i] = upper(token[i]);
    for (const ZULRA_class_t *row = ZULRA_ClassTable(); row->text != nullptr; row++)
        if (n >= row->minLength && n <= row->maxLength && memcmp(name, row->text, n) == 0) {
            *value |= row->value;
            return STC1_Success;
        }
    RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "Class name not recognized: %*.*s\n", n, n, token);
    return STC1_BadArgument;
}

// One level: ParseExpression.
static int parse_level(char *text, uint32_t length, int depth, uint32_t *filesLeft)
{
    if (length >= 2 && length <= LONGEST_LINE && text[0] == '<')
        return include_file(text + 1, length - 1, depth, filesLeft);

    ZULRA_elem_t elements[MAX_ELEMENTS];
    uint32_t count = 0;
    uint32_t classes = 0;
    uint32_t tokens = 0;
    int groupStatus = STC1_Success;
    uint32_t at = 0;

    while (at < length) {
        unsigned char c = (unsigned char)text[at];

        // A group: parsed and applied at once, as a level of its own.
        if (c == '(' && length - at >= 3) {
            uint32_t close = at + 1;
            while (close < length && text[close] != ')')
                close++;
            if (close >= length || close == at + 1) {
                uint32_t rest = length - at - 1;
                RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "Syntax error: %*.*s\n", rest, rest,
                         text + at + 1);
                return STC1_ProtocolError;
            }
            groupStatus = parse_level(text + at + 1, close - at - 1, depth, filesLeft);
            at = close + 1;
            continue;
        }
        if (c != ':' && (is_space(c) || is_punct(c))) {
            at++;
            continue;
        }

        // A token; a failed group ends the level here.
        if (groupStatus != STC1_Success)
            return groupStatus;
        uint32_t start = at;
        while (at < length) {
            unsigned char t = (unsigned char)text[at];
            if (is_space(t) || (is_punct(t) && t != ':' && t != '_'))
                break;
            at++;
        }
        char *token = text + start;
        uint32_t n = at - start;
        tokens++;

        const char *colon = (const char *)memchr(token, ':', n);
        uint32_t place = colon ? (uint32_t)(colon - token) : 0;
        if (colon != nullptr && place >= 1 && place <= 5 && place + 1 < n) {
            char keyword[6];
            for (uint32_t i = 0; i < place; i++)
                keyword[i] = upper(token[i]);
            keyword[place] = '\0';
            int type = keyword_type(keyword, place);
            if (type < 0) {
                RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "Filter keyword not recognized: %s\n",
                         keyword);
                return STC1_BadArgument;
            }
            if (count == MAX_ELEMENTS) {
                RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "Too many filter elements: %*.*s\n", n, n,
                         token);
                return STC1_BadArgument;
            }
            elements[count].text = token + place + 1;
            elements[count].length = n - place - 1;
            elements[count].type = type;
            count++;
            continue;
        }

        int status = class_value(token, n, &classes);
        if (status != STC1_Success)
            return status;
    }

    if (groupStatus != STC1_Success)
        return groupStatus;
    if (tokens == 0)
        return STC1_Success;

    int status;
    if (count != 0) {
        status = RAS1_NewFilter(nullptr, classes, elements, count, 0, 0);
        if (status != STC1_Success && status != STC1_Warning)
            RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "RAS1_NewFilter(%d)\n", status);
    } else {
        status = RAS1_SetClass(nullptr, classes);
        if (status != STC1_Success && status != STC1_Warning)
            RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "RAS1_SetClass(%d)\n", status);
    }
    return status == STC1_Warning ? STC1_Success : status;
}

int RAS1_InterpretString(char *text, uint32_t length)
{
    if (text == nullptr)
        return length == 0 ? STC1_Success : STC1_BadArgument;
    // Nothing here may sync a record: this runs inside the trace's start,
    // so the parser's messages are written without a test of its word.
    uint32_t filesLeft = MOST_INCLUSIONS;
    return parse_level(text, length, 0, &filesLeft);
}
