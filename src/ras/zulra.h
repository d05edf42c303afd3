// ras/zulra.h - private records of the trace: the anchor, the process
// block, the enumeration lists and the exit routines.
#ifndef ZUL_SRC_RAS_ZULRA_H
#define ZUL_SRC_RAS_ZULRA_H

#include <stdarg.h>

#include <zul/bss1.h>
#include <zul/ras1.h>

#include "internal/zullinks.h"
#include "internal/zullock.h"
#include "internal/zulunits.h"

// The process-wide sync word and the lock that guards registration.  It
// lives outside the process block so that entry records can point
// straight at the sync word from their first sync on.
//
// The anchor's lock guards `unit.registered`, `entry.syncWord` and the
// writing of the enumeration lists.  It is never held together with the
// block lock.
typedef struct ZULRA_anchor {
    ZULSS_lock_t lock;
    uint32_t syncWord; // starts at 0; only ever incremented by 1, under the block lock
    int32_t once;      // guards the initialization of `lock`
} ZULRA_anchor_t;

extern ZULRA_anchor_t ZULRA_anchor;

// Rows of the class table, stores, environment routines, format contexts
// and filters; each is told with the part of the trace that owns it.
struct ZULRA_class;
struct ZULRA_store;
struct ZULRA_envr;
struct ZULRA_fctx;
struct ZULRA_filter;

// An exit routine as registered: a list that only grows at its head
// (ZUL_Push), walked with no lock.
typedef struct ZULRA_exit {
    struct ZULRA_exit *next;
    ZULRA_exitroutine_t routine;
    void *user;
} ZULRA_exit_t;

// The capture ring: the newest lines of the log, a record of up to 128
// bytes to a slot.  Each thread that logs writes its records into a ring
// of its own (ZULRA_ring_t), one of the rings that the process has made;
// a reader takes the newest records of all of them together.  So a line
// costs its thread no compare-and-swap and no cache line that another
// thread that logs has written: two threads that log at once on two
// processors do not pass the ring's memory back and forth.
//
// A ring's records are numbered in the order its thread writes them, and
// record n lives in slot n % ZULRA_CAPTURE_SLOTS.  `stamp` says which
// record the slot holds and whether it is being written: (n + 1) * 2 once
// record n is in place, that plus 1 while it is written, 0 in a slot
// never written.  `order` is the time of the record's line in
// milliseconds, which orders the records of different rings.  A reader
// takes a record whose stamp is the same, and even, before and after it
// copies the text, so no lock is needed on either side and no record is
// read torn.  The text is moved in words with atomic loads and stores
// (plain moves on the processors the library runs on), since readers copy
// it while its writer may be filling the slot.
#define ZULRA_CAPTURE_TEXT 128u

typedef struct ZULRA_capture {
    uint64_t stamp;
    uint64_t order;
    uint32_t length;
    uint32_t unused;
    char text[ZULRA_CAPTURE_TEXT];
} ZULRA_capture_t;

// The slots of one thread's ring, and the most records a reader is given.
#define ZULRA_CAPTURE_SLOTS 256u

// One thread's ring.  `writer` is 1 while a thread owns the ring, and only
// that thread (and a signal handler on it) writes `written` and the
// slots; a thread that ends gives its ring up, and the next thread that
// logs takes it over, so a process keeps as many rings as it has had
// threads logging at once.  The records of a thread that has ended stay
// readable until they are overwritten.  `id` numbers the rings as they
// were made, and orders records of the same millisecond.
typedef struct ZULRA_ring {
    struct ZULRA_ring *older; // the ring made before this one
    uint32_t id;
    uint32_t writer;
    uint64_t written; // records begun so far
    char rest[40];
    ZULRA_capture_t slots[ZULRA_CAPTURE_SLOTS];
} ZULRA_ring_t;

// The rings of the process, newest first; rings are never freed.
typedef struct ZULRA_rings {
    ZULRA_ring_t *newest;
} ZULRA_rings_t;

// The process's rings.  Never null: a ring is made for a thread when it
// first writes a record, and a thread that cannot have one, for want of
// memory, captures nothing.
ZULRA_rings_t *ZULRA_MakeRing(void);

// The ring that the calling thread owns, or null.
extern thread_local __attribute__((tls_model("initial-exec"))) ZULRA_ring_t *ZULRA_ownRing;

