/*
 * zul/lex1.h - the scanner and argument lists.
 *
 * A scanner turns bytes into tokens.  Every byte has a 16-bit class word
 * from a table that each scanner may change; tokens come one at a time
 * out of a ring of token records, with a fixed look-ahead; inputs form a
 * stack, so that a text can be pushed over the one being read; and line
 * ends are learned from the input itself.
 *
 * An argument list is the tree that a command's tokens make: words,
 * keywords name=value (or name:value) and parenthesised sublists to any
 * depth.  LEX1_ArgList builds it, LEX1_Parse takes arguments out of it and
 * reports what is wrong on a format object, LEX1_FreeArgList frees it.
 *
 * Nothing in this family traces or locks: a scanner and a tree belong to
 * one thread at a time.  All calls return one of the LEX1_ status numbers
 * below; they are this family's own and not the STC1_ codes.
 */
#ifndef ZUL_LEX1_H
#define ZUL_LEX1_H

#include <zul/stc1.h>
#include <zul/bss1.h>

ZUL_BEGIN_DECLS

/* Status numbers of the family. */
enum {
    LEX1_OK = 0,
    LEX1_NoTokenMemory = 1,      /* no memory for a token's text (scan only) */
    LEX1_End = 2,                /* end of input; in LEX1_Parse, nothing left */
    LEX1_NoMemory = 3,           /* no memory for a scanner, input or list block */
    LEX1_BadHandle = 4,          /* bad handle, or not the root of a tree */
    LEX1_BadArgument = 5,        /* a count of 0, a class index outside 0..255, a null address */
    LEX1_OpenString = 6,         /* the input ends inside a quoted string */
    LEX1_Unbalanced = 7,         /* parentheses do not balance */
    LEX1_TooManyKeywords = 9,    /* "Keyword argument not allowed" */
    LEX1_UnknownKeyword = 10,    /* "Unrecognized keyword argument" */
    LEX1_AmbiguousKeyword = 11,  /* "Ambiguous keyword argument" */
    LEX1_DuplicateKeyword = 12,  /* "Duplicate keyword argument" */
    LEX1_TooManyPositionals = 13, /* "Positional argument not allowed" */
    LEX1_ListNotAllowed = 14,    /* "Argument list not allowed" */
    LEX1_NoKeywords = 15,        /* "Keyword argument not allowed" */
    LEX1_PositionalRequired = 16, /* "Positional argument required" */
    LEX1_KeywordRequired = 17    /* "Keyword argument required" */
};

/* Class bits of a byte.  A byte may hold several. */
#define LEX1_CLASS_SPACE 0x0001u
#define LEX1_CLASS_BINARY 0x0002u /* 0 1 */
#define LEX1_CLASS_OCTAL 0x0004u  /* 0 to 7 */
#define LEX1_CLASS_DIGIT 0x0008u  /* 0 to 9 */
#define LEX1_CLASS_HEX 0x0010u    /* A to F, a to f */
#define LEX1_CLASS_IDENT 0x0020u  /* letters and # $ @ _ */
#define LEX1_CLASS_LOWER 0x0040u
#define LEX1_CLASS_UPPER 0x0080u
#define LEX1_CLASS_QUOTE 0x0100u
#define LEX1_CLASS_ESCAPE 0x0200u
#define LEX1_CLASS_OPERATOR 0x0400u
#define LEX1_CLASS_PUNCT 0x0800u
#define LEX1_CLASS_OTHER 0x1000u
#define LEX1_CLASS_LINEEND 0x2000u
#define LEX1_CLASS_END 0x4000u /* no byte: the blank that closes an input */

/* Token kinds. */
#define LEX1_KIND_NONE 0u /* the <end-of-scan> record */
#define LEX1_KIND_NUMBER 1u
#define LEX1_KIND_WORD 2u
#define LEX1_KIND_IDENTIFIER 3u
#define LEX1_KIND_OPERATOR 4u
#define LEX1_KIND_PUNCTUATION 5u
#define LEX1_KIND_STRING 6u

