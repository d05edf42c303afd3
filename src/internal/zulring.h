// internal/zulring.h - reading the newest lines of the log's capture ring:
// without its lock, for code that may not wait (the failure report), or
// holding the ring for a moment (the console server's tails).
#ifndef ZUL_SRC_INTERNAL_ZULRING_H
#define ZUL_SRC_INTERNAL_ZULRING_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Called once for each line, oldest first, with a copy of its text (no
// line end, every byte printable or a blank) and the caller's word.
typedef void (*ZULRA_ringline_t)(void *user, const char *text, uint32_t length);

// Gives the newest `most` records of the capture ring to `each`, oldest
// first; a line longer than one record comes as several.  Takes no lock,
// allocates nothing and builds nothing, so it may run in a signal
// handler: a trace that has not started yet has no ring, and gives 0.  A
// record that a writer changes while it is read may come out torn or
// from two lines; it never runs past its slot.  Gives the number given.
uint32_t ZULRA_ReadRing(uint32_t most, ZULRA_ringline_t each, void *user);

// The same for code that may wait a moment (the console server's tails):
// the ring is held while it is read, as `ras1 log` holds it, so no record
// comes out torn; lines written meanwhile reach their stores but not the
// ring.  Not for a signal handler: it takes the ring's lock.
uint32_t ZULRA_ReadRingHeld(uint32_t most, ZULRA_ringline_t each, void *user);

#ifdef __cplusplus
}
#endif

#endif
