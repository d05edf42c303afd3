// The process block of the BSS1 family and its descriptors.
//
// Code refers to the public descriptor, which forwards to the real one
// (internal/zulforward.h).
#include "bss/zulss.h"
#include "internal/zulcommands.h"
#include "internal/zulforward.h"
#include "platform/zulplat.h"

static void drop_at_thread_end(void *table)
{
    // The thread is ending.  The system has already emptied the slot;
    // destructors may still resolve older blocks of this thread, so the
    // table goes back in until it has been dropped.
    ZULSS_pcb_t *pcb = ZULSS_Pcb();
    ZULPL_TlsSet(pcb->tlsIndex, table);
    BSS1__DropThread(table);
}

static void construct_pcb(void *block)
{
    ZULSS_pcb_t *pcb = static_cast<ZULSS_pcb_t *>(block);
    BSS1_InitializeLock(&pcb->keyLock);
    pcb->lineLimit = 127;
    ZULPL_TlsAlloc(&pcb->tlsIndex, drop_at_thread_end);
    // The bss1 command, once no construction is under way; null without
    // the command units (internal/zulcommands.h).
    BSS1_InitializeEpilog(ZULSS_RegisterCommand, pcb);
}

static constinit ZULSS_descriptor_t realDescriptor = {
    sizeof(ZULSS_pcb_t), construct_pcb, nullptr, 0, 0};

ZULSS_FORWARDING_DESCRIPTOR(ZULSS_pcbDescriptor, realDescriptor);

ZULSS_ttable_t *ZULSS_ThreadTable(void)
{
    return static_cast<ZULSS_ttable_t *>(ZULPL_TlsGet(ZULSS_Pcb()->tlsIndex));
}
