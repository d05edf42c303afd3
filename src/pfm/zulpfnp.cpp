// PFM1C_NewPAB: the process anchor, built at the process's first PFM1
// use; and PFM1C_InitSelf, the process-wide signal sets it needs.
//
// Building the anchor takes the default signals over for the process:
// each gets PFM1C_SignalHandler as its portable handler.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

ZULRA_PFM1_UNIT("zulpfnp");

constinit ZULSS_descriptor_t ZULPF_pabDescriptor = {sizeof(PFM1_PAB), PFM1C_NewPAB,
                                                    PFM1C_DeletePAB, 0, 0};

constinit SIG1_Set ZULPF_asyncSignals = {{0, 0}};
constinit SIG1_Set ZULPF_defaultSignals = {{0, 0}};
constinit SIG1_Set ZULPF_ignoredSignals = {{0, 0}};

namespace {

// The signals taken over from the start.
constexpr int kDefaultSignals[] = {
    SIG1_SIGABRT, SIG1_SIGFPE,  SIG1_SIGHUP,  SIG1_SIGILL,  SIG1_SIGINT,  SIG1_SIGKILL, SIG1_SIGPIPE,
    SIG1_SIGQUIT, SIG1_SIGSEGV, SIG1_SIGTERM, SIG1_SIGUSR1, SIG1_SIGUSR2, SIG1_SIGOTHER,
};

// Signals that are no failure when nobody handles them.
constexpr int kIgnoredSignals[] = {
    SIG1_SIGCONT, SIG1_SIGTSTP, SIG1_SIGTTIN, SIG1_SIGTTOU, SIG1_SIGCHLD,
};

constinit int32_t selfOnce = 0;

template <size_t N>
SIG1_Set set_of(const int (&table)[N])
{
    SIG1_Set set = {{0, 0}};
    for (int signal : table)
        SIG1_AddSet(&set, signal); // numbers outside 1 to 47 are left out
    return set;
}

} // namespace

void PFM1C_InitSelf(void *)
{
    SIG1_QueryRecord query;
    if (SIG1_Query(&query, sizeof query) == STC1_Success)
        ZULPF_asyncSignals = query.async;
    ZULPF_defaultSignals = set_of(kDefaultSignals);
    ZULPF_ignoredSignals = set_of(kIgnoredSignals);
}

void PFM1C_NewPAB(void *block)
{
    RAS1_DECLARE_ENTRY(entry, "PFM1C_NewPAB", RAS1_RESTRICTED);
    RAS1_QUICK(entry, classes, flow);
    PFM1_PAB *pab = static_cast<PFM1_PAB *>(block);
    BSS1_InitializeOnce(&selfOnce, PFM1C_InitSelf, nullptr, __FILE__, __LINE__);
    BSS1_InitializeLock(&pab->lock);
    pab->nil = reinterpret_cast<PFM1_TAB *>(pab);
    ZUL_RingInit(ZULPF_Links(pab), pab->nil);
    pab->inhibit = 0;
    SIG1_EmptySet(&pab->hooked);
    for (int signal = SIG1_FIRST; signal <= SIG1_LAST; signal++)
        if (SIG1_IsMember(&ZULPF_defaultSignals, signal))
            (void)PFM1C_RegisterSignal(pab, signal);
    RAS1_LOG(entry, classes, RAS1_STATE, "New PAB @ %p)\n", static_cast<void *>(pab));
}
