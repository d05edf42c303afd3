/*
 * zul/ras1.h - the trace: unit and entry records, the class word and its
 * protocol.
 *
 * Every traced function asks one question at its start: which trace
 * classes are active for me now?  The answer is cached in a static entry
 * record of the function, and one process-wide sync word makes every
 * cached answer stale at once.  While nothing changes, the question costs
 * a few plain loads and a compare, with no lock and no call; a stale
 * record goes once through RAS1_Sync, which works the answer out again.
 *
 * A source unit declares its records like this (C or C++):
 *
 *     RAS1_DECLARE_UNIT(RAS1_LIBRARY, "1.0", "MYCOMP");
 *
 *     int frob(size_t n, const char *peer)
 *     {
 *         RAS1_DECLARE_ENTRY(entry, "frob", RAS1_PUBLIC);
 *         RAS1_ENTRY(entry, classes, flow);
 *         RAS1_LOG(entry, classes, RAS1_DETAIL, "read %zu bytes from %s\n", n, peer);
 *         RAS1_EXIT_VALUE(entry, flow, 0);
 *         return 0;
 *     }
 *
 * docs/tracing.md tells the whole protocol.
 */
#ifndef ZUL_RAS1_H
#define ZUL_RAS1_H

#include <zul/stc1.h>
#include <zul/bss1.h>

ZUL_BEGIN_DECLS

/* ------------------------------------------------------------------ */
/* The class word                                                      */
/* ------------------------------------------------------------------ */

/* Four fields share the 32-bit class word: trace kinds (0x000000FF), the
 * match mode ANY (0x00000100), entry kinds (0x00001E00) and unit kinds
 * (0xFFFFE000).  In a record the word says what the function or unit is;
 * in `active` it says which kinds of line are wanted now. */
#define RAS1_EVERYTRACE 0x000000FFu
#define RAS1_EVERYENTRY 0x00001E00u
#define RAS1_EVERYUNIT 0xFFFFE000u

/* Trace kinds: one bit for each kind of line. */
#define RAS1_ERROR 0x00000080u
#define RAS1_FLOW 0x00000040u
#define RAS1_TIME 0x00000020u
#define RAS1_STATE 0x00000010u
#define RAS1_INPUT 0x00000008u
#define RAS1_OUTPUT 0x00000004u
#define RAS1_METRICS 0x00000002u
#define RAS1_DETAIL 0x00000001u

/* In a selecting word: match any of the bits rather than all of them.  In
 * `active`: some tracing is configured in the process. */
#define RAS1_ANY 0x00000100u

/* Entry kinds: what kind of function an entry record stands for. */
#define RAS1_MINOR 0x00001000u
#define RAS1_PRIVATE 0x00000800u
#define RAS1_RESTRICTED 0x00000400u
#define RAS1_PUBLIC 0x00000200u

/* Unit kinds: what kind of code a unit record stands for. */
#define RAS1_APPLICATION 0x80000000u
#define RAS1_SUBSYSTEM 0x40000000u
#define RAS1_LIBRARY 0x20000000u
#define RAS1_KERNEL 0x10000000u
#define RAS1_DATABASE 0x08000000u
#define RAS1_PRESENTATION 0x04000000u
#define RAS1_CLIENT 0x02000000u
#define RAS1_SERVER 0x01000000u
#define RAS1_NETWORK 0x00800000u
#define RAS1_OBJECT 0x00400000u
#define RAS1_FILE 0x00200000u
#define RAS1_THREAD 0x00100000u
#define RAS1_WINDOW 0x00080000u
#define RAS1_VIEW 0x00040000u
#define RAS1_STORAGE 0x00020000u
#define RAS1_TOOLKIT 0x00010000u
#define RAS1_AGENT 0x00004000u
#define RAS1_PROBE 0x00008000u
#define RAS1_MANAGER 0x00002000u

/* ------------------------------------------------------------------ */
/* Records                                                             */
/* ------------------------------------------------------------------ */

/* The record format level of the records that these macros lay down. */
#define RAS1_UNIT_FORMAT 185

/* The build record of a link unit: NUL-terminated values (never null,
 * maybe empty) and free comment lines.  Values 15, 16 and 17 (component
 * code, build serial number, driver name) identify a build. */
typedef struct ZULRA_build {
    uint32_t valueCount;
    uint32_t commentCount;
    const char *const *values;
    const char *const *comments;
} ZULRA_build_t;

