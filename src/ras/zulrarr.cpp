// ZULRA_WalkRing: the newest records of the capture ring, each taken whole
// or not at all, without a lock; and ZULRA_ReadRing, the same as printable
// text for the failure report and the tails.
//
// The records lie in the rings of the threads that logged them
// (zulracr); each is placed among the others by its line's time, then
// its ring, then its number in the ring.  A reader allocates nothing, so
// it finds the records in that order by looking through all the slots
// again for each one: first back from the newest to the `most`-th, then
// forward from there, copying each.  That is some hundred thousand slots
// looked at for a process with a few threads, a millisecond: the price of
// a line that costs its writer no shared word.  A record is given when its
// slot's stamp says it holds that very record, the same before and after
// its text is copied: a slot being filled, or filled meanwhile with a
// newer record, is passed over.  A reader copies each slot before it
// looks at it, so a reader in a signal handler that interrupts a writer
// of the ring on its own thread is safe too.
#include "internal/zulring.h"
#include "ras/zulra.h"

#include <string.h>

namespace {

// Where a record stands among all: its line's time, its ring's number,
// its number in the ring.
struct Place {
    uint64_t order;
    uint32_t ring;
    uint64_t n;
};

int before(const Place &a, const Place &b)
{
    if (a.order != b.order)
        return a.order < b.order;
    if (a.ring != b.ring)
        return a.ring < b.ring;
    return a.n < b.n;
}

// A record found: its place, and where it lies.
struct Found {
    Place place;
    const ZULRA_ring_t *ring;
};

// The place of the record in `slot` of `ring`; 0 for a slot that holds
// none whole just now.
int place_of(const ZULRA_ring_t *ring, const ZULRA_capture_t *slot, Place *place)
{
    uint64_t stamp = __atomic_load_n(&slot->stamp, __ATOMIC_ACQUIRE);
    if (stamp == 0 || (stamp & 1) != 0)
        return 0;
    place->order = __atomic_load_n(&slot->order, __ATOMIC_RELAXED);
    place->ring = ring->id;
    place->n = stamp / 2 - 1;
    return 1;
}

// The record next to `from` among all: the newest before it with `back`,
// else the oldest after it; with no `from`, the newest (or the oldest) of
// all.  0 when there is none.
int next_record(const ZULRA_rings_t *rings, const Place *from, int back, Found *found)
{
    int any = 0;
    for (const ZULRA_ring_t *ring = __atomic_load_n(&rings->newest, __ATOMIC_ACQUIRE);
         ring != nullptr; ring = ring->older) {
        for (uint32_t i = 0; i < ZULRA_CAPTURE_SLOTS; i++) {
            Place place;
            if (!place_of(ring, &ring->slots[i], &place))
                continue;
            if (from != nullptr && (back ? !before(place, *from) : !before(*from, place)))
                continue;
            if (any && (back ? !before(found->place, place) : !before(place, found->place)))
                continue;
            found->place = place;
            found->ring = ring;
            any = 1;
        }
    }
    return any;
}

// Copies the record found out of its slot: its length, or -1 when the
// slot no longer holds it whole.  The text is moved in the same words its
// writer stores, with acquire loads, so that the second look at the stamp
// comes after the copy.
int copy_record(const Found &found, char *text)
{
    const ZULRA_capture_t *slot = &found.ring->slots[found.place.n % ZULRA_CAPTURE_SLOTS];
    uint64_t want = (found.place.n + 1) * 2;
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

uint32_t ZULRA_WalkRing(const ZULRA_rings_t *rings, uint32_t most, ZULRA_record_t each,
                        void *user)
{
    if (rings == nullptr || each == nullptr || most == 0)
        return 0;
    alignas(8) char text[ZULRA_CAPTURE_TEXT + 8];

    // From the newest back, the first of the newest `most` records.  An
    // empty record (the line feed of a line that filled its last record)
    // is not counted.
    Found first;
    int any = 0;
    for (uint32_t found = 0; found < most;) {
        Found older;
        if (!next_record(rings, any ? &first.place : nullptr, 1, &older))
            break;
        first = older;
        any = 1;
        if (copy_record(first, text) > 0)
            found++;
    }
    if (!any)
        return 0;
    // Forward from there; records written meanwhile come behind, up to
    // `most` in all, and the walk takes no more steps than it may give
    // records and pass over a ring's worth of others.
    uint32_t given = 0;
    Found at = first;
    for (uint32_t steps = 0; given < most && steps < most + ZULRA_CAPTURE_SLOTS; steps++) {
        int length = copy_record(at, text);
        if (length > 0) {
            each(user, text, static_cast<uint32_t>(length));
            given++;
        }
        Found newer;
        if (!next_record(rings, &at.place, 0, &newer))
            break;
        at = newer;
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
