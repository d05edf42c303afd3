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

#include "internal/zulascii.h"
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
static bool is_space(char c)
{
    return ZUL_AsciiSpace(static_cast<unsigned char>(c));
}

// What separates items of a level: white space and punctuation but ":".
static bool separates(char c)
{
    return c != ':' && (is_space(c) || ZUL_AsciiPunct(static_cast<unsigned char>(c)));
}

// What ends a token: white space and punctuation but ":" and "_".
static bool ends_token(char c)
{
    return c != '_' && separates(c);
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
    while (n < static_cast<int>(LONGEST_LINE) && (c = getc_unlocked(file)) != EOF) {
        if (*left == 0)
            return -2;
        (*left)--;
        if (c == '\0')
            dropping = 1;
        if (!dropping || c == '\n')
            line[n++] = static_cast<char>(c);
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
    while (length > 0 && is_space(name[length - 1]))
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
        status = parse_level(line, static_cast<uint32_t>(n), depth + 1, filesLeft);
    fclose(file);
    if (status == STC1_Success && n == -2) {
        RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "File cut at %u bytes: %s\n",
                 uint32_t{ZULPL_TEXT_LIMIT}, path);
        status = STC1_ProtocolError;
    }
    return status;
}

// The element type of a keyword in any case, or -1.  Keywords are not
// abbreviated.
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
        if (strlen(k.name) == length && BSS1_Match(k.name, word, length) == 0)
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
    const ZULRA_class_t *row = ZULRA_FindClass(token, n, 1);
    if (row == nullptr) {
        RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "Class name not recognized: %*.*s\n", n, n,
                 token);
        return STC1_BadArgument;
    }
    *value |= row->value;
    return STC1_Success;
}

// What one level has collected: class names and filter elements, applied
// together at its end.
struct Level {
    ZULRA_elem_t elements[MAX_ELEMENTS];
    uint32_t count;
    uint32_t classes;
    uint32_t tokens;
};

// A group, at the "(" of text[*at]: its text runs to the first ")" and is
// parsed and applied at once, as a level of its own, while the enclosing
// level is still being read; *groupStatus gets its status and *at moves
// behind the ")".  A "(" with no ")" behind it, or with one right behind
// it, is a syntax error of the enclosing level.
static int take_group(char *text, uint32_t length, uint32_t *at, int depth, uint32_t *filesLeft,
                      int *groupStatus)
{
    uint32_t open = *at;
    uint32_t close = open + 1;
    while (close < length && text[close] != ')')
        close++;
    if (close >= length || close == open + 1) {
        uint32_t rest = length - open - 1;
        RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "Syntax error: %*.*s\n", rest, rest,
                 text + open + 1);
        return STC1_ProtocolError;
    }
    *groupStatus = parse_level(text + open + 1, close - open - 1, depth, filesLeft);
    *at = close + 1;
    return STC1_Success;
}

// A token of the level: a filter element where a ":" stands at place 1
// to 5 with a value behind it, else a class name.
static int take_token(Level *level, char *token, uint32_t n)
{
    level->tokens++;
    const char *colon = static_cast<const char *>(memchr(token, ':', n));
    uint32_t place = colon != nullptr ? static_cast<uint32_t>(colon - token) : 0;
    if (colon == nullptr || place < 1 || place > 5 || place + 1 >= n)
        return class_value(token, n, &level->classes);

    int type = keyword_type(token, place);
    if (type < 0) {
        char keyword[6];
        for (uint32_t i = 0; i < place; i++)
            keyword[i] = static_cast<char>(ZUL_AsciiUpper(static_cast<unsigned char>(token[i])));
        keyword[place] = '\0';
        RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "Filter keyword not recognized: %s\n",
                 keyword);
        return STC1_BadArgument;
    }
    if (level->count == MAX_ELEMENTS) {
        RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "Too many filter elements: %*.*s\n", n, n,
                 token);
        return STC1_BadArgument;
    }
    ZULRA_elem_t *e = &level->elements[level->count++];
    e->text = token + place + 1;
    e->length = n - place - 1;
    e->type = type;
    return STC1_Success;
}

// The end of a level that went well: its elements make one filter with
// its class names, or its class names alone set the default class.  A
// level without a token applies nothing.
static int apply_level(Level *level)
{
    if (level->tokens == 0)
        return STC1_Success;
    int status;
    if (level->count != 0) {
        status = RAS1_NewFilter(nullptr, level->classes, level->elements, level->count, 0, 0);
        if (status != STC1_Success && status != STC1_Warning)
            RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "RAS1_NewFilter(%d)\n", status);
    } else {
        status = RAS1_SetClass(nullptr, level->classes);
        if (status != STC1_Success && status != STC1_Warning)
            RAS1_Log(&parse_entry, __LINE__, RAS1_ERROR, "RAS1_SetClass(%d)\n", status);
    }
    return status == STC1_Warning ? STC1_Success : status;
}

// One level: ParseExpression.  A group's status replaces that of the
// group before it; a failed group ends the level at its next token, or at
// its end.
static int parse_level(char *text, uint32_t length, int depth, uint32_t *filesLeft)
{
    if (length >= 2 && length <= LONGEST_LINE && text[0] == '<')
        return include_file(text + 1, length - 1, depth, filesLeft);

    Level level = {};
    int groupStatus = STC1_Success;
    uint32_t at = 0;
    while (at < length) {
        if (text[at] == '(' && length - at >= 3) {
            int status = take_group(text, length, &at, depth, filesLeft, &groupStatus);
            if (status != STC1_Success)
                return status;
            continue;
        }
        if (separates(text[at])) {
            at++;
            continue;
        }
        if (groupStatus != STC1_Success)
            return groupStatus;
        uint32_t start = at;
        while (at < length && !ends_token(text[at]))
            at++;
        int status = take_token(&level, text + start, at - start);
        if (status != STC1_Success)
            return status;
    }
    if (groupStatus != STC1_Success)
        return groupStatus;
    return apply_level(&level);
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
