// crf/zulcr.h - private records of the console: the command vector table
// (CVT), commands, subcommands, consoles and their output chunks.
#ifndef ZUL_SRC_CRF_ZULCR_H
#define ZUL_SRC_CRF_ZULCR_H

#include <zul/crf1.h>
#include <zul/res1.h>

#include "internal/zullinks.h"
#include "internal/zullock.h"

struct ZULCR_mcb;

// The family's process block.
typedef struct ZULCR_cvt {
    ZULSS_lock_t lock;             // the command list and every subcommand list
    struct ZULCR_mcb *first, *last; // the command list, in order of registration
    uint32_t flags;                // ZULCR_BUILT once construction succeeded
    uint32_t consoleClass;  // resource class "ZULCR_ccb_t"
    uint32_t commandClass;  // resource class "ZULCR_mcb_t"
} ZULCR_cvt_t;

#define ZULCR_BUILT 0x1u

// A subcommand; its name and description follow it, zero-terminated.
typedef struct ZULCR_scb {
    struct ZULCR_scb *next; // the next older subcommand
    ZULCR_handler_t handler;
    void *data;
    uint32_t nameLength;
    uint32_t descriptionLength; // 0: not in the usage list
    const char *name;
    const char *description;
} ZULCR_scb_t;

// A command; its name and description follow it, zero-terminated.
typedef struct ZULCR_mcb {
    struct ZULCR_mcb *next, *prev; // the CVT's list
    ZULCR_handler_t handler; // null: the command dispatches to subcommands
    void *data;
    uint32_t resource;       // 0: registered without a handle
    uint32_t nameLength;
    uint32_t descriptionLength; // 0: not in the listing
    uint32_t state;             // ZULCR_LIVE, ZULCR_HATCHING or ZULCR_GONE
    const char *name;
    const char *description;
    ZULCR_scb_t *subcommands;   // newest first
} ZULCR_mcb_t;

// States of a command.  Only a live command is found by its name; a
// hatching one (its handle is being made) already holds its name.
#define ZULCR_LIVE 0u
#define ZULCR_HATCHING 1u
#define ZULCR_GONE 2u

// The links of the command list (internal/zullinks.h).  Its sentinel,
// which stands for the head in the links and is never read as a command,
// is the CVT's address.
static inline ZUL_links<ZULCR_mcb_t> ZULCR_Commands(ZULCR_cvt_t *cvt)
{
    return {&ZULCR_mcb_t::next, &ZULCR_mcb_t::prev, reinterpret_cast<ZULCR_mcb_t *>(cvt),
            &cvt->first, &cvt->last};
}

// A piece of console output; the storage follows the header.  Chunks
// being written form a ring without a head; chunks being fetched, a chain
// that ends in null.
typedef struct ZULCR_chunk {
    struct ZULCR_chunk *next, *prev;
    uint32_t used; // bytes held; while being fetched, bytes left
    uint32_t size; // capacity of the storage
    char *text;    // start of the storage; while being fetched, the next byte
} ZULCR_chunk_t;

// The links of a console's ring of chunks being written.
constexpr ZUL_links<ZULCR_chunk_t> ZULCR_chunkRing = {&ZULCR_chunk_t::next, &ZULCR_chunk_t::prev,
                                                     nullptr, nullptr, nullptr};

// A console.
typedef struct ZULCR_ccb {
    ZULSS_lock_t lock;       // the output chain while output is added
    uint32_t resource;
    ZULSS_format_t *format;  // everything the commands print
    uint32_t pending;        // bytes written and not yet fetched
    ZULCR_chunk_t *reading;  // plain chain being fetched
    ZULCR_chunk_t *writing;  // last chunk of the ring being written
} ZULCR_ccb_t;

// Chunks are allocated, header included, in multiples of this.
#define ZULCR_CHUNK_UNIT 1024u

// The forwarding descriptor of the CVT.
extern ZULSS_descriptor_t ZULCR_cvtDescriptor;

// The CVT, built at first use.
static inline ZULCR_cvt_t *ZULCR_Cvt(void)
{
    return static_cast<ZULCR_cvt_t *>(ZULSS_PROCESS_BLOCK(&ZULCR_cvtDescriptor));
}

