// sig/zulsg.h - private records of the portable signals: the control
// record, the process and thread blocks, and the passage between
// portable and host signal sets.
#ifndef ZUL_SRC_SIG_ZULSG_H
#define ZUL_SRC_SIG_ZULSG_H

#include <zul/bss1.h>
#include <zul/sig1.h>

#include "platform/zulplsg.h"

// Entries of the tables of numbers and names: 0 and 48 stand for a bad
// number.
#define ZULSG_TABLE 49

// The control record, one for the process.  The numbers and names are
// fixed; the scan of SIG1C_InitMemory fills the rest once, and nothing
// changes afterwards, so it is read without a lock.
typedef struct SIG1_Control {
    int32_t hostToPortable[ZULPL_SIG_HIGHEST + 1]; // indexed by host number
    int32_t portableToHost[ZULSG_TABLE];
    const char *names[ZULSG_TABLE];
    int32_t lowest;  // lowest available portable number; 0 before the scan
    int32_t highest; // highest available portable number
    SIG1_Set available;
    SIG1_Set async;
    int32_t asyncCount;
    SIG1_Set sync;
    SIG1_Set dump;
    int32_t syncOff;  // "-syncoff": synchronous signals stay with the host
    int32_t asyncOff; // "-asyncoff": asynchronous signals stay with the host
    int32_t dumpOff;  // 1 unless "-dumpon": signals that dump stay with the host
    int32_t trace;    // "-trace": the host handler prints each signal
} SIG1_Control;

// The process block: the disposition of each signal, entry n - 1 for
// signal n.  A handler is written and read with atomic operations, since
// the host handler reads it on any thread at any moment.
typedef struct SIG1_ProcessBlock {
    SIG1_ActionRecord actions[SIG1_LAST];
    SIG1_Control *control;
} SIG1_ProcessBlock;

// The thread block.  `mask` is the thread's blocked set; for the signals
// the host can block it is refreshed from the host's mask at each use.
typedef struct SIG1_ThreadBlock {
    SIG1_Set mask;
    SIG1_ProcessBlock *process;
} SIG1_ThreadBlock;

extern ZULSS_descriptor_t ZULSG_processDescriptor;
extern ZULSS_descriptor_t ZULSG_threadDescriptor;

// The control record, and its address as SIG1C_InitMemory publishes it
// once the scan has begun; the host handler reads the record through it.
extern SIG1_Control ZULSG_control;
extern SIG1_Control *ZULSG_controlPointer;

// Constructors and destructors of the two blocks.
void SIG1C_NewProcess(void *block);
void SIG1C_DeleteProcess(void *block);
void SIG1C_NewThread(void *block);
void SIG1C_DeleteThread(void *block);
void SIG1C_InitMemory(void *unused);
void SIG1C_RegisterHandler(void);
int SIG1C_HostHandler(int hostSignal);

// The calling thread's block, built (and the host hooked) on first use;
// null when memory has run out.
static inline SIG1_ThreadBlock *ZULSG_Thread(void)
{
    return static_cast<SIG1_ThreadBlock *>(ZULSS_THREAD_BLOCK(&ZULSG_threadDescriptor));
}

static inline bool ZULSG_InRange(int signal)
{
    return signal >= SIG1_FIRST && signal <= SIG1_LAST;
}

// The opening of every SIG1_ call: its entry record, read the quick way,
// which never synchronises, so that the calls stay usable in signal
// handlers and while the trace starts.
#define ZULSG_ENTRY(name)                         \
    RAS1_DECLARE_ENTRY(entry, name, RAS1_PUBLIC); \
    RAS1_QUICK(entry, classes, flow)

// The rest of the opening of the calls that work on the calling thread's
// block: the block in *thread, and STC1_Success; STC1_Shortage where the
// block cannot be had, else STC1_BadArgument where `valid`, the call's
// check of its arguments, failed.
static inline int ZULSG_Open(bool valid, SIG1_ThreadBlock **thread)
{
    *thread = ZULSG_Thread();
    if (*thread == nullptr)
        return STC1_Shortage;
    return valid ? STC1_Success : STC1_BadArgument;
}

// The handler of `signal` (1 to 47), read on any thread.
static inline SIG1_Handler ZULSG_LoadHandler(SIG1_ProcessBlock *block, int signal)
{
    return __atomic_load_n(&block->actions[signal - 1].handler, __ATOMIC_ACQUIRE);
}

// The host signals of a portable set: only those the host has.
static inline uint64_t ZULSG_ToHost(const SIG1_Control *control, const SIG1_Set *set)
{
    uint64_t bits = 0;
    for (int n = SIG1_FIRST; n <= SIG1_LAST; n++)
        if (SIG1_IsMember(set, n))
            bits |= ZULPL_SigBit(control->portableToHost[n]);
    return bits;
}

// The portable signals of a host set: host signals without a portable
// number are left out.
static inline SIG1_Set ZULSG_FromHost(const SIG1_Control *control, uint64_t bits)
{
    SIG1_Set set;
    SIG1_EmptySet(&set);
    for (int n = SIG1_FIRST; n <= SIG1_LAST; n++)
        if (bits & ZULPL_SigBit(control->portableToHost[n]))
            SIG1_AddSet(&set, n);
    return set;
}

// The signals whose place in a thread's mask the host keeps: all that
// the host has, except those it never lets be blocked.
static inline uint64_t ZULSG_Maskable(const SIG1_Control *control)
{
    return ZULSG_ToHost(control, &control->available) & ~ZULPL_SigUncatchable();
}

// A caller's set with the bits that stand for no signal (48 to 64)
// cleared.
static inline SIG1_Set ZULSG_Clean(const SIG1_Set *set)
{
    SIG1_Set clean = *set;
    clean.word[1] &= ((uint32_t)1 << (SIG1_LAST - 32)) - 1;
    return clean;
}

// The thread's mask as it stands: the host's word for the signals it
// keeps, the block's bookkeeping for the rest.  Stores it in the block.
// False if the host would not say.
bool ZULSG_CurrentMask(SIG1_ThreadBlock *thread, SIG1_Set *mask);

// Sets the thread's mask to `mask`, at the host for the signals it keeps.
// False if the host refused (the block is then unchanged).
bool ZULSG_SetMask(SIG1_ThreadBlock *thread, const SIG1_Set *mask);

#endif