/* A token record, one slot of a scanner's ring.  A caller reads the first
 * six fields; the rest belong to the scanner.  `text` is not terminated
 * and has quotes and escapes removed.  `line` is the input's line when
 * the first byte was stored; `column` counts tokens on that line, from 0.
 * The record is the scanner's: the one consumed by a LEX1_Token call
 * stays as it is during the next call and is rewritten in the one after. */
typedef struct ZULLX_token {
    const char *text;
    uint32_t length;
    uint32_t line;
    uint32_t column;
    uint32_t kind;
    uint16_t classes; /* the class words of all stored bytes, ored */
    struct ZULLX_token *next, *prev;
    char *buffer;
    uint32_t capacity;
    uint32_t status;
} ZULLX_token_t;

/* Scanner handle: the scanner's address and a check word of which the
 * low 16 bits count.  Passed by value, except to LEX1_New and LEX1_Delete. */
typedef struct ZULLX_handle {
    void *address;
    uint32_t check;
} ZULLX_handle_t;

/* What a token filter is shown: a word that is always 0, and the
 * scanner's class table. */
typedef struct ZULLX_table {
    uint32_t tableWord;
    uint16_t classes[256];
} ZULLX_table_t;

/* A token filter: a result other than 0 discards the token, and its slot
 * is scanned again. */
typedef int (*ZULLX_filter_t)(void *filterContext, const ZULLX_table_t *table,
                              ZULLX_token_t *token);

/* A read function of an input: places up to `capacity` bytes in `buffer`
 * and returns how many; 0 ends the input.  `userWord` starts 0 and is the
 * function's to keep state in. */
typedef uint32_t (*ZULLX_read_t)(void *context, uint32_t *userWord, char *buffer,
                                 uint32_t capacity);

/* Makes a scanner with `lookahead` + 3 token slots and a copy of the
 * default class table.  LEX1_OK or LEX1_NoMemory; LEX1_BadArgument for a
 * null `handle`. */
ZUL_API int LEX1_New(ZULLX_handle_t *handle, uint32_t lookahead, ZULLX_filter_t filter,
                     void *filterContext);

/* Invalidates the handle, then frees every input, every token buffer and
 * the scanner.  LEX1_OK, or LEX1_BadHandle with the handle left as it was. */
ZUL_API int LEX1_Delete(ZULLX_handle_t *handle);

/* Pushes an input filled by `read` through a buffer of `size` bytes
 * (0: 512).  LEX1_OK, LEX1_NoMemory, LEX1_BadHandle; LEX1_BadArgument for
 * a null `read`. */
ZUL_API int LEX1_Input(ZULLX_handle_t handle, ZULLX_read_t read, void *context, uint32_t size);

/* Pushes a copy of exactly `length` bytes of `text`; zero bytes are
 * scanned like any other.  LEX1_OK, LEX1_NoMemory, LEX1_BadHandle;
 * LEX1_BadArgument for a null `text` with a length. */
ZUL_API int LEX1_String(ZULLX_handle_t handle, const char *text, uint32_t length);

/* Reads (`oldClass`) and then replaces (`newClass`) the class word of
 * byte `index` in this scanner's table; either address may be null.
 * LEX1_OK, LEX1_BadHandle, LEX1_BadArgument for an index outside 0..255. */
ZUL_API int LEX1_Character(ZULLX_handle_t handle, int32_t index, const uint16_t *newClass,
                           uint16_t *oldClass);

/* Delivers the next token and up to `count` - 1 tokens of look-ahead (at
 * most `lookahead` + 2 in all).  The first is consumed; the others come
 * again at the next call.  Unfilled entries of `tokens` get the static
 * <end-of-scan> record; *delivered receives the number of real tokens.
 * LEX1_OK, or the status of the scan that stopped it (LEX1_End,
 * LEX1_OpenString, LEX1_NoTokenMemory), LEX1_BadHandle, LEX1_BadArgument. */