/* Stores the address of the link unit's build record in *build. */
typedef void (*ZULRA_buildinfo_t)(ZULRA_build_t **build);

/* One writable static record for each source unit.  The texts are
 * NUL-terminated and writable: the unit's first sync may shorten `file`
 * to its last path component, in lower case, in place. */
typedef struct ZULRA_unit {
    int32_t format;     /* record format level: RAS1_UNIT_FORMAT */
    uint32_t classes;   /* the unit's kinds; constant */
    char *file;         /* source unit name */
    uint32_t fileLen;
    char *date;         /* compile date, "Jul  9 2004" */
    uint32_t dateLen;
    char *time;         /* compile time, "09:10:27" */
    uint32_t timeLen;
    char *level;        /* revision level, free text */
    uint32_t levelLen;
    char *comp;         /* component name; "*" when the unit names none */
    uint32_t compLen;
    uint32_t registered; /* 1 once the unit is in the list of units */
    ZULRA_buildinfo_t buildInfo; /* may be null; used from format 180 up */
} ZULRA_unit_t;

/* One writable static record for each traced function.  It is current
 * while `syncValue` equals `*syncWord`.  `syncWord` first points at the
 * unit's private start word, which holds 1 and is never written, so every
 * record starts stale; the first sync points it at the process's sync
 * word.  `active` and `syncValue` form one aligned 64-bit pair that the
 * library publishes with a single atomic store and the reads below load
 * with a single atomic load, so a record found current always holds the
 * word of the sync that recorded its value. */
typedef struct ZULRA_entry {
    ZULRA_unit_t *unit;
    const char *name;   /* function name, NUL-terminated */
    uint32_t nameLen;
    uint32_t line;      /* source line of the function's start */
    const uint32_t *syncWord;
    uint32_t classes;   /* the function's entry kind; constant */
    uint32_t active __attribute__((aligned(8))); /* cached class word */
    uint32_t syncValue; /* *syncWord when `active` was cached */
} ZULRA_entry_t;

/* The pair `active` (low half) and `syncValue` (high half) as one word. */
typedef uint64_t ZULRA_pair_t __attribute__((may_alias));

static inline uint64_t RAS1__LoadPair(const ZULRA_entry_t *entry)
{
    return __atomic_load_n((const ZULRA_pair_t *)&entry->active, __ATOMIC_ACQUIRE);
}

/* Lays down this source unit's record and private start word, at file
 * scope, once per source unit.  `file`, `level` and `comp` are string
 * literals; RAS1_DECLARE_UNIT names the unit after __FILE__ and has no
 * build record. */
#define RAS1_DECLARE_UNIT_EX(file_, classes_, level_, comp_, buildInfo_)                \
    static char ZULRA_unitFile_[] = file_;                                               \
    static char ZULRA_unitDate_[] = __DATE__;                                            \
    static char ZULRA_unitTime_[] = __TIME__;                                            \
    static char ZULRA_unitLevel_[] = level_;                                             \
    static char ZULRA_unitComp_[] = comp_;                                               \
    __attribute__((unused)) static const uint32_t ZULRA_unitStart_ = 1;                  \
    __attribute__((unused)) static ZULRA_unit_t ZULRA_unit_ = {                          \
        RAS1_UNIT_FORMAT, (classes_),                                                    \
        ZULRA_unitFile_, (uint32_t)(sizeof ZULRA_unitFile_ - 1),                         \
        ZULRA_unitDate_, (uint32_t)(sizeof ZULRA_unitDate_ - 1),                         \
        ZULRA_unitTime_, (uint32_t)(sizeof ZULRA_unitTime_ - 1),                         \
        ZULRA_unitLevel_, (uint32_t)(sizeof ZULRA_unitLevel_ - 1),                       \
        ZULRA_unitComp_, (uint32_t)(sizeof ZULRA_unitComp_ - 1),                         \
        0, (buildInfo_)}

#define RAS1_DECLARE_UNIT(classes_, level_, comp_) \
    RAS1_DECLARE_UNIT_EX(__FILE__, classes_, level_, comp_, 0)

/* Lays down the entry record `var` of one traced function of this unit,
 * at file scope or as the first line of the function.  `name` is a string
 * literal; the record's line is the line of the declaration. */
