/*
 * zul/bss1.h - basic system services.
 *
 * Once-only construction of process and thread blocks, locks, memory,
 * the clock and thread identity; and, in the sections further down, the
 * environment, information items, name matching, tokenizing and the
 * format engine.
 *
 * Every piece of process-wide state is described by a static
 * ZULSS_descriptor_t that starts as zero bytes.  The first use builds the
 * block; afterwards a reader takes the block from the descriptor's
 * `result` word with one load and one test (ZULSS_PROCESS_BLOCK).
 */
#ifndef ZUL_BSS1_H
#define ZUL_BSS1_H

#include <zul/stc1.h>
#include <zul/rsn1.h>

#include <stdarg.h>

ZUL_BEGIN_DECLS

/* ------------------------------------------------------------------ */
/* Locks                                                               */
/* ------------------------------------------------------------------ */

/* A recursive lock of two words.  All zero bytes are a valid, unused lock:
 * its mutex comes into being at the first acquisition.  The four calls
 * ignore a null lock address. */
typedef struct ZULSS_lock {
    uint32_t created; /* 0: no mutex yet; 1: `handle` is valid */
    void *handle;     /* the platform's mutex */
} ZULSS_lock_t;

ZUL_API void BSS1_InitializeLock(ZULSS_lock_t *lock);
ZUL_API void BSS1_GetLock(ZULSS_lock_t *lock);
ZUL_API void BSS1_ReleaseLock(ZULSS_lock_t *lock);
ZUL_API void BSS1_DestroyLock(ZULSS_lock_t *lock);

/* ------------------------------------------------------------------ */
/* Once-only construction, process and thread blocks                   */
/* ------------------------------------------------------------------ */

typedef void (*ZULSS_constructor_t)(void *argument);
typedef void (*ZULSS_destructor_t)(void *block);

/* The static description of a process or thread block.  `size` 0 makes a
 * word block: the constructor receives the address of one word and stores
 * the block's value there.
 *
 * `once`: 0 at the start, 1..63 while construction runs under that pool
 * slot, negative once construction has ended.
 * `result`: for a process block its address (0 until built); for a thread
 * block its key, from 1 up. */
typedef struct ZULSS_descriptor {
    uint32_t size;
    ZULSS_constructor_t constructor;
    ZULSS_destructor_t destructor;
    int32_t once;
    uintptr_t result;
} ZULSS_descriptor_t;

/* Runs constructor(argument) exactly once for the once word `*once`, with
 * any number of threads racing and from within other constructors.
 * Returns `argument`.  `file` and `line` name the caller in the two abort
 * messages of the machinery.  A null `once` does nothing; a null
 * `constructor` ends the construction with nothing run.  A word above 63,
 * which no construction leaves behind, is refused: the line
 * "<file>(<line>)-<thread>: bad once word <value>" goes to standard
 * error and nothing runs. */
ZUL_API void *BSS1_InitializeOnce(int32_t *once, ZULSS_constructor_t constructor,
                                  void *argument, const char *file, int line);

/* Runs function(argument) now if no construction is under way in the
 * process, otherwise after the last one has ended.  A null `function` is
 * ignored. */
ZUL_API void BSS1_InitializeEpilog(ZULSS_constructor_t function, void *argument);

/* The descriptor's `result`, building the process block first if need be.
 * Never null for a block with a size: out of memory ends the process.
 * Null for a null descriptor. */
ZUL_API void *BSS1_ResolveProcess(ZULSS_descriptor_t *descriptor, const char *file, int line);

/* The calling thread's block for this descriptor (a word block: the word's
 * value); null if memory ran out or the descriptor is null. */
ZUL_API void *BSS1_ResolveThread(ZULSS_descriptor_t *descriptor, const char *file, int line);

/* Runs the destructors of the calling thread's blocks, newest first, and
 * frees its table.  `table` is the thread's table or null (the same). */
ZUL_API void BSS1__DropThread(void *table);

/* BSS1__DropThread(null), then ends the calling thread. */
ZUL_API void BSS1_EndThread(void) __attribute__((noreturn));

/* Records the program's arguments and name, once each.  The arguments are
 * read up to *argc or to the first null element, whichever comes first.
 * Returns 0. */
ZUL_API int BSS1_Main(int *argc, char **argv, const char *name);

/* The process block of a descriptor: one acquire load (a plain load on
 * x86-64) and one test once the block exists. */