ZUL_API int LEX1_Token(ZULLX_handle_t handle, const ZULLX_token_t **tokens, uint32_t count,
                       uint32_t *delivered);

/* ------------------------------------------------------------------ */
/* Argument lists                                                      */
/* ------------------------------------------------------------------ */

#define LEX1_ARG_SCALAR 1u
#define LEX1_ARG_LIST 16u
#define LEX1_ARG_KEYWORD 32u

struct ZULLX_arg;

/* A list of the tree.  `first` and `count` are what is left to take. */
typedef struct ZULLX_list {
    struct ZULLX_list *next;  /* where to go on when done: the enclosing list */
    struct ZULLX_arg *first;  /* first argument left */
    struct ZULLX_arg *owner;  /* the argument that holds this list; null in the root */
    uint32_t count;           /* arguments not yet taken out */
    struct ZULLX_list *parent; /* the enclosing list; null in the root */
    struct ZULLX_list *root;  /* the root list; the root points at itself */
    void *blocks;             /* root only: the tree's storage */
    int32_t depth;            /* -1 in the root */
} ZULLX_list_t;

/* An argument.  A scalar or keyword has a zero-terminated `text` (a
 * keyword's is its name); a list has only `sublist`; a keyword's value
 * list is `values`. */
typedef struct ZULLX_arg {
    struct ZULLX_arg *next; /* next argument of the same list; null at the last */
    uint32_t type;          /* LEX1_ARG_SCALAR, LEX1_ARG_LIST or LEX1_ARG_KEYWORD */
    union {
        char *text;
        ZULLX_list_t *sublist;
    };
    uint32_t length; /* bytes of `text` without the terminator */
    union {
        uint32_t line;
        ZULLX_list_t *values;
    };
    uint32_t column;
    uint32_t kind;
    uint16_t classes;
} ZULLX_arg_t;

/* Flags of LEX1_Parse. */
#define LEX1_PARSE_WHOLE 1u    /* check the whole list and leave it unchanged */
#define LEX1_PARSE_LISTS 2u    /* a parenthesised list may be a positional */
#define LEX1_PARSE_KEYLISTS 4u /* a keyword's value may be other than one argument */
#define LEX1_PARSE_QUIET 8u    /* no message for a minimum missed on an exhausted list */

/* Reads the rest of the top input of the scanner into a tree.  Stores
 * the root in *list, or null on failure.  LEX1_OK, LEX1_NoMemory,
 * LEX1_BadHandle, LEX1_Unbalanced, or a scan status (LEX1_NoTokenMemory,
 * LEX1_OpenString); LEX1_BadArgument for a null `list`. */
ZUL_API int LEX1_ArgList(ZULLX_handle_t handle, ZULLX_list_t **list);

/* Frees the whole tree.  LEX1_OK, or LEX1_BadHandle when `list` is null
 * or not a root. */
ZUL_API int LEX1_FreeArgList(ZULLX_list_t *list);

/* Sorts the arguments of `list` into positionals and keywords; see
 * docs/console-syntax.md.  A count address with its array holds the
 * array's size on entry (else the maximum is the minimum) and receives
 * the number stored.  With `keywordNames` (one per slot of `keywords`),
 * a keyword's value goes to the slot of the name that it abbreviates.
 * Messages for statuses 9 to 17 go to `format`, if not null. */
ZUL_API int LEX1_Parse(ZULSS_format_t *format, ZULLX_list_t *list, uint32_t flags,
                       uint32_t positionalMinimum, uint32_t *positionalCount,
                       ZULLX_arg_t **positionals, uint32_t keywordMinimum,
                       uint32_t *keywordCount, ZULLX_arg_t **keywords,
                       const char *const *keywordNames);

ZUL_END_DECLS

#endif /* ZUL_LEX1_H */
