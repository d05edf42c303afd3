// ZULLX_Scan: the scan of one token, and the reading of characters
// through an input's ring of cells.
//
// Each character is one table lookup; when its class shares a bit with
// the mask of the present state, it is handled as the one before it was,
// and only a change of class reaches the state table.
#include "lex/zullx.h"

#include <stdlib.h>
#include <string.h>

// What a character does to the token being scanned.
enum : unsigned {
    kEnd = 1,  // the token is finished after this character
    kSkip = 2, // the character is not stored
    kBack = 4, // the character is given back and the token is finished
};

// Masks of the states: the classes that go on without a decision.
static constexpr uint16_t kRunMask = LEX1_CLASS_IDENT | LEX1_CLASS_DIGIT;
static constexpr uint16_t kWordMask = LEX1_CLASS_OTHER | LEX1_CLASS_IDENT | LEX1_CLASS_DIGIT;
static constexpr uint16_t kStringMask = LEX1_CLASS_OTHER | LEX1_CLASS_PUNCT | LEX1_CLASS_OPERATOR |
                                        LEX1_CLASS_IDENT | LEX1_CLASS_DIGIT | LEX1_CLASS_SPACE;

// Escaped character inside a string: a state beyond the token kinds.
static constexpr uint32_t kEscaped = 7;

// Fills the input's cell ring as far as it goes, keeping one cell free.
// Line-end bytes other than the learned terminator are dropped; the
// terminator becomes LF.  An input that has nothing more ends with a blank
// of class end-of-input, and reads no more.
static inline void refill(ZULLX_icb_t *input, const uint16_t *table)
{
    while (input->capacity != 0) {
        ZULLX_cell_t *cell = &input->cells[input->writeCell];
        if (cell->next == input->readCell)
            return;
        if (input->position < input->length) {
            uint8_t byte = static_cast<uint8_t>(input->buffer[input->position++]);
            uint16_t cls = table[byte];
            if (cls & LEX1_CLASS_LINEEND) {
                if (input->lineNumber < 2)
                    input->lineEnd = byte;
                if (byte != input->lineEnd)
                    continue;
                byte = '\n';
            }
            cell->byte = byte;
            cell->cls = cls;
        } else {
            if (input->read != nullptr) {
                uint32_t got = input->read(input->context, &input->userWord, input->buffer,
                                           input->capacity);
                if (got != 0) {
                    // A read function that claims more than it was offered
                    // gets no further than its buffer.
                    input->length = got < input->capacity ? got : input->capacity;
                    input->position = 0;
                    continue;
                }
            }
            input->capacity = 0;
            cell->byte = ' ';
            cell->cls = LEX1_CLASS_END;
        }
        input->writeCell = cell->next;
    }
}

// The largest text buffer of a slot: the last multiple of 256 that a
// 32-bit length reaches.
static constexpr uint32_t kMaxTokenBuffer = 0xFFFFFF00u;

// Makes room for one more byte of text in the slot.  The buffer starts at
// 256 bytes and doubles, in multiples of 256, so that a long token costs
// time in proportion to its length; it is kept from token to token.
static bool grow(ZULLX_token_t *slot)
{
    if (slot->length >= kMaxTokenBuffer)
        return false;
    uint64_t size = slot->capacity < 256 ? 256 : 2 * static_cast<uint64_t>(slot->capacity);
    size = (size + 255) & ~uint64_t{0xFF};
    if (size <= slot->length)
        size = (static_cast<uint64_t>(slot->length) + 256) & ~uint64_t{0xFF};
    if (size > kMaxTokenBuffer)
        size = kMaxTokenBuffer;
    char *buffer = static_cast<char *>(realloc(slot->capacity != 0 ? slot->buffer : nullptr, size));
    if (buffer == nullptr)
        return false;
    slot->buffer = buffer;
    slot->capacity = static_cast<uint32_t>(size);
    return true;
}

// Where a scan stands: the token kind so far (0 before its first
// character), the classes that go on without a decision, and the quote
// that opened a string.
typedef struct {
    uint32_t state;
    uint16_t mask;
    uint8_t quote;
} scan_t;