static inline void *ZULSS_ProcessBlock(ZULSS_descriptor_t *descriptor, const char *file, int line)
{
    uintptr_t r = __atomic_load_n(&descriptor->result, __ATOMIC_ACQUIRE);
    if (__builtin_expect(r != 0, 1))
        return (void *)r;
    return BSS1_ResolveProcess(descriptor, file, line);
}
#define ZULSS_PROCESS_BLOCK(descriptor) ZULSS_ProcessBlock((descriptor), __FILE__, __LINE__)
#define ZULSS_THREAD_BLOCK(descriptor) BSS1_ResolveThread((descriptor), __FILE__, __LINE__)

/* ------------------------------------------------------------------ */
/* Memory, clock, sleep and thread identity                            */
/* ------------------------------------------------------------------ */

typedef struct ZULSS_time {
    uint32_t seconds;     /* calendar seconds, advanced by the tick counter */
    uint32_t nanoseconds; /* below one second, a multiple of 1,000,000 */
} ZULSS_time_t;

/* The memory calls return a status and store a reason code through
 * `reason`, which may be null.  A null `out` (BSS1_GetMem) or `available`
 * (BSS1_QueryMem) gives STC1_BadArgument with reason RSN1_Arguments, and
 * nothing is allocated. */
ZUL_API int BSS1_GetMem(size_t size, void **out, int *reason);
ZUL_API int BSS1_FreeMem(size_t size, void *memory, int *reason);
ZUL_API int BSS1_QueryMem(long *available, int *reason);
ZUL_API uint32_t BSS1_GetTime(ZULSS_time_t *value);
ZUL_API void BSS1_Sleep(uint32_t seconds);
ZUL_API uint32_t BSS1_ThreadID(void);

/* ------------------------------------------------------------------ */
/* Match and tokenize                                                  */
/* ------------------------------------------------------------------ */

/* Compares two names, ignoring the case of ASCII letters, with no
 * wildcards.  Character classes are those of the C locale whatever locale
 * the program has set.  With `length` 0 both texts are compared in full
 * (texts of different lengths give the difference of the lengths);
 * otherwise exactly `length` bytes are compared and zero bytes do not stop
 * the comparison.  Returns 0 when they match, else the difference of the
 * first unequal bytes taken as signed 8-bit values.  A null text sorts
 * before any other. */
ZUL_API int BSS1_Match(const char *first, const char *second, uint32_t length);

/* Takes the next token from the counted text at *text (*remaining bytes,
 * no terminator needed).  `delimiters` is a zero-terminated set, or null
 * for white space (blank, LF, CR, HT, VT, FF).  White space delimiters
 * separate tokens and vanish; any other delimiter comes back as a token of
 * one byte.  A zero byte is skipped between tokens and ends a token.
 *
 * Stores the token in *token / *tokenLength and returns STC1_Success, or
 * STC1_NotThere with a null token of length 0.  *text and *remaining move
 * behind the token, unless `text == token` and `remaining == tokenLength`:
 * then the pair is overwritten with the token, which trims a name in place.
 * Returns STC1_BadArgument if one of the four addresses is null. */
ZUL_API int BSS1_Tokenize(const char **text, uint32_t *remaining, const char **token,
                          uint32_t *tokenLength, const char *delimiters);

/* ------------------------------------------------------------------ */
/* Format engine                                                       */
/* ------------------------------------------------------------------ */

/* A sink receives the output of a format object.
 *
 * Record sink (BSS1_NewFormat): `data` is the record area and `count` the
 * number of records in it.  A record is one length byte - bits 0-6 the
 * length n of its text, bit 7 (ZULSS_RECORD_CONTINUED) set when the line
 * goes on in the next record - followed by n bytes of text, with no line
 * end and no terminator.  Records follow each other without a gap and a
 * zero byte follows the last one.
 *
 * Text sink (BSS1_BeginFormat, BSS1_Format): `data` is plain text, every
 * line ended by a line feed, and `count` its length in bytes; the text is
 * not zero-terminated.
 *
 * Either kind may change the bytes it is given (a record sink may fill
 * the margin of each record, for instance) but must not keep `data` after
 * returning.  A call with a null
 * `data` and a count of 0 says that the object is about to be destroyed.
 * The result is handed to the caller of BSS1_FlushFormat / BSS1_EndFormat. */
typedef int (*ZULSS_sink_t)(void *argument, char *data, uint32_t count);

#define ZULSS_RECORD_CONTINUED 0x80u
#define ZULSS_RECORD_LENGTH 0x7Fu

/* The format object.  One heap allocation, owned by its creator until
 * BSS1_EndFormat, used by one thread at a time; the record area follows
 * the fields in the same allocation.  Callers treat it as opaque. */