#define RAS1_DECLARE_ENTRY(var, name_, classes_)                                         \
    static ZULRA_entry_t var = {&ZULRA_unit_, name_, (uint32_t)(sizeof name_ - 1),      \
                                (uint32_t)__LINE__, &ZULRA_unitStart_, (classes_), 0, 0}

/* ------------------------------------------------------------------ */
/* Sync and events                                                     */
/* ------------------------------------------------------------------ */

/* Works out the class word now active for `entry`, caches it in the
 * record and returns it.  Any thread, any time; 0 while tracing is
 * suspended (the record then stays stale) and for a null entry. */
ZUL_API uint32_t RAS1_Sync(ZULRA_entry_t *entry);

enum {
    RAS1_EVENT_ENTRY = 0,     /* "Entry" line */
    RAS1_EVENT_EXITVALUE = 1, /* "Exit: 0x%X" line; one more argument: the
                                 result as an unsigned long long, printed in
                                 hexadecimal with all its digits */
    RAS1_EVENT_EXIT = 2,      /* "Exit" line */
    RAS1_EVENT_COMPILED = 3,  /* date, time, levelLen, level, comp of the unit */
    RAS1_EVENT_CLASSES = 4,   /* length, length, text of the class names */
    RAS1_EVENT_SUSPEND = 5,   /* hold off tracing; counted */
    RAS1_EVENT_RESUME = 6     /* undo one suspend */
};

/* Codes 0 to 4 write their line for `entry` under `line` without testing
 * any class: the caller has.  The result is the status of the write;
 * callers may ignore it.  Codes 5 and 6 count suspensions; each edge of
 * the count makes every record stale, and the result is 0.  Any other
 * code returns STC1_BadArgument and does nothing. */
ZUL_API int RAS1_Event(ZULRA_entry_t *entry, int line, int event, ...);

/* Flags of an exit routine's `events`. */
#define RAS1_EXIT_UNIT 1u   /* a unit became known */
#define RAS1_EXIT_ENTRY 2u  /* an entry became known */
#define RAS1_EXIT_FILTER 4u /* a filter became known */

struct ZULRA_elem;

/* What an exit routine is told.  Units and entries: `unit` and `entry`
 * set, the rest 0.  Filters: `elements` and `elementCount` set. */
typedef struct ZULRA_notice {
    uint32_t size; /* sizeof(ZULRA_notice_t) */
    ZULRA_unit_t *unit;
    ZULRA_entry_t *entry;
    struct ZULRA_elem *elements;
    uint32_t elementCount;
} ZULRA_notice_t;

/* An exit routine: called with the event flags, the address of the word
 * given at registration, and the notice.  Its result is ignored.  It runs
 * with no lock of the trace held. */
typedef int (*ZULRA_exitroutine_t)(uint32_t events, void **user, ZULRA_notice_t *notice);

/* Adds an exit routine; the newest runs first.  Routines stay for the
 * life of the process.  0; STC1_Shortage without memory; STC1_BadArgument
 * for a null routine. */
ZUL_API int RAS1_RegisterExit(void *user, ZULRA_exitroutine_t routine);

/* ------------------------------------------------------------------ */
/* Enumeration of units, entries and build records                     */
/* ------------------------------------------------------------------ */

/* The lists that RAS1_EnumInfo reads.  A unit enters at its first sync,
 * an entry at its first full read, a build record with the first unit of
 * its link unit.  Position 0 is the newest member. */
#define RAS1_LIST_UNITS 0u   /* ZULRA_unit_t pointers */
#define RAS1_LIST_ENTRIES 1u /* ZULRA_entry_t pointers */
#define RAS1_LIST_BUILDS 2u  /* ZULRA_build_t pointers */

/* Copies up to *count pointers of list `list`, from position *index on,
 * into `records`; on return *count is how many were stored and *index
 * has moved on by as many.  Start with *index 0 and call until the
 * result is not 0.
 *   0                 pointers were stored (fewer than asked: the end was
 *                     reached); also with *count 0 inside the list
 *   STC1_NotThere     *index lies at or behind the end; *count is 0
 *   STC1_BadArgument  `list` above 2 or a null argument; *count is 0
 * Members that arrive between two calls come in at position 0 and may
 * make a walk meet a member twice; none that was there at the start is
 * missed. */
ZUL_API int RAS1_EnumInfo(uint32_t list, void **records, uint32_t *index, uint32_t *count);

/* ------------------------------------------------------------------ */
/* The two reads of a class word                                       */
/* ------------------------------------------------------------------ */

