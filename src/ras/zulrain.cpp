// zulrain - InitializeRAS1 and ZULRA_LoadSettings: the start of the trace.
//
// Nothing calls a start function: the first sync that is not suspended
// runs InitializeRAS1 once.  It gives the process its default store on
// standard output (or the target that ZUL_RAS1 names, see zulratg), reads
// ZUL_RAS1,
// checks the byte order and writes the library's build banner.
//
// All of it runs under once-only construction, so nothing here may sync
// a record on this thread: it would find its own construction and abort.
#include "ras/zulralg.h"
#include "internal/zulstart.h"
#include "platform/zulplat.h"

#include <stdlib.h>
#include <string.h>

// Set once a store of the program's own was registered before the start:
// the start then leaves ZUL_RAS1 unread.
static constinit uint32_t ras1NotRead = 0;

int ZULRA_Ras1NotRead(void)
{
    return static_cast<int>(__atomic_load_n(&ras1NotRead, __ATOMIC_ACQUIRE));
}

void ZULRA_NoteStoreBeforeStart(ZULRA_pcb_t *block)
{
    ZUL_ASSERT_HELD(&block->lock);
    if (__atomic_load_n(&block->once, __ATOMIC_ACQUIRE) == 0)
        __atomic_store_n(&ras1NotRead, 1u, __ATOMIC_RELEASE);
}

void ZULRA_LoadSettings(void)
{
    const char *value = BSS1_LocateEnv("ZUL_RAS1");
    uint32_t expression = ZULRA_SetUpTarget(value);
    if (value == nullptr)
        return;

    // The expression is read from a copy: the parser writes into its text
    // and the value belongs to the environment.
    char *copy = static_cast<char *>(malloc(expression + 1));
    if (copy == nullptr)
        return;
    memcpy(copy, value, expression);
    copy[expression] = '\0';
    (void)RAS1_InterpretString(copy, expression);
    free(copy);
}

// A static word that holds 1: its first byte in memory is 1 on a
// little-endian machine, the order that the records were laid out for.
static const uint32_t one = 1;

void InitializeRAS1(void *argument)
{
    ZULRA_pcb_t *block = static_cast<ZULRA_pcb_t *>(argument);

    uint32_t stores;
    {
        ZULSS_HOLD(&block->lock);
        stores = block->storeCount;
    }
    // A process that registered a store of its own before its first
    // traced call has chosen its log itself.
    if (stores == 0)
        ZULRA_LoadSettings();
    else
        __atomic_store_n(&ras1NotRead, 1u, __ATOMIC_RELEASE);

    unsigned char first;
    memcpy(&first, &one, 1);
    // Like every message before an abort, on standard error.
    if (first != 1)
        ZULPL_Abort("MAC1_ENV_LENDIAN option does not match runtime environment: %d\n", first);

    // The library's own build record is known from the start, whether
    // or not one of its units is ever traced.
    ZULRA_build_t *build = nullptr;
    ZULRA_BuildInfo(&build);
    if (build != nullptr) {
        ZULSS_HOLD(&block->anchor->lock);
        ZULRA_Remember(block, ZULRA_LIST_BUILDS, build);
    }

    int configured;
    {
        ZULSS_HOLD(&block->lock);
        configured = !ZULRA_NothingConfigured(block);
    }
    if (configured && build != nullptr)
        ZULRA_ShowBuild(build);

    // What the environment's reading kept for the trace is written once
    // this start has ended and records can be synchronised.
    BSS1_InitializeEpilog(ZULSS_WriteEnvNotes, nullptr);
}