// Takes a ring for the calling thread, which owns none: a ring given up
// by a thread that ended, else a new one; null without memory.
ZULRA_ring_t *ZULRA_TakeRing(void);

// The calling thread's ring; null without memory.
static inline ZULRA_ring_t *ZULRA_ThreadRing(void)
{
    ZULRA_ring_t *ring = ZULRA_ownRing;
    return __builtin_expect(ring != nullptr, 1) ? ring : ZULRA_TakeRing();
}

// The calling thread ends: its ring is free for the next thread.
void ZULRA_LeaveRing(void);

// Calls `each` for the newest `most` records of all the rings that are
// whole when looked at, oldest first, with a copy of the text and `user`;
// a record that a writer fills meanwhile is passed over.  Takes no lock,
// allocates nothing: safe in a signal handler.  Returns the count given.
typedef void (*ZULRA_record_t)(void *user, const char *text, uint32_t length);
uint32_t ZULRA_WalkRing(const ZULRA_rings_t *rings, uint32_t most, ZULRA_record_t each,
                        void *user);

// One chunk of an enumeration list: `chunkBytes` of malloc'd memory whose
// record pointers fill it downwards from its end.  `top[0]` is the newest
// pointer; `top` starts one past the end.
//
// Writers (under the anchor's lock) store the pointer into its slot first
// and then publish `count` with a release store; a new chunk is filled in
// before the list head is published with a release store.  A reader that
// loads the head and `count` with acquire loads may therefore take the
// `count` pointers just below the chunk's end without a lock, and never
// sees a slot that is not written yet.  Chunks are never freed.
typedef struct ZULRA_chunk {
    struct ZULRA_chunk *next; // older chunk
    uint32_t count;           // record pointers held
    void **top;               // the newest pointer held
} ZULRA_chunk_t;

// The enumeration lists.
enum { ZULRA_LIST_UNITS = 0, ZULRA_LIST_ENTRIES = 1, ZULRA_LIST_BUILDS = 2 };

// A chunk holds 1021 pointers behind its three header words: 4096 bytes
// at 4 bytes a word; with 8-byte words the same
// 1021 slots take 8192 bytes.
#define ZULRA_CHUNK_SLOTS 1021u
#define ZULRA_CHUNK_BYTES static_cast<uint32_t>(sizeof(ZULRA_chunk_t) + ZULRA_CHUNK_SLOTS * sizeof(void *))

// The string pool's index: a tree handle of the tree family (a pointer
// and the four characters of its eye-catcher).
typedef struct ZULRA_pooltree {
    void *root;
    char eye[4];
} ZULRA_pooltree_t;

// The process block of the trace.  Zeroed memory, built once; all code of
// the family reaches it through ZULRA_Pcb().
typedef struct ZULRA_pcb {
    ZULRA_anchor_t *anchor;
    struct ZULRA_store *defaultStore; // null until one is named
    struct ZULRA_envr *environments;
    ZULRA_exit_t *exits;              // newest first; pushed and read without a lock
    // The store list, sorted, and the filter list, highest weight first:
    // rings through the records' own links (internal/zullinks.h) whose
    // heads are these words; ZULRA_StoreLinks and ZULRA_FilterLinks say so.
    struct ZULRA_store *firstStore, *lastStore;
    struct ZULRA_filter *firstFilter, *lastFilter;
    char *poolNext;
    ZULSS_lock_t lock;                // the block lock
    ZULSS_lock_t poolLock;            // taken inside the block lock, never the reverse
    ZULRA_pooltree_t poolTree;
    uint32_t defaultClass;            // written under the block lock; may be read without
    uint32_t storeCount;
    uint32_t suspended;               // tracing is off while not 0
    uint32_t poolLeft;
    int32_t once;                     // guards the start of the service
    ZULRA_rings_t *capture;           // the rings of the capture ring
    ZULRA_chunk_t *lists[3];
    uint32_t chunkBytes;
    uint32_t chunkSlots;
    struct ZULRA_fctx *freeContexts;
    uint32_t nextFilter;
} ZULRA_pcb_t;

// The family's public descriptor: a word block whose constructor resolves
// the real descriptor and stores the block's address.
extern ZULSS_descriptor_t ZULRA_pcbDescriptor;