/* The full read: the cached word while the record is current, else the
 * result of RAS1_Sync.  No lock; no call on the fast path. */
static inline uint32_t RAS1_ReadClass(ZULRA_entry_t *entry)
{
    uint64_t pair = RAS1__LoadPair(entry);
    const uint32_t *word = __atomic_load_n(&entry->syncWord, __ATOMIC_RELAXED);
    if (__builtin_expect((uint32_t)(pair >> 32) == __atomic_load_n(word, __ATOMIC_RELAXED), 1))
        return (uint32_t)pair;
    return RAS1_Sync(entry);
}

/* The quick read: the cached word while the record is current, else 0.
 * It never synchronizes, so it may run where RAS1_Sync must not. */
static inline uint32_t RAS1_PeekClass(ZULRA_entry_t *entry)
{
    uint64_t pair = RAS1__LoadPair(entry);
    const uint32_t *word = __atomic_load_n(&entry->syncWord, __ATOMIC_RELAXED);
    if (__builtin_expect((uint32_t)(pair >> 32) == __atomic_load_n(word, __ATOMIC_RELAXED), 1))
        return (uint32_t)pair;
    return 0;
}

/* ------------------------------------------------------------------ */
/* The protocol of a traced function                                   */
/* ------------------------------------------------------------------ */

/* True when every bit of `bits` is set in the class word `classes`. */
#define RAS1_WANTS(classes, bits) (((classes) & (bits)) == (bits))

/* Writes the Entry line when `classes` has FLOW; returns whether it did,
 * which is the flag that decides the Exit line. */
static inline int RAS1__Enter(ZULRA_entry_t *entry, uint32_t classes, int line)
{
    if (__builtin_expect((classes & RAS1_FLOW) != 0, 0)) {
        RAS1_Event(entry, line, RAS1_EVENT_ENTRY);
        return 1;
    }
    return 0;
}

/* The full protocol.  At the function's start: read the class word once
 * into the local `classes` and write the Entry line under FLOW, keeping
 * the local flag `flow`.  Every later test uses the local, so a change of
 * classes takes effect at the next call.  A function that writes no
 * message, or no Exit line, leaves a local unused without a warning. */
#define RAS1_ENTRY(entry, classes, flow)                                \
    __attribute__((unused)) uint32_t classes = RAS1_ReadClass(&(entry)); \
    __attribute__((unused)) int flow = RAS1__Enter(&(entry), classes, __LINE__)

/* The quick protocol: the quick read, no Entry or Exit lines (the flag is
 * 0).  For code that must not call RAS1_Sync. */
#define RAS1_QUICK(entry, classes, flow)                                \
    __attribute__((unused)) uint32_t classes = RAS1_PeekClass(&(entry)); \
    __attribute__((unused)) int flow = 0

/* At every way out.  The Exit line depends on the flag, not on the class
 * word, so Entry and Exit lines come in pairs within one call. */
#define RAS1_EXIT(entry, flow)                                          \
    do {                                                                \
        if (__builtin_expect((flow) != 0, 0))                           \
            RAS1_Event(&(entry), __LINE__, RAS1_EVENT_EXIT);            \
    } while (0)

/* The result goes to RAS1_Event as an unsigned long long holding the
 * bits of its type: a pointer or a 64-bit integer whole, a 32-bit or
 * smaller integer as its unsigned value of that width (-1 as an int shows
 * as 0xFFFFFFFF). */
#define RAS1__EXIT_BITS(value)                                          \
    ((unsigned long long)(uintptr_t)(value) &                           \
     (~0ull >> (sizeof(value) >= 8 ? 0 : 64 - 8 * sizeof(value))))

#define RAS1_EXIT_VALUE(entry, flow, value)                             \
    do {                                                                \
        if (__builtin_expect((flow) != 0, 0))                           \
            RAS1_Event(&(entry), __LINE__, RAS1_EVENT_EXITVALUE,        \
                       RAS1__EXIT_BITS(value));                         \
    } while (0)

