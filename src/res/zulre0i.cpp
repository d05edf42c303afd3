// ZULRE_Initialize: the RVT, built at the first use of the family, its
// two descriptors, and what the family registers once the RVT is there:
// the RES1_DEBUG configuration variable, which switches the debug lines
// of classes, and the res1 console command (zulrecm).  The value of
// RES1_DEBUG itself, kept and matched against class names, is zulredb.
//
// Code of the family refers to the public descriptor, which forwards to
// the private one (internal/zulforward.h): ZULRE_Initialize resolves it,
// and its constructor, construct_rvt, allocates the table.
//
// The split of a handle follows from a 32-bit word and an RCB of 2^5
// bytes: 20 address bits, of which 8 pick the slot in a page of 256 RCBs
// and 12 the page, and 12 generation bits.  The split is kept on every
// platform, so a handle means the same everywhere; only the bytes of an
// RCB, and so of a page, follow the platform's pointers.
#include "res/zulre.h"
#include "internal/zulcommands.h"
#include "internal/zulforward.h"
#include "internal/zulunits.h"

#include <stdlib.h>

ZULRA_RES1_UNIT("zulre0i");

// The handler of RES1_DEBUG.  The value names the classes whose new
// resources write debug lines; a class not named is switched off, and so
// is every existing resource, even of a named class.  Every value is
// accepted: a name that matches no class is passed over.
static int set_debug(const char *name, void *context, const char *value, uint32_t length)
{
    RAS1_DECLARE_ENTRY(entry, "set_debug", RAS1_PRIVATE);
    RAS1_QUICK(entry, classes, flow);
    (void)name;
    ZULRE_rvt_t *rvt = static_cast<ZULRE_rvt_t *>(context);
    if (value == nullptr)
        length = 0;

    {
        ZULSS_HOLD(&rvt->lock);
        ZULRE_ResetDebug(rvt, value, length);
        const char *text = value, *token = nullptr;
        uint32_t remaining = length, tokenLength = 0;
        while (BSS1_Tokenize(&text, &remaining, &token, &tokenLength, nullptr) == STC1_Success)
            ZULRE_EachClassNamed(rvt, token, tokenLength, [&](RES1_Class *cls) {
                __atomic_store_n(&cls->debug, 1, __ATOMIC_RELAXED);
                RAS1_Log(&entry, __LINE__, RAS1_DETAIL, ZULRE_DEBUG_HEAD ", debug active\n", cls->nameLength,
                         cls->name, static_cast<unsigned long>(cls->handle), ZULRE_LoadState(cls->rcb), cls->rcb->data);
            });
    }

    // The variable is set by a program or an operator, or registered in
    // an epilog, never inside the trace's own start: the record may be
    // synchronised now, so that its line reaches the log and its unit is
    // listed.
    classes = RAS1_ReadClass(&entry);
    if (length != 0)
        RAS1_LOG(entry, classes, RAS1_ANY, "RES1_DEBUG is now \"%.*s\", RVT=%p\n", length, value,
                 static_cast<void *>(rvt));
    return 0;
}

// Registers what the family offers a service console: the variable that
// switches debug lines per class, then the res1 command, which does not
// depend on the variable's success.  Runs as an epilog, once no
// construction is under way, since both use RES1 and so the RVT that is
// being built.  The command's routine is null where its unit is not
// linked (internal/zulcommands.h).
static void do_registration(void *rvt)
{
    RAS1_DECLARE_ENTRY(entry, "do_registration", RAS1_PRIVATE);
    RAS1_QUICK(entry, classes, flow);
    // Reads the environment and calls set_debug at once.
    (void)BSS1_ConfigRegister("RES1_DEBUG", nullptr, set_debug, rvt);
    if (ZULRE_RegisterCommand != nullptr)
        ZULRE_RegisterCommand(rvt);
}

static void construct_rvt(void *word)
{
    RAS1_DECLARE_ENTRY(entry, "construct_rvt", RAS1_PRIVATE);
    RAS1_QUICK(entry, classes, flow);

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

static constinit ZULSS_descriptor_t realDescriptor = ZULSS_WORD_DESCRIPTOR(construct_rvt);

void ZULRE_Initialize(void *word)
{
    RAS1_DECLARE_ENTRY(entry, "ZULRE_Initialize", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);
    ZULSS_Forward(word, &realDescriptor, __FILE__, __LINE__);
}

constinit ZULSS_descriptor_t ZULRE_rvtDescriptor = ZULSS_WORD_DESCRIPTOR(ZULRE_Initialize);
