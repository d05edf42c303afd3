/*
 * bss/zulss.h - private records of the basic system services.
 */
#ifndef ZUL_SRC_BSS_ZULSS_H
#define ZUL_SRC_BSS_ZULSS_H

#include <zul/bss1.h>

/* The process block of the BSS1 family. */
typedef struct ZULSS_pcb {
    ZULSS_lock_t configLock; /* guards configList; comes into being at first use */
    ZULSS_lock_t keyLock;    /* guards keyCount */
    void *configList;        /* configuration variables */
    uint32_t keyCount;       /* highest thread key handed out */
    uint32_t tlsIndex;       /* thread-local slot holding each thread's table */
    uint32_t lineLimit;      /* longest line record of a format object: 127 */
} ZULSS_pcb_t;

/* The public, forwarding descriptor of the BSS1 process block (a word block
 * whose constructor resolves the real one). */
extern ZULSS_descriptor_t ZULSS_pcbDescriptor;

/* The BSS1 process block, built on first use. */
static inline ZULSS_pcb_t *ZULSS_Pcb(void)
{
    return (ZULSS_pcb_t *)ZULSS_PROCESS_BLOCK(&ZULSS_pcbDescriptor);
}

/* Runs at the end of the BSS1 block's construction to register the
 * family's console command; empty until the console exists. */
void ZULSS_RegisterCommand(void *pcb);

#endif
