// pfm/zulpf.h - private records and calls of the fault frames: the two
// anchor descriptors, the process-wide signal sets, the calling thread's
// TAB as the signal handlers read it, and the private operations.
#ifndef ZUL_SRC_PFM_ZULPF_H
#define ZUL_SRC_PFM_ZULPF_H

#include <zul/pfm1.h>

#include "internal/zullinks.h"
#include "internal/zullock.h"
#include "platform/zulpljp.h"

extern ZULSS_descriptor_t ZULPF_pabDescriptor;
extern ZULSS_descriptor_t ZULPF_tabDescriptor;

// Set once by PFM1C_InitSelf, then only read.
extern SIG1_Set ZULPF_asyncSignals;
extern SIG1_Set ZULPF_defaultSignals;
extern SIG1_Set ZULPF_ignoredSignals;

// The calling thread's TAB once it is built and ready to catch faults,
// null before and after: a static thread-local word, so a signal handler
// reads it without allocating.  Set by PFM1C_ReadyTAB, cleared by
// PFM1C_DeleteTAB.
extern thread_local __attribute__((tls_model("initial-exec"))) PFM1_TAB *ZULPF_threadTAB;

void PFM1C_NewPAB(void *pab);
void PFM1C_DeletePAB(void *pab);
void PFM1C_NewTAB(void *tab);
void PFM1C_DeleteTAB(void *tab);
bool PFM1C_ReadyTAB(PFM1_TAB *tab);
void PFM1C_InitSelf(void *unused);
PFM1_TAB *PFM1C_FindThread(PFM1_PAB *pab, int signal);
uint32_t PFM1C_RegisterSignal(PFM1_PAB *pab, int signal);
void PFM1C_Signal(PFM1_TAB *tab, int signal, PFM1_Handler handler);
void PFM1C_SignalHandler(int signal);
void PFM1C_GenericHandler(int signal);
uint32_t PFM1C_FaultCode(int signal);

// Gives back what the calling thread's FFDC routines ran in (a fiber of
// ThreadSanitizer's, in builds with it; nothing otherwise).  At the end of
// the thread's TAB.
void ZULPF_DropFiber(void);

// The process anchor, built on first use.
static inline PFM1_PAB *ZULPF_Pab(void)
{
    return static_cast<PFM1_PAB *>(ZULSS_PROCESS_BLOCK(&ZULPF_pabDescriptor));
}

// Whether the calling thread is inside the library's host signal
// handler.  There the family writes no trace lines (the log takes locks)
// and builds no blocks (that allocates).
static inline bool ZULPF_InHandler(void)
{
    return ZULPL_SigCurrent() != nullptr;
}

// The calling thread's TAB for code that may run in a handler: the one
// already built there, else built now outside a handler.
static inline PFM1_TAB *ZULPF_Tab(void)
{
    PFM1_TAB *tab = ZULPF_threadTAB;
    if (tab != nullptr || ZULPF_InHandler())
        return tab;
    return PFM1_Thread();
}

// The list of TABs: the sentinel `nil` is the PAB's own address, and its
// links are the PAB's `first` and `last`.  Handlers on any thread walk it
// forwards without the lock, which the ring's links allow
// (internal/zullinks.h); changes are made under the PAB's lock.
static inline ZUL_links<PFM1_TAB> ZULPF_Links(PFM1_PAB *pab)
{
    return {&PFM1_TAB::next, &PFM1_TAB::prev, pab->nil, &pab->first, &pab->last};
}

#endif