/* A message in one statement: when the class word `classes` has every
 * bit of `bits`, writes the message for `entry` under the line of the
 * call, from a format of the dialect of BSS1_PrintFormat and its values,
 * which the compiler checks like printf's.  The line's kind, given to the
 * store's write routine (RAS1_WRITE_KIND), is the highest trace kind
 * among `bits`: ERROR before FLOW, TIME, STATE, INPUT, OUTPUT, METRICS
 * and DETAIL, so a line tested on STATE and DETAIL is a STATE line; a
 * line tested on ANY alone has no kind.  Off, it costs the test of the
 * local and nothing else:
 *
 *     RAS1_LOG(entry, classes, RAS1_DETAIL, "read %zu bytes from %s\n", n, peer);
 *
 * A call written over several lines shows the line of its first line
 * with gcc and of its last with clang. */
#define RAS1_LOG(entry, classes, bits, ...) RAS1_LOG_KIND(entry, classes, bits, bits, __VA_ARGS__)

/* The same with the kind given apart from the bits tested: for a line
 * that is tested on ANY but reports an error, say. */
#define RAS1_LOG_KIND(entry, classes, bits, kind, ...)                  \
    do {                                                                \
        if (RAS1_WANTS(classes, bits))                                  \
            RAS1_Log(&(entry), __LINE__, (kind), __VA_ARGS__);          \
    } while (0)

/* A message and a hexadecimal dump of `length` bytes at `address`, in one
 * statement, tested and of the kind as RAS1_LOG.  A dump without a
 * message gives NULL as its format. */
#define RAS1_DUMP(entry, classes, bits, address, length, ...)                     \
    do {                                                                          \
        if (RAS1_WANTS(classes, bits))                                            \
            RAS1_LogDump(&(entry), __LINE__, (bits), (address), (length), __VA_ARGS__); \
    } while (0)

/* ------------------------------------------------------------------ */
/* Log output: stores, lines, environment routines                     */
/* ------------------------------------------------------------------ */

/* Flags that a store's write routine is given with each flush. */
#define RAS1_WRITE_UNCONFIGURED 1u /* no default class and no filter: the
                                      writer tested nothing */
#define RAS1_WRITE_FORMAT 4u       /* from RAS1_Format, RAS1_Printf, RAS1_Log,
                                      RAS1_Event */
#define RAS1_WRITE_DUMP 8u         /* from RAS1_Dump, RAS1_LogDump */

/* Bits 8 to 15 of the flags carry the trace kind of the lines of the
 * flush: one trace-kind bit (RAS1_ERROR ... RAS1_DETAIL) shifted left by
 * RAS1_WRITE_KIND_SHIFT, or none.  RAS1_WRITE_KIND(flags) gives it back
 * as its class bit, so that RAS1_WRITE_KIND(flags) == RAS1_ERROR for an
 * error line, and 0 for a line of no kind.
 *   RAS1_LOG, RAS1_DUMP, RAS1_Log,    the highest trace kind of the bits
 *   RAS1_LogDump                      they were given
 *   Entry and Exit lines              FLOW
 *   Compiled and class lines          DETAIL
 *   the library's own error lines     ERROR
 *   RAS1_Printf, RAS1_Format,         none
 *   RAS1_Dump, the opening block,
 *   the build banner
 * RAS1_WRITE_AS(kind) makes the bits for RAS1_BeginFormat's `flags`. */
#define RAS1_WRITE_KIND_SHIFT 8
#define RAS1_WRITE_KIND_MASK 0x0000FF00u
#define RAS1_WRITE_KIND(flags) (((flags) & RAS1_WRITE_KIND_MASK) >> RAS1_WRITE_KIND_SHIFT)
#define RAS1_WRITE_AS(kind) (((uint32_t)(kind) & RAS1_EVERYTRACE) << RAS1_WRITE_KIND_SHIFT)

/* A store's write routine: `text` holds whole lines, each ended by a line
 * feed, not NUL-terminated.  A line is never split between calls, however
 * long; a message of several lines may arrive in several calls.
 * Called under the store's lock, once per flush; its result is the
 * flush's result.  It must not call RAS1_Sync (directly or through a
 * traced function with the full read). */
typedef int (*ZULRA_write_t)(void *data, const char *text, uint32_t length,
                             ZULRA_entry_t *entry, uint32_t flags);

/* An environment routine: writes text of its own into every line head,
 * between the thread ID and the unit name.  Its result is ignored. */
typedef int (*ZULRA_envroutine_t)(void *user, ZULSS_format_t *format);

/* Registers a store: a named sink for lines.  `name` is 1 to 8 bytes (no
 * zero-terminated form) and compares without case; `classes` is the
 * store's class word: 0 takes only what no class selects, RAS1_ANY alone
 * (256) makes the store the default store if there is none yet, any other
 * word is completed.  0; STC1_BadArgument for a bad length or a null
 * routine; STC1_Duplicate if the name is taken; STC1_Shortage; and
 * STC1_Warning when the class word was completed (the store is
 * registered). */