static inline ZULRA_pcb_t *ZULRA_Pcb(void)
{
    return static_cast<ZULRA_pcb_t *>(ZULSS_PROCESS_BLOCK(&ZULRA_pcbDescriptor));
}

// The constructor of the real descriptor.
void ZULRA_ConstructPCB(void *block);

// Adds `record` to enumeration list `list` of the block.  The caller holds
// the anchor's lock.  Without memory the record is silently left out.
void ZULRA_Remember(ZULRA_pcb_t *block, int list, void *record);

// The class match: does the selecting word `c` match `want` (a unit's
// class ORed with an entry's)?  With bit ANY in either word, any common
// bit will do; otherwise every bit of `want` must be in `c`.  So `want`
// 0 matches every `c` without ANY and none with it.
static inline int ZULRA_ClassMatch(uint32_t want, uint32_t c)
{
    if ((want | c) & RAS1_ANY)
        return (want & c) != 0;
    return (want & c) == want;
}

// Adds 1 to the sync word, making every record stale.  The caller holds
// the block lock.
static inline void ZULRA_MoveSyncWord(ZULRA_pcb_t *block)
{
    ZUL_ASSERT_HELD(&block->lock);
    __atomic_fetch_add(&block->anchor->syncWord, 1u, __ATOMIC_RELEASE);
}

// ------------------------------------------------------------------
// Filters and the string pool
// ------------------------------------------------------------------

// An interned text: one copy of each text in the pool, never freed.
typedef struct ZULRA_spe {
    const char *text;
    uint32_t length;
} ZULRA_spe_t;

// A filter: a zeroed block from malloc, linked into the filter list
// through `next` and `prev`.
typedef struct ZULRA_filter {
    struct ZULRA_filter *next, *prev;
    ZULRA_spe_t *unitName;  // prefix of unit.file, or null
    ZULRA_spe_t *entryName; // prefix of entry.name, or null
    ZULRA_spe_t *levelName; // prefix of unit.level, or null
    ZULRA_spe_t *compName;  // prefix of unit.comp, or null
    uint32_t classes;       // completed; 0 turns tracing off
    uint32_t lineLow, lineHigh;
    uint32_t savedWeight;   // never changes
    uint32_t weight;        // savedWeight while active, 0 while suspended
    uint32_t id;            // odd, never reused
} ZULRA_filter_t;

// The links of the filter list.  Its sentinel, which stands for the head
// in the links and is never read as a filter, is the block's address.
static inline ZUL_links<ZULRA_filter_t> ZULRA_FilterLinks(ZULRA_pcb_t *block)
{
    return {&ZULRA_filter_t::next, &ZULRA_filter_t::prev,
            reinterpret_cast<ZULRA_filter_t *>(block), &block->firstFilter, &block->lastFilter};
}

// True while no tracing is configured: no default class and no filter.
// The caller holds the block lock.
static inline int ZULRA_NothingConfigured(ZULRA_pcb_t *block)
{
    ZUL_ASSERT_HELD(&block->lock);
    return __atomic_load_n(&block->defaultClass, __ATOMIC_RELAXED) == 0 &&
           block->firstFilter == ZULRA_FilterLinks(block).head;
}

// The record that stands in for a text the pool had no memory for.
extern ZULRA_spe_t ZULRA_noSpe;

// Orders pool records by length, then by their bytes.
int ZULRA_CompareSpe(const void *a, const void *b);

// The pool's one record of `text`, made on first use; the fallback record
// without memory.  Takes the pool lock.
ZULRA_spe_t *ZULRA_InternString(ZULRA_pcb_t *block, const char *text, uint32_t length);

// Links `filter` into the list by its `weight`: behind every heavier
// filter and in front of the others, so the newest of equal weight comes
// first.  Moves the sync word.  The caller holds the block lock.
void ZULRA_InsertFilter(ZULRA_pcb_t *block, ZULRA_filter_t *filter);

// Unlinks `filter` from the list.  The caller holds the block lock.
void ZULRA_UnlinkFilter(ZULRA_pcb_t *block, ZULRA_filter_t *filter);

// The filter of that id, or null.  The caller holds the block lock.
ZULRA_filter_t *ZULRA_FindFilter(ZULRA_pcb_t *block, uint32_t id);

