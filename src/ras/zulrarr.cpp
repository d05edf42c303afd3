// ZULRA_WalkRing: the newest records of the capture ring, each taken whole
// or not at all, without a lock; and ZULRA_ReadRing, the same as printable
// text for the failure report and the tails.
//
// Record n lives in slot n % ZULRA_CAPTURE_SLOTS, and the newest records
// are those numbered just below the count claimed.  A record is given
// when its slot's stamp says it holds that very record, before and after
// its text is copied: a slot being filled, or filled meanwhile with a
// newer record, or one whose record a thread claimed and never wrote, is
// passed over.  The count is read once, and a reader copies each slot
// before it looks at it, so a reader in a signal handler that interrupts a
// writer of the ring on its own thread is safe too.
#include "internal/zulring.h"
#include "ras/zulra.h"

#include <string.h>

namespace {

// Copies record `n` out of its slot: its length, or -1 when the slot does
// not hold it whole.  The text is moved in the same words its writer
// stores, with acquire loads, so that the second look at the stamp comes
// after the copy.
int copy_record(const ZULRA_capture_t *slots, uint64_t n, char *text)
{
    const ZULRA_capture_t *slot = &slots[n % ZULRA_CAPTURE_SLOTS];
    uint64_t want = (n + 1) * 2;
    if (__atomic_load_n(&slot->stamp, __ATOMIC_ACQUIRE) != want)
        return -1;
    uint32_t length = __atomic_load_n(&slot->length, __ATOMIC_ACQUIRE);
    if (length > sizeof slot->text)
        length = sizeof slot->text;
    const uint64_t *from = reinterpret_cast<const uint64_t *>(slot->text);
    for (uint32_t at = 0; at < length; at += 8) {
        uint64_t word = __atomic_load_n(from++, __ATOMIC_ACQUIRE);
        memcpy(text + at, &word, sizeof word);
    }
    if (__atomic_load_n(&slot->stamp, __ATOMIC_ACQUIRE) != want)
        return -1;
    return static_cast<int>(length);
}

// The failure report's and the tails' caller, and its word.
struct Printing {
    ZULRA_ringline_t each;
    void *user;
};

// Gives a record as printable text: no line end, a blank for a tab, '?'
// for any other control character.
void printable(void *user, const char *copy, uint32_t length)
{
    const Printing *printing = static_cast<const Printing *>(user);
    char text[ZULRA_CAPTURE_TEXT];
    memcpy(text, copy, length);
    while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r'))
        length--;
    for (uint32_t i = 0; i < length; i++)
        if (static_cast<unsigned char>(text[i]) < 0x20 || text[i] == 0x7F)
            text[i] = text[i] == '\t' ? ' ' : '?';
    printing->each(printing->user, text, length);
}

} // namespace

uint32_t ZULRA_WalkRing(const ZULRA_capture_t *slots, uint32_t most, ZULRA_record_t each,
                        void *user)
{
    if (slots == nullptr || each == nullptr || most == 0)
        return 0;
    uint64_t claimed = __atomic_load_n(&ZULRA_ringCount.claimed, __ATOMIC_ACQUIRE);
    uint64_t oldest = claimed > ZULRA_CAPTURE_SLOTS ? claimed - ZULRA_CAPTURE_SLOTS : 0;
    alignas(8) char text[ZULRA_CAPTURE_TEXT + 8];

    // From the newest back, the first of the newest `most` records.  An
    // empty record (the line feed of a line that filled its last record)
    // is not shown.
    uint64_t from = claimed;
    for (uint32_t found = 0; from > oldest && found < most;) {
        from--;
        if (copy_record(slots, from, text) > 0)
            found++;
    }
    uint32_t given = 0;
    for (uint64_t n = from; n < claimed && given < most; n++) {
        int length = copy_record(slots, n, text);
        if (length <= 0)
            continue;
        each(user, text, static_cast<uint32_t>(length));
        given++;
    }
    return given;
}

uint32_t ZULRA_ReadRing(uint32_t most, ZULRA_ringline_t each, void *user)
{
    // Only a block that exists: building one here could take locks.
    uintptr_t address = __atomic_load_n(&ZULRA_pcbDescriptor.result, __ATOMIC_ACQUIRE);
    if (address == 0 || each == nullptr)
        return 0;
    const ZULRA_pcb_t *block = reinterpret_cast<const ZULRA_pcb_t *>(address);
    Printing printing = {each, user};
    return ZULRA_WalkRing(__atomic_load_n(&block->capture, __ATOMIC_ACQUIRE), most, printable,
                          &printing);
}
