// ZULRE_Initialize: the RVT, built at the first use of the family, its
// two descriptors, and the RES1_DEBUG configuration variable, which
// switches the debug lines of classes.  The other service door into the
// RVT, the res1 console command, is zulrecm.
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
#include "internal/zulcommands.h"
#include "internal/zulunits.h"

#include <stdlib.h>
#include <string.h>

ZULRA_RES1_UNIT("zulre0i");

int ZULRE_DebugNamed(const ZULRE_rvt_t *rvt, const char *name, uint32_t length)
{
    const char *text = rvt->debugNames, *token = nullptr;
    uint32_t remaining = rvt->debugLength, tokenLength = 0;
    while (BSS1_Tokenize(&text, &remaining, &token, &tokenLength, nullptr) == STC1_Success)
        if (tokenLength == length && BSS1_Match(token, name, length) == 0)
            return 1;
    return 0;
}

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

    BSS1_GetLock(&rvt->lock);
    // Kept for classes registered later; without memory for the copy they
    // stay quiet.
    free(rvt->debugNames);
    rvt->debugNames = length != 0 ? static_cast<char *>(malloc(length)) : nullptr;
    rvt->debugLength = rvt->debugNames != nullptr ? length : 0;
    if (rvt->debugNames != nullptr)
        memcpy(rvt->debugNames, value, length);
    for (RES1_Class *cls = rvt->classes; cls != nullptr; cls = cls->next)
        __atomic_store_n(&cls->debug, 0, __ATOMIC_RELAXED);
    ZULRE_EachLiveRCB(rvt, [](ZULRE_rcb_t *rcb) {
        __atomic_fetch_and(&rcb->life, ~(static_cast<uint64_t>(ZULRE_DEBUG) << 32),
                           __ATOMIC_ACQ_REL);
    });
    const char *text = value, *token = nullptr;
    uint32_t remaining = length, tokenLength = 0;
    while (BSS1_Tokenize(&text, &remaining, &token, &tokenLength, nullptr) == STC1_Success)
        ZULRE_EachClassNamed(rvt, token, tokenLength, [&](RES1_Class *cls) {
            __atomic_store_n(&cls->debug, 1, __ATOMIC_RELAXED);
            RAS1_Log(&entry, __LINE__, RAS1_DETAIL, ZULRE_DEBUG_HEAD ", debug active\n", cls->nameLength,
                     cls->name, static_cast<unsigned long>(cls->handle), ZULRE_LoadState(cls->rcb), cls->rcb->data);
        });
    BSS1_ReleaseLock(&rvt->lock);

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

static constinit ZULSS_descriptor_t privateDescriptor = {0, construct_rvt, nullptr, 0, 0};

void ZULRE_Initialize(void *word)
{
    RAS1_DECLARE_ENTRY(entry, "ZULRE_Initialize", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);
    *static_cast<uintptr_t *>(word) =
        reinterpret_cast<uintptr_t>(BSS1_ResolveProcess(&privateDescriptor, __FILE__, __LINE__));
}

constinit ZULSS_descriptor_t ZULRE_rvtDescriptor = {0, ZULRE_Initialize, nullptr, 0, 0};