// The default store on standard output (or the file that ZUL_RAS1 names)
// and the reading of ZUL_RAS1.
void ZULRA_LoadSettings(void);

// Notes a store registered before the trace's start, which leaves
// ZUL_RAS1 unread (internal/zulstart.h).  The caller holds the block lock.
void ZULRA_NoteStoreBeforeStart(ZULRA_pcb_t *block);

// The form of unit names: the last path component, without trailing
// white space, in lower case, in place.  ZULRA_NormalizeUnit puts a unit's
// `file` in that form and ends it with a zero byte at its new length; the
// caller holds the anchor's lock and has not yet published the unit.
void ZULRA_NormalizeName(char **text, uint32_t *length);
void ZULRA_NormalizeUnit(ZULRA_unit_t *unit);

// ------------------------------------------------------------------
// Calls between the parts of the trace
// ------------------------------------------------------------------

// The class table (zulracl), the store walk (zulrast), the class names
// (zulraqn) and the writing of a line (zulrafo) belong to the log; the
// start (zulrain), the pool (zulrasp), the filter walk (zulrafl) and the
// banner (zulrasb) to the filters and the start.

// Calls every exit routine, newest first, with `events` and `notice`.
// The caller holds no lock of the trace.
void ZULRA_CallExits(ZULRA_pcb_t *block, uint32_t events, ZULRA_notice_t *notice);

// The start of the service: runs once per process, under once-only
// construction, at the first sync that is not suspended.
void InitializeRAS1(void *block);

// The first row of the static class table.
const struct ZULRA_class *ZULRA_ClassTable(void);

// Creates the string pool's index tree in the block.
void ZULRA_CreatePool(ZULRA_pcb_t *block);

// Walks the filter list for the first active filter that matches the
// entry; stores its class word in *classes and returns 1, or returns 0
// when none matches.  The caller holds the block lock.
int ZULRA_MatchFilters(ZULRA_pcb_t *block, ZULRA_entry_t *entry, uint32_t *classes);

// The first store of the store list whose class matches `want`, or null.
// The caller holds the block lock.
struct ZULRA_store *ZULRA_MatchStore(ZULRA_pcb_t *block, uint32_t want);

// The lock that the library's own default store takes as its store lock
// (see ZULRA_PrepareTargetStore); ZULRA_ConstructPCB makes its mutex.
ZULSS_lock_t *ZULRA_DefaultStoreLock(void);

// The ras1 console command (zulracm, zulraset, zulracp).  A list of an
// argument tree, as the console hands it to a command.
struct ZULLX_list;

// The class word `classes` as names joined by "+", each cut to its
// shortest abbreviation, and a line end.
void ZULRA_ShowClass(ZULSS_format_t *format, uint32_t classes);

// `ras1 log`: the capture ring, oldest line first.
void ZULRA_ShowCapture(ZULRA_pcb_t *block, ZULSS_format_t *format);

// `ras1 set`: class names set the default class, parenthesised groups of
// keywords and class names make filters.  0, or 1 when the arguments
// could not be read.
int ZULRA_SetCommand(ZULSS_format_t *format, struct ZULLX_list *list);

// Writes the build banner of a newly met build record.
void ZULRA_ShowBuild(ZULRA_build_t *build);

// The names of `classes` into `buffer` (NUL-terminated, at most `size`
// bytes with the NUL); returns the text's length.
uint32_t ZULRA_ClassNames(uint32_t classes, char *buffer, uint32_t size);

// Writes one message for `entry` under `line` from `format` and `args`,
// with `flags` for the store; returns the status of the write.
int ZULRA_FormatLine(ZULRA_entry_t *entry, int line, uint32_t flags, const char *format,
                     va_list args);

// The same with a dump of `length` bytes at `address` behind the message.
int ZULRA_DumpLine(ZULRA_entry_t *entry, int line, uint32_t flags, const void *address,
                   uint32_t length, const char *format, va_list args);

// The flags that carry a line's kind: the highest trace-kind bit of
// `kinds`, or none.
static inline uint32_t ZULRA_KindFlags(uint32_t kinds)
{
    kinds &= RAS1_EVERYTRACE;
    return kinds == 0 ? 0u : RAS1_WRITE_AS(1u << (31 - __builtin_clz(kinds)));
}

#endif