ZUL_API int RAS1_RegisterStore(const char *name, uint32_t length, void *data,
                               ZULRA_write_t write, uint32_t classes);

/* Adds an environment routine; the newest runs first.  0; STC1_Shortage;
 * STC1_BadArgument for a null routine. */
ZUL_API int RAS1_RegisterEnvironment(void *user, ZULRA_envroutine_t routine);

/* Opens a line for `entry` at source line `line`: picks the store by the
 * record's cached class word, writes the opening block if the store has
 * not had a line yet, then the line head.  The caller writes the message
 * into *format and must end it with BSS1_EndFormat.  No class is tested.
 * `flags` go to the store with the lines (RAS1_WRITE_FORMAT, and the
 * kind by RAS1_WRITE_AS, say); the opening block goes without a kind.
 * 0 with *format set; STC1_Authority no store; STC1_SystemError tracing
 * suspended; STC1_Shortage; STC1_BadArgument for a null entry or format;
 * *format is null on failure. */
ZUL_API int RAS1_BeginFormat(ZULRA_entry_t *entry, int line, uint32_t flags,
                             ZULSS_format_t **format);

/* One message in the format dialect of BSS1_PrintFormat (docs/format.md),
 * a line of no trace kind (RAS1_Log gives one).  A message without a
 * final line feed still ends its line.  Results as RAS1_BeginFormat. */
ZUL_API int RAS1_Format(ZULRA_entry_t *entry, int line, const char *text, va_list args)
    ZUL_PRINTF(3, 0);
ZUL_API int RAS1_Printf(ZULRA_entry_t *entry, int line, const char *text, ...) ZUL_PRINTF(3, 4);

/* "<0x%p,0x%lX> " with `address` and `length`, then the message if `text`
 * is not null, then a hexadecimal dump of the memory. */
ZUL_API int RAS1_Dump(ZULRA_entry_t *entry, int line, const void *address, uint32_t length,
                      const char *text, ...) ZUL_PRINTF(5, 6);

/* RAS1_Printf and RAS1_Dump for lines of a trace kind, which reaches the
 * store in its flags: the highest trace-kind bit of `kinds` (ERROR before
 * FLOW ... before DETAIL); other bits are ignored, and none gives a line
 * of no kind.  No class is tested: RAS1_LOG and RAS1_DUMP test and call
 * these.  Results as RAS1_BeginFormat. */
ZUL_API int RAS1_Log(ZULRA_entry_t *entry, int line, uint32_t kinds, const char *text, ...)
    ZUL_PRINTF(4, 5);
ZUL_API int RAS1_LogDump(ZULRA_entry_t *entry, int line, uint32_t kinds, const void *address,
                         uint32_t length, const char *text, ...) ZUL_PRINTF(6, 7);

/* Does nothing; always STC1_SystemError. */
ZUL_API int RAS1_Trace(void);

/* Writes the lines that the default store holds for a large write (see
 * ZUL_RAS1_BUFFER) to its file now.  Takes no lock and calls write(2)
 * only: async-signal-safe, for a program's own signal handler that ends
 * the process with _exit.  Always 0. */
ZUL_API int RAS1_Flush(void);

/* ------------------------------------------------------------------ */
/* Classes                                                             */
/* ------------------------------------------------------------------ */

/* A partial class word selects everything in the fields it leaves empty:
 * ERROR reads as 0xFFFFFE80.  The calls that take a class word complete
 * it and answer STC1_Warning when that changed it. */

/* *classes is the default class (read with no lock).  Always 0. */
ZUL_API int RAS1_QueryClass(uint32_t *classes);

/* Sets the default class; *old (if not null) gets the one before. */
ZUL_API int RAS1_SetClass(uint32_t *old, uint32_t classes);

/* The names of `classes`, short forms, blank-separated, into `buffer`;
 * *length is the buffer's size on entry and the text's length on return.
 * The text is always NUL-terminated, and the buffer must have a byte for
 * the NUL even when *length is 0.  0; STC1_Shortage when the names did
 * not all fit (those that did are there); STC1_BadArgument for a null
 * argument. */
ZUL_API int RAS1_QueryClassName(uint32_t classes, char *buffer, uint32_t *length);

