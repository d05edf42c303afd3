// internal/zulring.h - reading the newest lines of the log's capture ring,
// for the failure report and the console server's tails.
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
// handler: a trace that has not started yet has no ring, and gives 0.
// Each record comes whole: one that a writer is changing while it is read
// is left out.  Gives the number given.
uint32_t ZULRA_ReadRing(uint32_t most, ZULRA_ringline_t each, void *user);

#ifdef __cplusplus
}
#endif

#endif
