// ras/zulralg.h - private records of the log: the class table, stores,
// environment routines and format contexts, and the functions that the
// units of the log share.
#ifndef ZUL_SRC_RAS_ZULRALG_H
#define ZUL_SRC_RAS_ZULRALG_H

#include "ras/zulra.h"

#include <stdio.h>

struct iovec;

// One row of the class table.  `minLength` is the shortest accepted
// abbreviation, and the length in which the name is printed unless an
// earlier row takes that text (see zulraqn); `maxLength` is the name's
// full length.  The table ends with a row of zeros, after
// NONE, the one named row whose value is 0.
typedef struct ZULRA_class {
    uint32_t value;
    uint32_t minLength;
    uint32_t maxLength;
    const char *text;
} ZULRA_class_t;

// The first row of the class table that takes `name`, `length` bytes in
// any case, as a class name: `length` lies within the row's bounds and the
// text begins the row's name.  Rows are tried in their order, so "ST" is
// STATE and "STO" STORAGE.  NONE, the one named row of value 0 and the
// last, is known only where `none` is set (expressions and `ras1 set`,
// not RAS1_QueryClassValue).  Null where no row takes it.
const ZULRA_class_t *ZULRA_FindClass(const char *name, uint32_t length, int none);

// A store: a block from malloc, zeroed, never freed, linked into the
// store list through `next` and `prev`.
typedef struct ZULRA_store {
    struct ZULRA_store *next, *prev;
    ZULRA_write_t write;
    uint32_t classes;   // 0: takes only lines whose class word is 0
    void *data;         // the caller's word, handed to `write`
    char storeName[8];  // upper case, blank-padded, no NUL; unique
    uint32_t weight;    // sort key: narrow stores first
    ZULSS_lock_t lock;  // serializes everything written to the store
    uint32_t opened;    // 0 until the first line; counts first writers
    uint32_t messages;  // 1: `write` gets each message whole, in one call
    uint32_t ready;     // 1 once the opening block is in the store
} ZULRA_store_t;

// An environment routine as registered; pushed at the head, never
// removed.
typedef struct ZULRA_envr {
    struct ZULRA_envr *next;
    ZULRA_envroutine_t routine;
    void *user;
} ZULRA_envr_t;

// The context of one message: what the format handler needs to know.
// Recycled through `freeContexts`, never freed.  A line longer than one
// flush of the format object waits in `pending` (malloc'd, owned by the
// context's thread like the object) until its end comes, so that a store
// gets whole lines only.
typedef struct ZULRA_fctx {
    struct ZULRA_fctx *next;
    ZULSS_format_t *format;
    ZULRA_store_t *store;
    ZULRA_entry_t *entry;
    uint32_t flags;
    char *pending;          // the open line's text so far
    uint32_t pendingLength; // bytes held
    uint32_t pendingSize;   // bytes allocated
    // The facts of the message's head, for the targets that take the head
    // apart (JSON lines, the journal).
    ZULSS_time_t time;
    uint32_t thread;
    int line;
    const char *unitName; // as the head shows it
    uint32_t unitLength;
    uint32_t headLength; // bytes of head before the message; 0: look for its end
    uint32_t headed;     // 0 while the opening block goes out, before the head
    struct ZULRA_envr *environments; // the environment routines when the line began
} ZULRA_fctx_t;

// The context whose text the calling thread is handing to a store's write
// routine, or null: set by the format handler around each call, so that a
// target of the library's own can read the message's facts.
extern thread_local __attribute__((tls_model("initial-exec"))) const ZULRA_fctx_t *ZULRA_writing;

// Bytes of a line head behind its time that a thread keeps.  With the 18
// bytes of the time in front, a kept head fits in one record.
#define ZULRA_SITE_ROOM 104u

