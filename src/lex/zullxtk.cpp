// LEX1_Token: fills the ring of token slots ahead and delivers the next
// token with its look-ahead.
#include "lex/zullx.h"

const ZULLX_token_t ZULLX_endOfScan = {"<end-of-scan>", 13, 0x4000, 0, 0, 0,
                                       nullptr, nullptr, nullptr, 0, 0};

// Text of a token whose slot has no buffer yet (an empty string).
static const char kNoText[] = "";

int LEX1_Token(ZULLX_handle_t handle, const ZULLX_token_t **tokens, uint32_t count,
               uint32_t *delivered)
{
    ZULLX_lcb_t *scanner = ZULLX_Scanner(handle);
    uint32_t taken = 0;
    int status = LEX1_OK;

    if (scanner == nullptr) {
        status = LEX1_BadHandle;
    } else if (count == 0 || tokens == nullptr) {
        status = LEX1_BadArgument;
    } else {
        // Read ahead until the ring is full.  The slot before `head` is
        // never filled: it holds the token consumed by the previous call.
        // A failed scan keeps its status in its slot and the reading goes
        // on behind it.
        ZULLX_token_t *slot = scanner->fill;
        slot->status = LEX1_OK;
        while (slot->next != scanner->head) {
            uint32_t result = ZULLX_Scan(scanner, slot);
            slot->status = result;
            if (result == LEX1_OK) {
                slot->text = slot->capacity != 0 ? slot->buffer : kNoText;
                if (scanner->filter != nullptr &&
                    scanner->filter(scanner->filterContext, &scanner->table, slot) != 0)
                    continue; // discarded: the same slot is scanned again
            }
            slot = slot->next;
            slot->status = LEX1_OK;
            scanner->fill = slot;
        }

        for (ZULLX_token_t *t = scanner->head; t != scanner->fill && taken < count; t = t->next) {
            if (t->status != LEX1_OK)
                break;
            tokens[taken++] = t;
        }
        if (taken == 0)
            status = static_cast<int>(scanner->head->status);
        // The first token, or the failure that stopped the delivery, is
        // consumed; the others come again.
        scanner->head = scanner->head->next;
    }

    if (tokens != nullptr)
        for (uint32_t i = taken; i < count; ++i)
            tokens[i] = &ZULLX_endOfScan;
    if (delivered != nullptr)
        *delivered = taken;
    return status;
}