// The decision at a change of class: what character `byte` of class `cls`
// does to the token (the result), the state and mask that follow, and in
// *status the error of a string left open.
static inline unsigned decide(scan_t *s, uint16_t cls, uint8_t byte, uint32_t *status)
{
    switch (s->state) {
    case 0:
        if (cls & LEX1_CLASS_SPACE) {
            s->mask = LEX1_CLASS_SPACE;
            return kSkip;
        }
        if (cls & LEX1_CLASS_IDENT) {
            s->mask = kRunMask;
            s->state = LEX1_KIND_IDENTIFIER;
        } else if (cls & LEX1_CLASS_DIGIT) {
            s->mask = kRunMask;
            s->state = LEX1_KIND_NUMBER;
        } else if (cls & LEX1_CLASS_QUOTE) {
            s->mask = kStringMask;
            s->state = LEX1_KIND_STRING;
            s->quote = byte;
            return kSkip;
        } else if (cls & LEX1_CLASS_PUNCT) {
            s->state = LEX1_KIND_PUNCTUATION;
            return kEnd;
        } else if (cls & LEX1_CLASS_OPERATOR) {
            s->mask = LEX1_CLASS_OPERATOR;
            s->state = LEX1_KIND_OPERATOR;
        } else if (cls & LEX1_CLASS_END) {
            return kSkip;
        } else {
            s->mask = kWordMask;
            s->state = LEX1_KIND_WORD;
        }
        return 0;
    case LEX1_KIND_NUMBER:
    case LEX1_KIND_IDENTIFIER:
        // A byte of class other turns the run into a word.
        if (!(cls & LEX1_CLASS_OTHER))
            return kBack;
        s->mask = kWordMask;
        s->state = LEX1_KIND_WORD;
        return 0;
    case LEX1_KIND_STRING:
        if (cls & LEX1_CLASS_ESCAPE) {
            s->mask = 0; // whatever follows reaches the escaped state
            s->state = kEscaped;
            return kSkip;
        }
        if (!(cls & LEX1_CLASS_QUOTE)) {
            *status = LEX1_OpenString;
            return kEnd;
        }
        return byte == s->quote ? kSkip | kEnd : 0;
    case kEscaped:
        s->mask = kStringMask;
        s->state = LEX1_KIND_STRING;
        if (cls & LEX1_CLASS_END) {
            *status = LEX1_OpenString;
            return kEnd;
        }
        return 0;
    default: // word and operator runs end at any other class
        return kBack;
    }
}

// The next cell of the scanner's current input, refilled as needed; null
// when there is no input, or when it is used up, which drops it so that
// the older input goes on behind it.
static inline const ZULLX_cell_t *next_cell(ZULLX_lcb_t *scanner, uint16_t *at)
{
    ZULLX_icb_t *input = scanner->input;
    if (input == nullptr)
        return nullptr;
    refill(input, scanner->table.classes);
    if (input->writeCell == input->readCell) {
        scanner->input = input->link;
        free(input);
        return nullptr;
    }
    *at = input->readCell;
    const ZULLX_cell_t *cell = &input->cells[*at];
    input->readCell = cell->next;
    return cell;
}

uint32_t ZULLX_Scan(ZULLX_lcb_t *scanner, ZULLX_token_t *slot)
{
    slot->text = nullptr;
    slot->length = 0;
    slot->line = 0;
    slot->column = 0;
    slot->kind = 0;
    slot->classes = 0;

    scan_t scan = {0, 0, 0};
    uint32_t status = LEX1_OK;
    unsigned remembered = 0;

    for (;;) {
        uint16_t at;
        const ZULLX_cell_t *cell = next_cell(scanner, &at);
        if (cell == nullptr) {
            status = LEX1_End;
            break;
        }
        ZULLX_icb_t *input = scanner->input;
        uint16_t cls = cell->cls;

        // Within a run the character does what the one before it did: only
        // a run of blanks before the token does anything (it is skipped).
        unsigned action = remembered;
        if (!(cls & scan.mask)) {
            action = decide(&scan, cls, cell->byte, &status);
            remembered = scan.state == 0 && (cls & LEX1_CLASS_SPACE) ? unsigned{kSkip} : 0u;
        }

        if (action & kBack) {
            input->readCell = at;
            break;
        }
        if (cls & LEX1_CLASS_LINEEND) {
            input->lineNumber++;
            input->columnNumber = 0;
        }
        if (!(action & kSkip)) {
            if (slot->length == slot->capacity && !grow(slot)) {
                status = LEX1_NoTokenMemory;
                break;
            }
            slot->buffer[slot->length] = static_cast<char>(cell->byte);
            slot->classes |= cls;
            if (slot->length++ == 0) {
                slot->line = input->lineNumber;
                slot->column = input->columnNumber++;
            }
        }
        if (action & kEnd)
            break;
    }
    slot->kind = scan.state == kEscaped ? LEX1_KIND_STRING : scan.state;
    return status;
}
