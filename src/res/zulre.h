// res/zulre.h - private records of the resources: the resource vector
// table (RVT), the resource control block (RCB) and the class descriptor.
//
// Every RCB lives in a page of the RVT, and pages are never given back,
// so a handle can always be turned into an RCB and looked at, whatever it
// names.  A handle is good while it equals the RCB's own handle exactly.
//
// The RCB's handle and its state word share one 64-bit word, `life`, so
// that checking a handle and changing its use count are one atomic step:
// taking and ending uses needs no lock.  The RVT's lock guards what
// links RCBs to each other (the free list, the family rings, the class
// list) and the counters of the classes.
#ifndef ZUL_SRC_RES_ZULRE_H
#define ZUL_SRC_RES_ZULRE_H

#include <zul/bss1.h>
#include <zul/ras1.h>
#include <zul/res1.h>

#include "internal/zullinks.h"
#include "internal/zullock.h"

// Bits of an RCB's state word.  The use count lies above them: one use
// is 8 in the word.
#define ZULRE_PENDING 0x1u // destruction has been scheduled
#define ZULRE_DEBUG 0x2u   // the resource writes debug lines
#define ZULRE_CLASS 0x4u   // the RCB stands for a class, not a resource
#define ZULRE_USE 0x8u     // one use
// A state whose use count is 0 and whose pending bit is set, class and
// debug bits aside: the resource is entering its end.
#define ZULRE_ENDING_MASK 0xFFFFFFF9u

struct RES1_Class;

typedef struct ZULRE_rcb {
    // The handle (bits 0-31) and the state word (bits 32-63).  Read and
    // written only with atomic operations: any thread may look at any RCB
    // at any time with a handle it guessed.
    uint64_t life;
    void *data;                   // the caller's object; a class's descriptor
    struct RES1_Class *resClass;  // the resource's class
    struct ZULRE_rcb *owner;      // owning resource or null; a class: itself
    struct ZULRE_rcb *children;   // one child, or null; itself: taken out of the tree
    struct ZULRE_rcb *next;       // ring of siblings; also the free list's link
    struct ZULRE_rcb *prev;
    struct ZULRE_rcb *walk;       // the list of RCBs that a destruction works through
} ZULRE_rcb_t;

// The ring of siblings.  It has no head: the owner's `children` names one
// member, and a lone RCB is a ring of its own.
constexpr ZUL_links<ZULRE_rcb_t> ZULRE_siblings = {&ZULRE_rcb_t::next, &ZULRE_rcb_t::prev,
                                                   nullptr, nullptr, nullptr};

static inline uint32_t ZULRE_Handle(uint64_t life)
{
    return (uint32_t)life;
}

static inline uint32_t ZULRE_State(uint64_t life)
{
    return (uint32_t)(life >> 32);
}

static inline uint64_t ZULRE_Life(uint32_t handle, uint32_t state)
{
    return ((uint64_t)state << 32) | handle;
}

static inline uint64_t ZULRE_LoadLife(const ZULRE_rcb_t *rcb)
{
    return __atomic_load_n(&rcb->life, __ATOMIC_ACQUIRE);
}

// A resource class: one allocation with the name behind the record.
typedef struct RES1_Class {
    struct RES1_Class *next;       // next class in the RVT's list
    ZULRE_rcb_t *rcb;              // the class's own RCB
    uint32_t handle;               // the class's handle
    const char *name;              // not terminated; lies behind this record
    uint32_t nameLength;
    ZULRE_destructor_t destructor; // may be null
    int32_t debug;                 // new resources write debug lines
    uint32_t pendingDestroy;       // resources with destruction scheduled
    uint32_t activeResources;      // live resources
} RES1_Class;

// The resource vector table, one for the process; the page table lies
// behind the record in the same allocation.
typedef struct ZULRE_rvt {
    ZULSS_lock_t lock;   // the family's only lock
    ZULRE_rcb_t *free;   // head of the free list
    ZULRE_rcb_t **pages; // the page table
    uint32_t slotMask;
    uint32_t pageMask;
    uint32_t generationUnit; // one generation step; also the bit of live handles
    uint32_t pageCount;      // pages allocated so far; only grows
    uint32_t pageBytes;
    uint32_t rcbBytes;
    uint32_t rcbsPerPage;
    uint32_t maxPages;
    uint32_t pageShift;
    RES1_Class *classes; // newest first
    // The value of RES1_DEBUG last set, kept so that a class registered
    // later is switched on if the value names it.
    char *debugNames;
    uint32_t debugLength;
} ZULRE_rvt_t;

// The family's public descriptor, a word block whose value is the RVT's
// address, or 0 if the RVT could not be allocated.
extern ZULSS_descriptor_t ZULRE_rvtDescriptor;

static inline ZULRE_rvt_t *ZULRE_Rvt(void)
{
    return (ZULRE_rvt_t *)ZULSS_PROCESS_BLOCK(&ZULRE_rvtDescriptor);
}

// The state word of `rcb` now.
static inline uint32_t ZULRE_LoadState(const ZULRE_rcb_t *rcb)
{
    return ZULRE_State(ZULRE_LoadLife(rcb));
}