// The opening of every traced call of the family: its entry record `entry`
// of kind `kinds`, read the full way, and its Entry line.
#define ZULCR_ENTRY(name, kinds)                 \
    RAS1_DECLARE_ENTRY(entry, name, kinds);     \
    RAS1_ENTRY(entry, classes, flow)

// The way out of a traced call of the family with `status`, after its
// Exit line.
#define ZULCR_RETURN(status)                       \
    do {                                           \
        const int zulcrStatus = (status);          \
        RAS1_EXIT_VALUE(entry, flow, zulcrStatus); \
        return zulcrStatus;                        \
    } while (0)

// What a handle is to be.
enum { ZULCR_CONSOLE = 0, ZULCR_COMMAND = 1 };

// The rest of the opening of the calls on a handle: the CVT in *cvt, and
// in *record the record of `handle`, which must be of the class `kind`
// names, with one use taken for the call.  CRF1_OK; else, with no use
// taken, CRF1_NotConsole or CRF1_NotCommand (by `kind`): the CVT is not
// usable or the handle is not one of that class.
int ZULCR_Open(uint32_t handle, int kind, ZULCR_cvt_t **cvt, void **record);

// The live commands whose names begin with `word` (`length` bytes, any
// case): *hits gets how many there are, and the result is the last of
// them, or null.  The caller holds the CVT's lock.
ZULCR_mcb_t *ZULCR_FindCommand(ZULCR_cvt_t *cvt, const char *word, uint32_t length, uint32_t *hits);

// The forwarding descriptor's constructor: stores the real block's
// address in `word`.
void ZULCR_LocateCVT(void *word);

// The registry part of CRF1_Register: checks the name, makes the record
// and appends it to the list.  A CRF1_ status.
int ZULCR_Register(ZULCR_cvt_t *cvt, ZULCR_mcb_t **record, ZULCR_handler_t handler, void *data,
                   const char *name, uint32_t nameLength, const char *description,
                   uint32_t descriptionLength);

// Makes a record of `fixed` bytes followed by the two texts, zero-filled,
// and points `*name` and `*description` at the copies.  Null without
// memory.
void *ZULCR_NewRecord(size_t fixed, const char *name, uint32_t nameLength,
                      const char *description, uint32_t descriptionLength,
                      const char **nameCopy, const char **descriptionCopy);

// A command's or a subcommand's record (ZULCR_NewRecord), with its
// handler, data and texts filled in and every other field zero.  Null
// without memory.
template <typename Record>
Record *ZULCR_NewNamed(ZULCR_handler_t handler, void *data, const char *name,
                       uint32_t nameLength, const char *description, uint32_t descriptionLength)
{
    const char *nameCopy, *descriptionCopy;
    Record *r = static_cast<Record *>(ZULCR_NewRecord(sizeof(Record), name, nameLength, description,
                                                      descriptionLength, &nameCopy, &descriptionCopy));
    if (r == nullptr)
        return nullptr;
    r->handler = handler;
    r->data = data;
    r->nameLength = nameLength;
    r->descriptionLength = descriptionLength;
    r->name = nameCopy;
    r->description = descriptionCopy;
    return r;
}

// A text's length: `length`, or when it is 0 the measured length of a
// zero-terminated text (0 for null).
uint32_t ZULCR_Measure(const char *text, uint32_t length);

// The names of the listed subcommands of the one live command whose name
// begins with `word`, newest first, each ended by a line feed, written to
// `buffer` as far as whole names fit in `size`.  Nothing runs.  Returns the
// bytes that all the names take; `*status` is CRF1_OK, CRF1_NotFound or
// CRF1_Ambiguous as for a command line, or CRF1_Unusable.  A command with a
// handler of its own has no names.
uint32_t ZULCR_SubcommandNames(const char *word, uint32_t length, char *buffer, uint32_t size, int *status);

// Destructors of the two resource classes.  The command's takes it off
// the list and frees it with its subcommands; the console's ends its
// format object and frees its output.
void ZULCR_ManagerDestructor(void *record);
void ZULCR_ConsoleDestructor(void *record);

#endif
