// Helpers shared by the fuzz targets: a private working directory, files
// written there from the input, and a guard on the files the library opens.
//
// Every target has a directory of its own, made at start.  While an input
// runs (between zul_fuzz_begin and zul_fuzz_end) it is the current
// directory, so relative names in environment files and filter inclusions
// name the harness's files, and the library's fopen calls for reading go
// through a guard: a path that does not resolve into the directory does
// not open, and neither does any file beyond the input's budget of opens.
// That keeps a fuzzed name such as /dev/zero or a self-inclusion that fans
// out from turning every later run into the same hang; docs/fuzzing.md
// says how to replay a reproducer without the guard.
#ifndef ZUL_TESTS_FUZZ_HARNESS_H
#define ZUL_TESTS_FUZZ_HARNESS_H

#include <stddef.h>
#include <stdint.h>

// The directory, made on first call; removed when the process exits
// normally.
const char *zul_fuzz_dir(void);

// Writes `size` bytes as the file `name` of the directory and returns its
// full path (valid until the next call with the same name).
const char *zul_fuzz_write(const char *name, const void *data, size_t size);

// Enters the directory and guards fopen: at most `opens` files open for
// reading until zul_fuzz_end, which goes back to the first directory.  ZUL_FUZZ_UNGUARDED=1 in the environment turns the guard
// off, for replaying a reproducer of a fault the guard keeps away.
void zul_fuzz_begin(unsigned opens);
void zul_fuzz_end(void);

// Ends the process with a message: a harness check failed.
[[noreturn]] void zul_fuzz_fail(const char *what, const char *file, int line);

#define ZUL_FUZZ_CHECK(cond)                                                                       \
    do {                                                                                           \
        if (!(cond))                                                                               \
            zul_fuzz_fail(#cond, __FILE__, __LINE__);                                              \
    } while (0)

// Splits `data` at lines that hold exactly "----": stores up to `max`
// parts (start and size) and returns how many there are.  Bytes of the
// separating lines belong to no part; a part beyond `max` joins the last.
size_t zul_fuzz_split(const uint8_t *data, size_t size, const uint8_t **parts, size_t *sizes,
                      size_t max);

#endif
