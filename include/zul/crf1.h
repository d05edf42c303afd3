/*
 * zul/crf1.h - the console: a registry of named commands and consoles
 * that run command lines.
 *
 * Any family or program registers a command, either with a handler of its
 * own or as a group of named subcommands that each have one.  A host
 * program makes a console with CRF1_New, gives it lines with CRF1_Execute
 * and collects what the commands wrote with CRF1_Fetch.  Commands and
 * consoles are resources (zul/res1.h): a handle may be destroyed while a
 * line runs, and the record lives until the line is over.
 *
 * A line is a command word, which any unique beginning of a command's
 * name selects, then arguments as zul/lex1.h reads them.  For a command
 * with subcommands the next word names one, whole; or the line holds
 * parenthesised lists, each with a subcommand word and its arguments:
 *
 *     bss1 getenv HOME
 *     bss1 (getenv HOME) (config)
 *     ?                          lists the commands
 *
 * docs/console.md tells the whole story, with a complete example.
 *
 * The calls return the CRF1_ status numbers below, this family's own;
 * CRF1_Execute may also pass on a LEX1_ number (zul/lex1.h) or the result
 * of a subcommand's handler.
 */
#ifndef ZUL_CRF1_H
#define ZUL_CRF1_H

#include <zul/stc1.h>
#include <zul/bss1.h>
#include <zul/lex1.h>

ZUL_BEGIN_DECLS

/* Status numbers of the family. */
enum {
    CRF1_OK = 0,
    CRF1_NotConsole = 1,      /* the handle is not a console */
    CRF1_NotCommand = 2,      /* the handle is not a command */
    CRF1_NoMemory = 3,        /* no memory for a record */
    CRF1_NoResource = 4,      /* the resource could not be created */
    CRF1_Unusable = 5,        /* the registry could not be built */
    CRF1_Duplicate = 6,       /* the name is registered already (case does not count) */
    CRF1_NoOutputMemory = 7,  /* no memory for console output, or for the scanner of a line */
    CRF1_NoFormat = 8,        /* the console's format object could not be made */
    CRF1_Ambiguous = 9,       /* several command names begin with the word */
    CRF1_NotFound = 10,       /* no command name begins with the word */
    CRF1_BadArgument = 12,    /* a null address or name where one is required, or an empty name */
    CRF1_Empty = 13,          /* nothing to fetch */
    CRF1_OutOfStep = 14,      /* the console's count and its output disagree */
    CRF1_HasHandler = 15      /* the command has a handler of its own: no subcommands */
};

/* What a handler is told besides its arguments.  Lives for the call. */
typedef struct ZULCR_request {
    uint32_t size;        /* sizeof(ZULCR_request_t) */
    void *commandData;    /* the command's `data` */
    void *subcommandData; /* the subcommand's `data`; null for a command's own handler */
    uint32_t console;     /* the console that runs the line */
} ZULCR_request_t;

/* A command handler.  `list` holds the arguments, with the command word
 * (and the subcommand word) already taken out: read them with LEX1_Parse.
 * Write everything through `format`, above all with BSS1_PrintFormat.
 * A subcommand's result becomes the line's status; a command's own
 * handler's result is not looked at. */
typedef int (*ZULCR_handler_t)(ZULLX_list_t *list, ZULSS_format_t *format,
                               ZULCR_request_t *request);

/* A row of a family's static table of subcommands.  The family registers
 * each row's address as the subcommand's `data`, so that its one handler
 * switches on ((const ZULCR_row_t *)request->subcommandData)->code.  An
 * empty description keeps the subcommand out of the usage list. */
typedef struct ZULCR_row {
    uint32_t code;
    const char *name;
    const char *description;
} ZULCR_row_t;

/* Makes a console and stores its handle in *console.
 * CRF1_OK, CRF1_NoMemory, CRF1_NoResource, CRF1_Unusable, CRF1_NoFormat;
 * CRF1_BadArgument for a null `console`.  *console is unchanged on
 * failure. */
ZUL_API int CRF1_New(uint32_t *console);

/* Destroys a console; its output not yet fetched goes with it, once the
 * line running on it (if any) is over.  CRF1_OK, CRF1_NotConsole. */
ZUL_API int CRF1_Delete(uint32_t console);

