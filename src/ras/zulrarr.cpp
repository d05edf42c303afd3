// ZULRA_ReadRing: the newest records of the capture ring, read without a
// lock; and ZULRA_ReadRingHeld, the same with the ring held.
//
// The ring is a fixed circle of slots, linked once when the trace's block
// is built; only the write position and the slots' texts change after
// that.  A reader that takes the write position once and walks at most
// one turn from it therefore always stays on real slots.  Each slot is
// copied before it is looked at, its length is bounded by its room, and
// bytes that are not printable come out as '?', so a slot that a writer
// is filling at the same time gives a torn line and nothing worse.
#include "internal/zulring.h"
#include "ras/zulra.h"

#include <string.h>

uint32_t ZULRA_ReadRing(uint32_t most, ZULRA_ringline_t each, void *user)
{
    // Only a block that exists: building one here could take locks.
    uintptr_t address = __atomic_load_n(&ZULRA_pcbDescriptor.result, __ATOMIC_ACQUIRE);
    if (address == 0 || each == nullptr || most == 0)
        return 0;
    ZULRA_pcb_t *block = reinterpret_cast<ZULRA_pcb_t *>(address);
    ZULRA_capture_t *start = __atomic_load_n(&block->capture, __ATOMIC_ACQUIRE);
    if (start == nullptr)
        return 0;

    // The slots after the write position, oldest first, end back at it.
    // Count the ones that hold text, then skip all but the newest `most`.
    uint32_t filled = 0;
    ZULRA_capture_t *slot = start->next;
    for (uint32_t n = 0; slot != start && n < ZULRA_CAPTURE_SLOTS; n++, slot = slot->next)
        if (__atomic_load_n(&slot->length, __ATOMIC_RELAXED) != 0)
            filled++;
    uint32_t skip = filled > most ? filled - most : 0;
    uint32_t given = 0;
    slot = start->next;
    for (uint32_t n = 0; slot != start && n < ZULRA_CAPTURE_SLOTS; n++, slot = slot->next) {
        uint32_t length = __atomic_load_n(&slot->length, __ATOMIC_RELAXED);
        if (length == 0)
            continue;
        if (skip > 0) {
            skip--;
            continue;
        }
        if (length > sizeof slot->text)
            length = sizeof slot->text;
        char text[sizeof slot->text];
        memcpy(text, slot->text, length);
        while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r'))
            length--;
        for (uint32_t i = 0; i < length; i++)
            if ((unsigned char)text[i] < 0x20 || text[i] == 0x7F)
                text[i] = text[i] == '\t' ? ' ' : '?';
        each(user, text, length);
        if (++given == most)
            break;
    }
    return given;
}

uint32_t ZULRA_ReadRingHeld(uint32_t most, ZULRA_ringline_t each, void *user)
{
    if (__atomic_load_n(&ZULRA_pcbDescriptor.result, __ATOMIC_ACQUIRE) == 0)
        return 0;
    ZULRA_pcb_t *block = ZULRA_Pcb();
    ZULRA_HoldCapture(block, 1);
    uint32_t given = ZULRA_ReadRing(most, each, user);
    ZULRA_HoldCapture(block, 0);
    return given;
}
