// bss/zulss.h - private records of the basic system services.
#ifndef ZUL_SRC_BSS_ZULSS_H
#define ZUL_SRC_BSS_ZULSS_H

#include <zul/bss1.h>

struct ZULSS_config;

// The process block of the BSS1 family.  The bss1 command's dumpcvt shows
// its first 32 bytes.
typedef struct ZULSS_pcb {
    ZULSS_lock_t configLock; // guards configList; comes into being at first use
    ZULSS_lock_t keyLock;    // guards keyCount
    struct ZULSS_config *configList; // configuration variables, newest first
    uint32_t keyCount;       // highest thread key handed out
    uint32_t tlsIndex;       // thread-local slot holding each thread's table
    uint32_t lineLimit;      // longest line record of a format object: 127
} ZULSS_pcb_t;

// One pool slot: a lock that serves one construction at a time.
typedef struct ZULSS_slot {
    ZULSS_lock_t lock;
    uint32_t owner;   // thread running a constructor under this slot, or 0
    const char *file; // that thread's caller, for the recursion message
    int32_t line;
    int32_t next;     // next slot in the free list
} ZULSS_slot_t;

// Work postponed until no construction runs in the process.
typedef struct ZULSS_epilog {
    struct ZULSS_epilog *next;
    ZULSS_constructor_t function;
    void *argument;
} ZULSS_epilog_t;

#define ZULSS_POOL_SLOTS 64
#define ZULSS_POOL_LIMIT 63 // slot 0 is the master slot, never handed out

typedef struct ZULSS_pool {
    ZULSS_slot_t slots[ZULSS_POOL_SLOTS];
    ZULSS_epilog_t *epilogs; // last registered first
    int32_t active;          // constructions begun and not yet ended
    int32_t free;            // head of the returned slots; 0: empty
    int32_t highest;         // highest slot number ever handed out
} ZULSS_pool_t;

extern ZULSS_pool_t ZULSS_pool;

// One thread block of one thread; the block follows the header.
typedef struct alignas(16) ZULSS_tentry {
    struct ZULSS_tentry *next;      // older entry
    uintptr_t block;                // the block's address, or a word block's value
    ZULSS_descriptor_t *descriptor; // where the destructor is found
} ZULSS_tentry_t;

// A thread's table of blocks, indexed by key - 1; the array follows.
typedef struct ZULSS_ttable {
    uint32_t capacity;
    ZULSS_tentry_t **slots;
    ZULSS_tentry_t *chain; // newest first
} ZULSS_ttable_t;

// The calling thread's table, or null.
ZULSS_ttable_t *ZULSS_ThreadTable(void);

// The texts recorded by BSS1_Main; each may be null.
const char *ZULSS_ProgramArg0(void);
const char *ZULSS_CommandLine(void);
const char *ZULSS_ProgramName(void);

// The public, forwarding descriptor of the BSS1 process block (a word block
// whose constructor resolves the real one).
extern ZULSS_descriptor_t ZULSS_pcbDescriptor;

// The BSS1 process block, built on first use.
static inline ZULSS_pcb_t *ZULSS_Pcb(void)
{
    return (ZULSS_pcb_t *)ZULSS_PROCESS_BLOCK(&ZULSS_pcbDescriptor);
}

// A configuration variable: one allocation, the name behind the record.
// Records are never removed.
typedef struct ZULSS_config {
    struct ZULSS_config *next; // older variable
    const char *name;          // zero-terminated
    ZULSS_confighandler_t handler;
    void *context;
    char *value;               // `valueLength` bytes, not terminated; null until a value is set
    uint32_t valueLength;
    int32_t status;            // the handler's verdict on the value, or STC1_Shortage
    uint32_t capacity;         // bytes at `value`, a multiple of ZULSS_CONFIG_UNIT
    uint32_t nameLength;
} ZULSS_config_t;

#define ZULSS_CONFIG_UNIT 128u

// The variable named exactly `name` (case counts), or null.  The caller
// holds configLock.
ZULSS_config_t *ZULSS_FindConfig(ZULSS_pcb_t *pcb, const char *name);

#endif