// The log's block of each thread, built at the thread's first line and
// dropped at its end.  It spares a line the block lock: `spare` is a
// context (with its format object) that the thread's last message gave
// back, and the rest remembers where the thread's last line went.  That
// choice stands while the sync word holds `syncValue`, since every change
// to the stores, the filters or the default class moves the sync word
// under the block lock.
//
// It also keeps the head of the thread's last line behind its time, the
// part "-<thread>:<unit>,<line>,"<function>") ", for the same record, line
// and thread: a thread that writes from the same place again copies it.
typedef struct ZULRA_tcb {
    ZULRA_fctx_t *spare;
    struct ZULRA_store *store; // null: nothing remembered
    uint32_t syncValue;
    uint32_t active;           // the class word that picked `store`
    uint32_t unconfigured;     // RAS1_WRITE_UNCONFIGURED, or 0
    const ZULRA_entry_t *siteEntry; // whose head `site` is; null: none
    int siteLine;
    uint32_t siteThread;
    uint32_t siteLength;
    const char *siteUnit;      // the unit's name as the head shows it, for the context
    uint32_t siteUnitLength;
    char site[ZULRA_SITE_ROOM];
    // The thread's chunk of the default store's buffer (zulrabu): its
    // header, the tag it was claimed under and the half it lies in; null
    // for none.
    struct ZULRA_chunkhead *held;
    uint32_t heldTag;
    uint32_t heldHalf;
    // The thread's chunk of the tails' feed (zulrafd), its tag, the
    // feed's opening it was claimed in, and the lines the thread could not
    // give the feed since, for want of room.
    struct ZULRA_chunkhead *fed;
    uint32_t fedTag;
    uint32_t fedEpoch;
    uint32_t fedDropped;
} ZULRA_tcb_t;

// The thread ends: lines it dropped from the tails' feed and has not yet
// reported go with the next chunk that any thread starts.
void ZULRA_FeedLeave(ZULRA_tcb_t *tcb);

// The calling thread's block, or null without memory.
ZULRA_tcb_t *ZULRA_Tcb(void);

// Takes a free context: the thread's spare, else one off `freeContexts`,
// else null.
ZULRA_fctx_t *ZULRA_TakeContext(ZULRA_pcb_t *block, ZULRA_tcb_t *tcb);

// Gives a context back: as the thread's spare if it has none, else to
// `freeContexts`.  `tcb` may be null.
void ZULRA_GiveContext(ZULRA_pcb_t *block, ZULRA_tcb_t *tcb, ZULRA_fctx_t *context);

// The class word `v` with its empty fields filled: no unit kind selects
// every unit kind, and so on.  0 stays 0; ANY counts in no test.
static inline uint32_t ZULRA_Complete(uint32_t v)
{
    if (v == 0)
        return 0;
    uint32_t c = v;
    if (v < 0x2000u)
        c |= RAS1_EVERYUNIT;
    if ((v & RAS1_EVERYENTRY) == 0)
        c |= RAS1_EVERYENTRY;
    if ((v & RAS1_EVERYTRACE) == 0)
        c |= RAS1_EVERYTRACE;
    return c;
}

// The links of the store list.  Its sentinel, which stands for the head
// in the links and is never read as a store, is the block's address.
static inline ZUL_links<ZULRA_store_t> ZULRA_StoreLinks(ZULRA_pcb_t *block)
{
    return {&ZULRA_store_t::next, &ZULRA_store_t::prev, reinterpret_cast<ZULRA_store_t *>(block),
            &block->firstStore, &block->lastStore};
}

// Copies a store name of 1 to 8 bytes to an 8-byte field of blanks, in
// upper case.  Returns 0, or 1 for a bad length or a null name.
int ZULRA_StoreName(char field[8], const char *name, uint32_t length);

// The store of that prepared name, or null.  The caller holds the block
// lock.
ZULRA_store_t *ZULRA_FindStore(ZULRA_pcb_t *block, const char field[8]);

// Weighs `store` by its class word and links it into the store list: a
// narrow store before a broad one, ANY after all stores without it, a
// class-less store last.  Moves the sync word.  The caller holds the block
// lock.
void ZULRA_InsertStore(ZULRA_pcb_t *block, ZULRA_store_t *store);