// Calls `visit` for each live RCB (a handle of odd generation) in page
// and slot order.  The caller holds the lock, so no page is added
// meanwhile.
template <typename Visit> inline void ZULRE_EachLiveRCB(ZULRE_rvt_t *rvt, Visit visit)
{
    ZUL_ASSERT_HELD(&rvt->lock);
    for (uint32_t p = 0; p < rvt->pageCount; p++)
        for (uint32_t s = 0; s < rvt->rcbsPerPage; s++) {
            ZULRE_rcb_t *rcb = &rvt->pages[p][s];
            if ((ZULRE_Handle(ZULRE_LoadLife(rcb)) & rvt->generationUnit) != 0)
                visit(rcb);
        }
}

// Calls `visit` for every class named `length` bytes at `name`, compared
// as names are (case does not count, the lengths must be equal), and
// returns how many there were.  Two classes may share a name; both are
// meant.  The caller holds the lock.
template <typename Visit>
inline int ZULRE_EachClassNamed(ZULRE_rvt_t *rvt, const char *name, uint32_t length, Visit visit)
{
    ZUL_ASSERT_HELD(&rvt->lock);
    int found = 0;
    for (RES1_Class *cls = rvt->classes; cls != nullptr; cls = cls->next)
        if (cls->nameLength == length && BSS1_Match(cls->name, name, length) == 0) {
            visit(cls);
            found++;
        }
    return found;
}

// The opening of every RES1_ call: its entry record, read the quick way,
// which never starts the trace (the trace's start registers its command,
// a resource, and so comes back here).
#define ZULRE_ENTRY(name)                        \
    RAS1_DECLARE_ENTRY(entry, name, RAS1_PUBLIC); \
    RAS1_QUICK(entry, classes, flow)

// What ZULRE_Open accepts.
enum { ZULRE_ANY_HANDLE = 0, ZULRE_RESOURCE_HANDLE = 1 };

// The rest of the opening of the RES1_ calls on a handle: the RVT, built
// at the family's first call, and the RCB of `handle` with one use taken
// for the call, in `*rvt` and `*rcb`.  STC1_NotThere when there is no RVT
// or the handle is not good; for a class's handle where `accept` is
// ZULRE_RESOURCE_HANDLE, STC1_BadObject, with the use given back.
int ZULRE_Open(uint32_t handle, int accept, ZULRE_rvt_t **rvt, ZULRE_rcb_t **rcb);

// Constructor of the public descriptor: stores the RVT's address in the
// word, resolving the private descriptor that builds it.
void ZULRE_Initialize(void *word);

// A fresh RCB: a ring of its own, one use, a new live handle.  Null when
// the pages are used up or memory ran out.
ZULRE_rcb_t *ZULRE_NewRCB(ZULRE_rvt_t *rvt);

// Checks `handle` and adds `count` uses in one step.  The RCB, or null if
// the handle is not good.
ZULRE_rcb_t *ZULRE_DisableRCB(ZULRE_rvt_t *rvt, uint32_t handle, uint32_t count);

// Takes `count` uses away.  True if the RCB has thereby entered its end:
// its handle is refused from now on and the caller must finish it.
int ZULRE_EnableRCB(ZULRE_rvt_t *rvt, ZULRE_rcb_t *rcb, uint32_t count);

// ZULRE_EnableRCB, and the end of life if it comes to that: the
// destructor (without the lock), the RCB back on the free list, and then
// the owner's turn, whose use the RCB held.
void ZULRE_Drop(ZULRE_rvt_t *rvt, ZULRE_rcb_t *rcb, uint32_t count);

// Schedules destruction.  True if this call did it, false if it was
// scheduled before.
int ZULRE_KillRCB(ZULRE_rvt_t *rvt, ZULRE_rcb_t *rcb);

// Whether the value of RES1_DEBUG last set names the class `name` of
// `length` bytes.  The caller holds the lock.  (zulredb)
int ZULRE_DebugNamed(const ZULRE_rvt_t *rvt, const char *name, uint32_t length);

// Keeps `value` (`length` bytes, null for none) as the value of RES1_DEBUG
// last set, and switches every class and every live resource quiet; the
// caller then switches on the classes that the value names.  The caller
// holds the lock.  (zulredb)
void ZULRE_ResetDebug(ZULRE_rvt_t *rvt, const char *value, uint32_t length);

// The head of every debug line: class name, handle, state and object.
#define ZULRE_DEBUG_HEAD "%.*s::0x%08lX::%08X::%p"

// Writes the debug line HEAD + `event` (a text without directives) for
// `rcb` under `entry`, with the handle and state word of `life`: the RCB
// as it was at the event, which another thread may have moved on since.
// `kind` is the line's trace kind: RAS1_DETAIL for the events of a
// resource's life, RAS1_ERROR for a caller's mistake that it reports.
void ZULRE_DebugLine(ZULRA_entry_t *entry, int line, uint32_t kind, const ZULRE_rcb_t *rcb,
                     uint64_t life, const char *event);

#endif