typedef struct ZULSS_format {
    void *argument;     /* passed to the sink unchanged */
    ZULSS_sink_t sink;
    char *base;         /* start of the record area */
    char *current;      /* the record being built; its length byte goes here */
    uint32_t size;      /* bytes of the record area */
    uint32_t available; /* bytes not yet taken by finished records */
    uint32_t records;   /* finished records in the area */
    uint32_t used;      /* length so far of the record being built */
    uint32_t limit;     /* greatest record length: 127 */
    uint32_t margin;    /* bytes at the start of each record left alone */
    uint32_t kept;      /* not 0: BSS1_EndFormat leaves the object to its sink */
} ZULSS_format_t;

/* Creates a format object for a record sink, with room for at least
 * `size` bytes of records (0: any).  `margin` bytes at the start of every
 * record are left for the sink to fill; a margin not below the record
 * limit (127) is ignored.  Stores the object, or null, in *object.
 * Returns STC1_Success, STC1_Shortage, or STC1_BadArgument for a null
 * `object` or `sink`. */
ZUL_API int BSS1_NewFormat(ZULSS_format_t **object, void *argument, ZULSS_sink_t sink,
                           uint32_t size, uint32_t margin);

/* Creates a format object for a text sink.  Stores the object in *object
 * on success only.  Returns STC1_Success, STC1_Shortage, or
 * STC1_BadArgument for a null `object` or `sink`. */
ZUL_API int BSS1_BeginFormat(ZULSS_format_t **object, void *argument, ZULSS_sink_t sink);

/* Formats `format` with `arguments` into the object (see docs/format.md
 * for the directives: an integer is read at the width of its size letter
 * as printf reads it, `*` takes an int, `p` a pointer, floating
 * conversions a double, or a long double with `L`).  A line left open
 * goes on in the next call.  Returns STC1_BadArgument for a null
 * object or format, doing nothing; otherwise STC1_Success, whatever the
 * sink answered. */
ZUL_API int BSS1_ProcessFormat(ZULSS_format_t *object, const char *format, va_list arguments)
    ZUL_PRINTF(2, 0);
ZUL_API int BSS1_PrintFormat(ZULSS_format_t *object, const char *format, ...) ZUL_PRINTF(2, 3);

/* Hands everything gathered to the sink; an open line is handed over
 * marked as continued and goes on in the next record.  Returns the sink's
 * result, 0 if there was nothing to hand over, or STC1_BadArgument for a
 * null object. */
ZUL_API int BSS1_FlushFormat(ZULSS_format_t *object);

/* Hands over the rest (an open line as a finished one), calls the sink
 * with null and 0, frees the object and returns the result of that last
 * call; STC1_BadArgument for a null object. */
ZUL_API int BSS1_EndFormat(ZULSS_format_t *object);

/* BSS1_BeginFormat, BSS1_ProcessFormat and BSS1_EndFormat in one call, for
 * a text sink.  Returns the result of the first if it failed, else that
 * of the second. */
ZUL_API int BSS1_Format(void *argument, ZULSS_sink_t sink, const char *format, va_list arguments)
    ZUL_PRINTF(3, 0);

/* ------------------------------------------------------------------ */
/* Environment                                                         */
/* ------------------------------------------------------------------ */

/* Settings are named texts, looked up in the process environment and in
 * the variables read from environment files at the first lookup (see
 * docs/environment.md).  Names compare without regard to case.
 *
 * `name` may hold alternatives separated by "=": "A=B" gives the value of
 * A if it has one, else that of B.  The result belongs to the library or
 * the runtime and must be neither changed nor freed; a value read from a
 * file stays valid until the process ends.  Any thread, any time. */

/* The value of `name`, or null. */
ZUL_API const char *BSS1_LocateEnv(const char *name);

/* The value of `name`, or `fallback` (itself, not a copy; may be null).
 * Traced: the outcome is written to the log under DETAIL, ANY, or STATE
 * and DETAIL together. */
ZUL_API const char *BSS1_GetEnv(const char *name, const char *fallback);

/* ------------------------------------------------------------------ */
/* Information items and displays                                      */
/* ------------------------------------------------------------------ */

/* Facts about the process and the machine as short texts, worked out once
 * at the first call (docs/logging.md lists them). */