/* Moves up to `size` bytes of the console's output to `buffer` and their
 * number to *count (which may be null).  Every line ends with a line
 * feed; the text is not zero-terminated.  A buffer smaller than the
 * output gets what fits; the next call goes on at the next byte.
 * CRF1_OK, CRF1_NotConsole, CRF1_Empty (nothing waits), CRF1_OutOfStep;
 * CRF1_BadArgument for a null `buffer` with a size. */
ZUL_API int CRF1_Fetch(uint32_t console, char *buffer, uint32_t size, uint32_t *count);

/* Registers a command.  `name` and `description` are texts of the given
 * lengths, or zero-terminated and measured when the length is 0; both are
 * copied.  A null or empty description hides the command from the `?`
 * listing.  With `handler` null the command takes subcommands
 * (CRF1_Subcommand).  With a null `command` no handle is made and the
 * command stays for the life of the process.
 * CRF1_OK, CRF1_NoMemory, CRF1_NoResource, CRF1_Unusable, CRF1_Duplicate;
 * CRF1_BadArgument for a null or empty name. */
ZUL_API int CRF1_Register(uint32_t *command, ZULCR_handler_t handler, void *data,
                          const char *name, uint32_t nameLength, const char *description,
                          uint32_t descriptionLength);

/* Adds a subcommand to a command registered without a handler; texts as
 * in CRF1_Register.  The usage list shows the newest first.
 * CRF1_OK, CRF1_NotCommand, CRF1_NoMemory, CRF1_Duplicate,
 * CRF1_HasHandler; CRF1_BadArgument for a null handler or a null or empty
 * name. */
ZUL_API int CRF1_Subcommand(uint32_t command, ZULCR_handler_t handler, void *data,
                            const char *name, uint32_t nameLength, const char *description,
                            uint32_t descriptionLength);

/* Takes a command out of the registry at once.  A line running it keeps
 * the record until the line is over.  CRF1_OK, CRF1_NotCommand. */
ZUL_API int CRF1_Unregister(uint32_t command);

/* Runs one line of `length` bytes (no terminator needed; any bytes) on a
 * console.  Everything the line and its command write waits in the
 * console for CRF1_Fetch; *count (if not null) receives the number of
 * bytes waiting, including what earlier lines left.  Returns
 * CRF1_NotConsole with nothing written, or the line's status: CRF1_OK,
 * CRF1_NoOutputMemory, CRF1_Ambiguous, CRF1_NotFound, a LEX1_ status
 * from scanning or taking the subcommand word, or the result of the last
 * subcommand that ran. */
ZUL_API int CRF1_Execute(uint32_t console, const char *text, uint32_t length, uint32_t *count);

/* ------------------------------------------------------------------ */
/* The console from outside the process: a local socket                */
/* ------------------------------------------------------------------ */

/* CRF1_Listen opens the process's console socket and starts the thread
 * that serves it; `zulctl` is its client.  `directory` (length 0: zero-
 * terminated; null: the default, $XDG_RUNTIME_DIR/zul, /run/zul for root,
 * else /tmp/zul-<uid>) is made if absent and must belong to the process's
 * user and be closed to everyone else.  The socket there is
 * "<program>.<pid>.sock", mode 0600; its path goes to `path` (if not
 * null, cut to `size`).  Only the same user or root may connect; each
 * connection is a console of its own.  Setting ZUL_CONSOLE (1, or a
 * directory) does the same when the library loads.  docs/console.md
 * describes the framing and the limits. */
ZUL_API int CRF1_Listen(const char *directory, uint32_t length, char *path, uint32_t size);

/* Closes the socket and every connection, removes the socket and waits
 * for the server thread to end.  Not from a command run by the server. */
ZUL_API int CRF1_Unlisten(void);

/* Statuses of CRF1_Listen and CRF1_Unlisten besides CRF1_OK. */
enum {
    CRF1_Listening = 20,    /* a socket is open already; its path is given */
    CRF1_NotListening = 21, /* no socket is open in this process */
    CRF1_BadDirectory = 22, /* the directory cannot be made, or is not private */
    CRF1_NoSocket = 23,     /* the socket cannot be made (path too long, bind fails) */
    CRF1_NoThread = 24,     /* the server thread cannot be started */
    CRF1_ServerBusy = 25    /* CRF1_Unlisten from a command that the server runs */
};

ZUL_END_DECLS

#endif /* ZUL_CRF1_H */