/* Reads class names (full or abbreviated, any case, separated by blanks
 * or punctuation) into *classes.  `length` 0 measures a zero-terminated
 * text.  0; STC1_BadArgument on an unknown or over-long name, with
 * *classes holding what was read until then. */
ZUL_API int RAS1_QueryClassValue(uint32_t *classes, const char *text, uint32_t length);

/* The class word of the store `name` (1 to 8 bytes).  0;
 * STC1_BadArgument bad length; STC1_NotThere no such store. */
ZUL_API int RAS1_QueryStoreClass(const char *name, uint32_t length, uint32_t *classes);

/* Changes a store's class word and sorts it anew.  `length` 0 names the
 * default store.  `classes` 256 makes it the default store if there is
 * none; 0 on the default store leaves the process without one.  0;
 * STC1_BadArgument; STC1_NotThere; STC1_Warning if completed. */
ZUL_API int RAS1_SetStoreClass(const char *name, uint32_t length, uint32_t classes);

/* ------------------------------------------------------------------ */
/* Filters                                                             */
/* ------------------------------------------------------------------ */

/* Element types of a filter: what part of a record an element's text must
 * begin.  Each character of the text weighs as the type says, so the
 * more a filter names, the more specific it counts. */
#define RAS1_FILTER_UNIT 0  /* the unit's file name; weight 1 a character */
#define RAS1_FILTER_ENTRY 1 /* the function's name; weight 5 */
#define RAS1_FILTER_LEVEL 2 /* the unit's revision level; weight 4 */
#define RAS1_FILTER_COMP 3  /* the unit's component name; weight 3 */

/* The longest text of a filter element; a longer one is a bad element. */
#define RAS1_FILTER_TEXT_MAX 65535u

/* One element of a filter.  `text` and `length` are both set or both 0
 * (an element that names nothing).  The text of the first UNIT element is
 * put in the form of unit names (last path component, lower case) in
 * place, so it must be writable.  Types 4 to 6 are reserved: accepted,
 * without effect. */
typedef struct ZULRA_elem {
    char *text;
    uint32_t length;
    int32_t type;
} ZULRA_elem_t;

/* Adds a filter: the records whose unit and entry begin with the texts of
 * `elements` (all of them) and whose line lies from `lineLow` to
 * `lineHigh` (0: no upper bound) get the class word `classes`, completed;
 * 0 turns tracing off for them.  The heaviest filter that matches a
 * record decides; among equal weights the newest.  A filter that names
 * the same texts as one already there (letter case aside) is that filter:
 * it takes the new word and lines and keeps its id.  *id (if not null)
 * gets the filter's odd id.  0; STC1_BadArgument for no elements or a bad
 * element; STC1_Shortage; STC1_Warning when the class word was completed
 * (the filter is in place). */
ZUL_API int RAS1_NewFilter(uint32_t *id, uint32_t classes, ZULRA_elem_t *elements,
                           uint32_t count, uint32_t lineLow, uint32_t lineHigh);

/* Removes a filter.  0; STC1_NotThere. */
ZUL_API int RAS1_DestroyFilter(uint32_t id);

/* *classes gets the filter's class word.  0; STC1_NotThere; then
 * STC1_BadArgument for a null `classes`. */
ZUL_API int RAS1_QueryFilter(uint32_t id, uint32_t *classes);

/* Changes a filter's class word (completed, without saying so); *old (if
 * not null) gets the one before.  0; STC1_NotThere. */
ZUL_API int RAS1_SetFilter(uint32_t id, uint32_t *old, uint32_t classes);

/* Takes a filter out of use, keeping it, or puts it back.  0;
 * STC1_NotThere; STC1_Warning when it already was suspended (active). */
ZUL_API int RAS1_SuspendFilter(uint32_t id);
ZUL_API int RAS1_ResumeFilter(uint32_t id);

/* Applies a filter expression (docs/tracing.md): class names set the
 * default class, and groups in parentheses with UNIT:, ENTRY:, LEVEL: or
 * COMP: elements make filters.  A text that begins with "<" names a file
 * of expressions, one a line.  The text is writable: the UNIT values are
 * put in the form of unit names in place.  0; else the status of the
 * first fault, whose message goes to the log. */
ZUL_API int RAS1_InterpretString(char *text, uint32_t length);

ZUL_END_DECLS

#endif /* ZUL_RAS1_H */