enum {
    BSS1_INFO_SYSTEMNAME = 0,  /* the machine's name */
    BSS1_INFO_OSNAME = 1,      /* the operating system's name */
    BSS1_INFO_OSVERSION = 2,   /* its release */
    BSS1_INFO_PROCESSID = 3,   /* decimal process ID */
    BSS1_INFO_PROGRAM = 4,     /* program file name, no directory or extension */
    BSS1_INFO_USER = 5,
    BSS1_INFO_JOB = 6,         /* never has a value */
    BSS1_INFO_TASK = 7,
    BSS1_INFO_SYSTEMTYPE = 8,  /* items 1 and 2 joined by ";" */
    BSS1_INFO_COMMANDLINE = 9,
    BSS1_INFO_MACROENV = 10,
    BSS1_INFO_STARTDATE = 11,  /* of the first call, "%Y/%m/%d" */
    BSS1_INFO_STARTTIME = 12,  /* of the first call, "%H:%M:%S" */
    BSS1_INFO_CPUCOUNT = 13,
    BSS1_INFO_PAGESIZE = 14,   /* "4K" */
    BSS1_INFO_PHYSMEMORY = 15, /* megabytes, "16384M" */
    BSS1_INFO_VIRTMEMORY = 16, /* megabytes of address space */
    BSS1_INFO_PAGESPACE = 17,  /* megabytes of swap */
    BSS1_INFO_COUNT = 18
};

/* Copies item `item` to `buffer` (`size` bytes; both may be 0) and returns
 * its length: the full length with a null buffer, else at most `size`.  A
 * NUL follows the text only when the text is shorter than `size`.  0 for
 * an item number of 18 or more and for an item with no value.  Any
 * thread; no lock. */
ZUL_API uint32_t BSS1_Info(uint32_t item, char *buffer, uint32_t size);

/* Writes the header of a log - the labelled items, ZUL_RAS1 and
 * ZUL_ENVPATH - to a format object.  Returns 0. */
ZUL_API int BSS1_DisplayEnvironment(ZULSS_format_t *object);

/* Writes `length` bytes at `data` as a hexadecimal dump, 16 bytes a line,
 * runs of equal lines folded into one "Same as above" line.  Starts on a
 * fresh line.  Returns 0. */
ZUL_API int BSS1_Dump(ZULSS_format_t *object, const void *data, uint32_t length);

/* ------------------------------------------------------------------ */
/* Configuration variables                                             */
/* ------------------------------------------------------------------ */

/* A configuration variable is a setting that may change while the
 * process runs: the library keeps its value, and every new value goes
 * through the variable's handler, which answers 0 to accept it or a
 * status of its own.  A refused value is kept all the same, marked
 * invalid.  Operators list and set variables with the console command
 * bss1 config (docs/configuration.md).  Any thread; the handler runs
 * under the variables' lock, which is recursive, so a handler may query
 * variables. */

/* A handler: `value` is `length` bytes, not terminated, and stays valid
 * until the next change; null with length 0 when there is no value. */
typedef int (*ZULSS_confighandler_t)(const char *name, void *context, const char *value,
                                     uint32_t length);

/* Registers a variable.  Its name is `name` up to the first "=", or all
 * of it; the whole text goes to BSS1_GetEnv, so "A=B" registers A with
 * the first value of A, else B, else `initial` (may be null).  The
 * handler is called with that first value at once.
 *   STC1_Duplicate     a variable of that name exists (case does not count)
 *   STC1_Shortage      no memory
 *   STC1_BadArgument   a null or empty name, or a null handler
 * otherwise the handler's answer. */
ZUL_API int BSS1_ConfigRegister(const char *name, const char *initial,
                                ZULSS_confighandler_t handler, void *context);

/* Sets a variable, named exactly (case counts), to `length` bytes at
 * `value`.  STC1_NotThere, STC1_Shortage (the old value stays, marked
 * with that status), STC1_BadArgument (null name, or null value with a
 * length), otherwise the handler's answer. */
ZUL_API int BSS1_ConfigSet(const char *name, const char *value, uint32_t length);

/* A variable's value (the library's, valid until the next change; null
 * if none was ever set), its length and its status; each address may be
 * null.  STC1_Success, or STC1_NotThere with nothing stored. */
ZUL_API int BSS1_ConfigQuery(const char *name, const char **value, uint32_t *length,
                             int32_t *status);

/* Walks the variables, newest first: set *cursor to 0, then each call
 * stores the next name in *name and adds 1 to *cursor.  STC1_Success, or
 * STC1_Warning past the end (*name untouched, *cursor still counts up);
 * STC1_BadArgument for a null address. */
ZUL_API int BSS1_ConfigEnum(uint32_t *cursor, const char **name);

ZUL_END_DECLS

#endif /* ZUL_BSS1_H */
