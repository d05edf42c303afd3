// ZULRE_Initialize: the RVT, built at the first use of the family, and
// its two descriptors.
//
// Code of the family refers to the public descriptor, a word block whose
// constructor, ZULRE_Initialize, resolves the private one; that one's
// constructor, construct_rvt, allocates the table.
//
// The split of a handle follows from a 32-bit word and an RCB of 2^5
// bytes: 20 address bits, of which 8 pick the slot in a page of 256 RCBs
// and 12 the page, and 12 generation bits.  The split is kept on every
// platform, so a handle means the same everywhere; only the bytes of an
// RCB, and so of a page, follow the platform's pointers.
#include "res/zulre.h"
#include "internal/zulunits.h"

#include <stdlib.h>

ZULRA_RES1_UNIT("zulre0i");

// Registers what the family offers a service console: the variable that
// switches debug lines per class and the res1 command.  Runs as an
// epilog, once no construction is under way.
static void do_registration(void *rvt)
{
    RAS1_DECLARE_ENTRY(entry, "do_registration", RAS1_PRIVATE);
    RAS1_QUICK(entry, classes, flow);
    (void)classes;
    (void)flow;
    (void)rvt;
    // The console and the debug variable do not exist yet; both are
    // registered here once they do.
}

static void construct_rvt(void *word)
{
    RAS1_DECLARE_ENTRY(entry, "construct_rvt", RAS1_PRIVATE);
    RAS1_QUICK(entry, classes, flow);
    (void)classes;
    (void)flow;

    uintptr_t *out = static_cast<uintptr_t *>(word);
    *out = 0; // the word starts as its own address: 0 says "no RVT"

    // The split of a handle: W bits in all, address bits A, pages of 2^P
    // bytes holding RCBs of the nominal size 2^R.
    const uint32_t W = 32, R = 5;
    const uint32_t A = (W / 3) * 2;
    uint32_t P = 13;
    while (P > R && P - R > A - 1)
        P--;
    if (R >= P)
        return;
    const uint32_t S = P - R;

    const uint32_t maxPages = 1u << (A - S);
    size_t bytes = sizeof(ZULRE_rvt_t) + maxPages * sizeof(ZULRE_rcb_t *);
    ZULRE_rvt_t *rvt = static_cast<ZULRE_rvt_t *>(calloc(1, bytes));
    if (rvt == nullptr)
        return;

    rvt->pages = reinterpret_cast<ZULRE_rcb_t **>(rvt + 1);
    rvt->generationUnit = 1u << A;
    rvt->rcbBytes = sizeof(ZULRE_rcb_t);
    rvt->rcbsPerPage = 1u << S;
    rvt->pageBytes = rvt->rcbsPerPage * rvt->rcbBytes;
    rvt->maxPages = maxPages;
    rvt->slotMask = rvt->rcbsPerPage - 1;
    rvt->pageMask = maxPages - 1;
    rvt->pageShift = S;

    *out = reinterpret_cast<uintptr_t>(rvt);
    BSS1_InitializeEpilog(do_registration, rvt);
}

// With 64-bit pointers a control block is one cache line; pages are
// aligned to lines, so no two blocks share one.
static_assert(sizeof(void *) != 8 || sizeof(ZULRE_rcb_t) == 64, "an RCB is one cache line");

static constinit ZULSS_descriptor_t privateDescriptor = {0, construct_rvt, nullptr, 0, 0};

void ZULRE_Initialize(void *word)
{
    RAS1_DECLARE_ENTRY(entry, "ZULRE_Initialize", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);
    (void)classes;
    (void)flow;
    *static_cast<uintptr_t *>(word) =
        reinterpret_cast<uintptr_t>(BSS1_ResolveProcess(&privateDescriptor, __FILE__, __LINE__));
}

constinit ZULSS_descriptor_t ZULRE_rvtDescriptor = {0, ZULRE_Initialize, nullptr, 0, 0};
