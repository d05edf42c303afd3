// ras/zulralg.h - private records of the log: the class table, stores,
// environment routines and format contexts, and the functions that the
// units of the log share.
#ifndef ZUL_SRC_RAS_ZULRALG_H
#define ZUL_SRC_RAS_ZULRALG_H

#include "ras/zulra.h"

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

// A store: a block from malloc, zeroed, never freed.  `next` and `prev`
// come first, so that the list head serves as the list's sentinel.
typedef struct ZULRA_store {
    struct ZULRA_store *next, *prev;
    ZULRA_write_t write;
    uint32_t classes;   // 0: takes only lines whose class word is 0
    void *data;         // the caller's word, handed to `write`
    char storeName[8];  // upper case, blank-padded, no NUL; unique
    uint32_t weight;    // sort key: narrow stores first
    ZULSS_lock_t lock;  // serializes everything written to the store
    uint32_t opened;    // 0 until the first line; counts first writers
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
} ZULRA_fctx_t;

// The log's block of each thread, built at the thread's first line and
// dropped at its end.  It spares a line the block lock: `spare` is a
// context (with its format object) that the thread's last message gave
// back, and the rest remembers where the thread's last line went.  That
// choice stands while the sync word holds `syncValue`, since every change
// to the stores, the filters or the default class moves the sync word
// under the block lock.
typedef struct ZULRA_tcb {
    ZULRA_fctx_t *spare;
    struct ZULRA_store *store; // null: nothing remembered
    uint32_t syncValue;
    uint32_t active;           // the class word that picked `store`
    uint32_t unconfigured;     // RAS1_WRITE_UNCONFIGURED, or 0
} ZULRA_tcb_t;

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

// The first store of the list, or the list's end.
static inline ZULRA_store_t *ZULRA_StoreEnd(ZULRA_pcb_t *block)
{
    return (ZULRA_store_t *)block->stores.end;
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

// The output routine of every log format object.
int ZULRA_FormatHandler(void *context, char *records, uint32_t count);

// The default store's write routine: `data` is the address of a FILE *
// word.  Flushes the stream, then writes the lines with one write(2).
// Always 0.
int ZULRA_WriteStream(void *data, const char *text, uint32_t length, ZULRA_entry_t *entry,
                      uint32_t flags);

#endif