// Unlinks `store` from the list.  The caller holds the block lock.
void ZULRA_UnlinkStore(ZULRA_pcb_t *block, ZULRA_store_t *store);

// The output routine of every log format object.
int ZULRA_FormatHandler(void *context, char *records, uint32_t count);

// Opens a line of the log for `entry` at source line `line`: picks the
// store, takes a context with its format object emptied, reads the time
// and writes the store's opening block if it has had no line yet; the
// head is not written.  0 with *opened set, or the status of
// RAS1_BeginFormat with *opened null.
int ZULRA_OpenLine(ZULRA_entry_t *entry, int line, uint32_t flags, ZULRA_fctx_t **opened);

// The head of an opened line, put together flat into `to` (room for
// `room` bytes).  Returns its length, or 0 where it must go through the
// format object: environment routines write into it, a name is long or
// holds a line feed, or the room is short.
uint32_t ZULRA_FlatHead(ZULRA_fctx_t *context, char *to, size_t room);

// Writes the head of an opened line into its format object.
void ZULRA_WriteHead(ZULRA_fctx_t *context);

// A message of one line put together flat (`text`, `length` bytes, with
// room for one more behind it): the line goes to the ring and the store
// as the format object's records of the same line would have, and the
// context is given back.  `ended`: the message ended with its line feed.
// Returns the store's result.
int ZULRA_PutLine(ZULRA_fctx_t *context, char *text, uint32_t length, int ended);

// ------------------------------------------------------------------
// The default store's target: where ZUL_RAS1 sends the log
// ------------------------------------------------------------------

enum {
    ZULRA_TO_TEXT = 0,    // the lines as they are: standard output or error, a file
    ZULRA_TO_JSON = 1,    // one JSON object a message
    ZULRA_TO_JOURNAL = 2  // one journal entry a message
};

// The lines that a text or JSON target holds for large writes (see
// zulrabu): two halves of `size` bytes each, each cut into chunks of
// `chunk` bytes that the threads that log claim and fill, a chunk to a
// thread (see zulrach.h).  Chunks are claimed in the half `fill`; the
// other is empty or holds older lines on their way to the file, which a
// thread writes without the store's lock, so that others go on adding
// lines meanwhile.  The rest may be written out from any thread without
// the lock, by a signal handler too, so the words are read and written
// with atomic operations, and the one thread writing at a time names
// itself in `writer`.
//
// The words that every line reads come first, apart from the word that
// each claim of a chunk moves and from `writer`, so that neither takes
// the others' cache line with it.
typedef struct ZULRA_hold {
    char *bytes;       // the two halves; null: every line is written as it comes
    uint32_t size;     // of one half: a whole number of chunks
    uint32_t chunk;    // bytes of a chunk, its header included
    uint32_t fill;     // the half chunks are claimed in, 0 or 1
    uint32_t through;  // 1: each line goes out at once, for the process is ending
    uint32_t oldest[2]; // head time of the first line in each half, ms, | 1; 0: none
    uint32_t armed;    // 1 once the signals that end the process write it out
    uint32_t count[2]; // chunks claimed in a half handed off, until it is written
    // Generation << 32 | bytes claimed, for each half.  A half that is not
    // being filled is shut: its bytes claimed are ZULRA_HOLD_SHUT or more,
    // and a claim there gives nothing.
    alignas(64) uint64_t claim[2];
    alignas(64) uint32_t writer; // the thread writing them out, 0 for none
    ZULSS_lock_t writing;        // the turns of writers in ordinary code
    // The log's own writer thread, "zul-log", which writes the halves
    // handed off to it, full or aged: ZULRA_BEHIND_*.  `posted` counts those
    // halves, and the thread sleeps on it; `written` counts the halves
    // written while it runs, and a hand-off that finds the other half
    // still full sleeps on it.
    uint32_t behind;
    // The room reserved on the disk ahead of the file's writes, from
    // `reservedFrom` to `reserved`, and 1 once reserving has failed and is
    // not tried again.  Read and written by the writer in ordinary code
    // (holding `writing`).
    uint64_t reservedFrom;
    uint64_t reserved;
    uint32_t unreserved;
    alignas(64) uint32_t posted;
    uint32_t written;
    uint64_t handed; // the half posted last: generation << 32 | half
} ZULRA_hold_t;

