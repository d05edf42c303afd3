// internal/zulring.h - reading the newest lines of the log's capture ring
// without its lock, for code that may not wait (the failure report), or
// held, for code that may (a tail's first lines).
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

// The same for a reader that may wait, outside a signal handler: the ring
// is held while it is read, so that no record changes under the reader
// (lines written meanwhile pass the ring by, as they do while `ras1 log`
// reads it).
uint32_t ZULRA_CopyRing(uint32_t most, ZULRA_ringline_t each, void *user);

#ifdef __cplusplus
}
#endif

#endif
