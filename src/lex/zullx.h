// lex/zullx.h - private records of the scanner and argument lists.
#ifndef ZUL_SRC_LEX_ZULLX_H
#define ZUL_SRC_LEX_ZULLX_H

#include <zul/lex1.h>

// The family's process block: the default class table.
typedef struct ZULLX_pcb {
    uint32_t flags; // bit 0: the table is set
    uint16_t classes[256];
} ZULLX_pcb_t;

// The default table, built at first use.
const ZULLX_pcb_t *ZULLX_Pcb(void);

// One character already read from an input.
typedef struct ZULLX_cell {
    uint16_t prev, next; // neighbours in the ring of 8, fixed at creation
    uint16_t cls;
    uint8_t byte;
} ZULLX_cell_t;

#define ZULLX_CELLS 8u

// An input record; its buffer follows it in the same allocation.
typedef struct ZULLX_icb {
    struct ZULLX_icb *link; // next older input
    ZULLX_read_t read;      // null for a text input
    void *context;
    uint32_t userWord;
    char *buffer;
    ZULLX_cell_t cells[ZULLX_CELLS];
    uint16_t writeCell, readCell;
    uint32_t length;   // bytes valid in buffer
    uint32_t position; // next byte to take
    uint32_t capacity; // size of buffer; 0 once the input is used up
    uint32_t lineNumber;
    uint32_t columnNumber;
    uint8_t lineEnd;
} ZULLX_icb_t;

// A scanner; its token slots follow it in the same allocation.
typedef struct ZULLX_lcb {
    ZULLX_icb_t *input;  // top of the input stack
    ZULLX_token_t *fill; // the slot the scan fills next
    ZULLX_token_t *head; // the slot of the next token to deliver
    ZULLX_filter_t filter;
    void *filterContext;
    uint32_t slotCount;
    ZULLX_table_t table; // tableWord 0 and the class table
    ZULLX_token_t slots[];
} ZULLX_lcb_t;

#define ZULLX_CHECK 0xBEEFu
#define ZULLX_DEAD 0xDEADu

static inline ZULLX_lcb_t *ZULLX_Scanner(ZULLX_handle_t handle)
{
    if (handle.address == 0 ||
        (((uint32_t)(uintptr_t)handle.address ^ handle.check) & 0xFFFFu) != ZULLX_CHECK)
        return 0;
    return (ZULLX_lcb_t *)handle.address;
}

// Makes an input record with `size` bytes of buffer behind it, its cell
// ring linked and its counters at their start; null if memory ran out.
ZULLX_icb_t *ZULLX_NewInput(uint32_t size);

// Scans one token into `slot`.  Returns 0, LEX1_NoTokenMemory, LEX1_End
// or LEX1_OpenString; `kind` always receives the final state.
uint32_t ZULLX_Scan(ZULLX_lcb_t *scanner, ZULLX_token_t *slot);

// The <end-of-scan> record.
extern const ZULLX_token_t ZULLX_endOfScan;

// A storage block of a tree; the storage follows the header.
typedef struct ZULLX_block {
    struct ZULLX_block *next;
    uint32_t remaining; // bytes free
    char *cursor;       // the free space
} ZULLX_block_t;

// Carves `size` bytes, zero-filled, out of the blocks of `chain` (the
// `blocks` of a root, or of a stand-in before the root exists), rounded
// up to whole argument records.  Null if memory ran out.
void *ZULLX_Carve(ZULLX_list_t *chain, size_t size);

// Frees every block of `chain`.
void ZULLX_FreeBlocks(ZULLX_block_t *chain);

// Writes the message of `status` on `format`, with `argument` after it
// if not null.
void ZULLX_Report(ZULSS_format_t *format, uint32_t status, ZULLX_arg_t *argument);

#endif