#define ZULRA_BEHIND_UNSTARTED 0u // started at the first half to write
#define ZULRA_BEHIND_RUNNING 1u
#define ZULRA_BEHIND_NONE 2u      // the thread that fills a half writes it

#define ZULRA_HOLD_SHUT 0x80000000u

// The one record of the default store's target: its `data`.  The write
// routines run under the store's lock, which also guards `buffer`; a
// reopen swaps the file under `fd` in one step (see ZULPL_ReopenLog).
typedef struct ZULRA_target {
    uint32_t form;             // ZULRA_TO_TEXT, _JSON or _JOURNAL
    int fd;                    // text and JSON: where the lines go
    FILE *stream;              // the program's stream behind `fd`, or null for a file
    uint32_t append;           // 1: ">>", the file was not emptied at start
    char path[512];            // the file, for a reopen; empty for a stream
    char *buffer;              // JSON object or journal message being built
    uint32_t bufferSize;
    int (*send)(const struct iovec *fields, int count); // the journal's sd_journal_sendv
    char identifier[80];       // the program's name, for the journal
    ZULRA_hold_t hold;         // text and JSON: lines held for one large write
} ZULRA_target_t;

// The longest file name that ZUL_RAS1 may give.
#define ZULRA_LONGEST_PATH 511u

// What the text behind the last ">" of ZUL_RAS1 asks for.  `name` points
// into the value.
typedef struct ZULRA_targetname {
    uint32_t form;
    uint32_t append;
    uint32_t stream;    // 1 or 2: standard output or error; 0: a file
    const char *name;   // the file's name, without white space around it
    uint32_t nameLength;
} ZULRA_targetname_t;

// Splits a ZUL_RAS1 value into its expression and its target: returns the
// expression's length and fills `choice`.  A value without ">" is all
// expression, with standard output as target.
uint32_t ZULRA_ParseTarget(const char *value, uint32_t length, ZULRA_targetname_t *choice);

// Opens the target `choice` into `target`.  A target that cannot be opened
// says so in one line on standard error, naming what it could not open
// and why, and leaves `target` on standard error in the same form
// (the journal's lines as text).
void ZULRA_OpenTarget(ZULRA_target_t *target, const ZULRA_targetname_t *choice);

// Gives the process its default store on the target that the ZUL_RAS1
// value `value` (null when unset) names, and takes SIGHUP where
// ZUL_RAS1_SIGHUP=reopen asks for it.  Returns the length of the value's
// expression, the text in front of its target.
uint32_t ZULRA_SetUpTarget(const char *value);

// The write routine of a target's form.
ZULRA_write_t ZULRA_TargetWriter(const ZULRA_target_t *target);

// The default store's target, set up by ZULRA_LoadSettings; null while the
// process has none (it registered a store of its own first).
ZULRA_target_t *ZULRA_Target(void);

// Readies a store being registered, before anyone can see it, if it is
// the library's own default store (its data is the target): its lock is
// the capture ring's, and it takes whole messages where its target makes
// one record of each.  1 if it was; 0 for any other store.  The caller
// holds the block lock.
int ZULRA_PrepareTargetStore(ZULRA_store_t *store);

// Closes and reopens the file of the default store's target, under the
// store's lock, so that no line goes half to the old file; the lines held
// go to the old one first.  Writes what happened to `format` (a
// console's).  0; STC1_SystemError when the file could not be opened
// again (the log stays on the file it had).
int ZULRA_ReopenTarget(ZULSS_format_t *format);

// Writes out the lines that the default store's target holds, under the
// store's lock, and says on `format` what went where.  Always 0.
int ZULRA_FlushTarget(ZULSS_format_t *format);

