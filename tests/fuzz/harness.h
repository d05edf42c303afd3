// Helpers shared by the fuzz targets: a private working directory, files
// written there from the input, and the splitting of an input into parts.
#ifndef ZUL_TESTS_FUZZ_HARNESS_H
#define ZUL_TESTS_FUZZ_HARNESS_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

// Writes `size` bytes as the file `name` of the target's own directory
// (made on first call, removed at a normal exit) and returns its full path,
// valid until the next call with the same name.
const char *zul_fuzz_write(const char *name, const void *data, size_t size);

// Enters the directory (made by a first zul_fuzz_write), or with false goes
// back: while an input is read it is the current directory, so that relative
// names in environment files and filter inclusions name the harness's files.
void zul_fuzz_enter(bool inside);

// Splits `data` at lines that hold exactly "----" into at most `max` parts
// and returns how many there are; a part beyond `max` joins the last.
size_t zul_fuzz_split(const uint8_t *data, size_t size, const uint8_t **parts, size_t *sizes,
                      size_t max);

// A harness check: a failure ends the process with a message.
#define ZUL_FUZZ_CHECK(cond)                                                                       \
    ((cond) ? (void)0                                                                              \
            : (fprintf(stderr, "zul fuzz: check failed at %s:%d: %s\n", __FILE__, __LINE__,       \
                       #cond),                                                                     \
               abort()))

#endif
