/*
 * zulrasm - the seams of the trace.
 *
 * RAS1_Sync, RAS1_Event and ZULRA_ConstructPCB call into parts of the
 * trace that are not built yet: the filters and their string pool, the
 * console command, the build banner and the start of the service.  Each
 * such decision is made by one function here, which says what it decides
 * until its part arrives.  As each part lands, its function leaves this
 * file for a unit of its own.
 */
#include "ras/zulra.h"

/* The start of the service: the default store, the reading of the
 * settings, the exit routine that keeps unit names in one form, the
 * byte-order check and the build banner.  Until then the service starts
 * with no store and no class, so every record's word is 0. */
void InitializeRAS1(void *block)
{
    (void)block;
}

/* The ras1 console command.  Until the console exists there is nothing to
 * register. */
void ZULRA_RegisterCommand(void *block)
{
    (void)block;
}

/* The string pool's index tree.  Until filters exist no text enters the
 * pool, and the index stays empty. */
void ZULRA_CreatePool(ZULRA_pcb_t *block)
{
    (void)block;
}

/* The filter walk.  Until filters exist the list stays empty, so no
 * filter matches and the default class decides. */
int ZULRA_MatchFilters(ZULRA_pcb_t *block, ZULRA_entry_t *entry, uint32_t *classes)
{
    (void)block;
    (void)entry;
    (void)classes;
    return 0;
}

/* The build banner.  Until the log can be written there is nowhere to
 * write it; the record still counts as met. */
void ZULRA_ShowBuild(ZULRA_build_t *build)
{
    (void)build;
}