// Lines held for large writes (zulrabu).  ZULRA_HoldLines gives `target`
// its buffer unless `setting` (ZUL_RAS1_BUFFER, null when unset) turns
// buffering off or the target is a terminal or the journal; a target with
// a buffer is then written out at exit, before fork, and, from its first
// line held on, before a signal ends the process.  `writer`
// (ZUL_RAS1_WRITER, null when unset) says who writes a half that is full
// or has aged: the log's own thread ("thread", the default) or the thread
// that handed it off ("caller").
void ZULRA_HoldLines(ZULRA_target_t *target, const char *setting, const char *writer);

// Whether the target holds its lines in chunks of the writers' own: its
// store then takes lines without its lock.
int ZULRA_HoldsInChunks(const ZULRA_target_t *target);

// Gives whole lines to the target: held, or written at once where there
// is no buffer.  Held lines go out when a half is full, with an ERROR line
// (`flags` carry the kind), when the oldest is older than
// ZULRA_HOLD_AGE, and from then on with every line once the process is
// ending.  Where the target holds lines the caller need not hold the
// store's lock (it takes it for those turns itself); otherwise it does.
// A half handed off is written by ZULRA_WriteHandedOff once the caller no
// longer holds the lock, or, where full or aged, by the log's writer
// thread.  Always 0.
#define ZULRA_HOLD_AGE 100u
int ZULRA_Put(ZULRA_target_t *target, const char *text, uint32_t length, uint32_t flags);

// The target whose lines the calling thread handed off in ZULRA_Put, to
// be written when it has given back the store's lock; null for none.
extern thread_local __attribute__((tls_model("initial-exec"))) ZULRA_target_t *ZULRA_handedOff;

// Writes the lines that the calling thread handed off, if any.  Called with the store's lock given back (or held
// recursively by an outer call).
void ZULRA_WriteHandedOff(void);

// Writes all the held lines out now, and empties the buffer.  Takes the
// store's lock.  Returns the bytes written.
uint32_t ZULRA_WriteHeld(ZULRA_target_t *target);

// Writes the held lines out without the store's lock and with write(2)
// only, so that it may run in a signal handler, on any thread; `ending`
// makes every later line go out at once.  A line being added at that
// moment may be missing; nothing before it is.
void ZULRA_DrainHeld(ZULRA_target_t *target, int ending);

// Write routines of the forms.  `data` is a ZULRA_target_t.  Always 0:
// the log has nowhere to report a failed write.
int ZULRA_WriteStream(void *data, const char *text, uint32_t length, ZULRA_entry_t *entry,
                      uint32_t flags);
int ZULRA_WriteJson(void *data, const char *text, uint32_t length, ZULRA_entry_t *entry,
                    uint32_t flags);
int ZULRA_WriteJournal(void *data, const char *text, uint32_t length, ZULRA_entry_t *entry,
                       uint32_t flags);

// Loads the journal's send routine into `target`: 0, or the reason in
// `why` (a line of text without a line end).
int ZULRA_LoadJournal(ZULRA_target_t *target, char *why, size_t size);

// A message as a whole-message store's write routine is handed it, taken
// apart: the text behind the head, without the line feeds around it, and
// the head's facts from ZULRA_writing.  Lines that came without a head
// (the opening block) have `headed` 0 and no unit, function, component or
// kind.
typedef struct ZULRA_message {
    const char *text;
    uint32_t length;
    int headed;
    ZULSS_time_t time;
    uint32_t thread;
    int line;
    const char *unit;       // null for no head
    uint32_t unitLength;
    const char *function;   // null for no head
    uint32_t functionLength;
    const char *component;  // null for no head or no component
    uint32_t componentLength;
    uint32_t kind;          // the trace kind's class bit, 0 for none
} ZULRA_message_t;

void ZULRA_TakeApart(const char *text, uint32_t length, ZULRA_entry_t *entry, uint32_t flags,
                     ZULRA_message_t *message);

// The name of a trace kind (RAS1_ERROR ... RAS1_DETAIL), or null for none.
const char *ZULRA_KindName(uint32_t kind);

#endif
