// internal/zulprogram.h - the program's name: one rule for the log
// header, the environment's system table, the failure report and the
// console socket.
#ifndef ZUL_SRC_INTERNAL_ZULPROGRAM_H
#define ZUL_SRC_INTERNAL_ZULPROGRAM_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// The name by the rule from `path`: the part behind the last "/", cut at
// its last "." unless that is its first byte; blanks, control bytes and
// DEL made "_"; "zul" if nothing is left.  Writes at most `size` - 1 bytes
// and a zero byte (nothing if `size` is 0); returns the length written.
size_t ZULSS_NameOfPath(const char *path, char *out, size_t size);

// The program's name: the rule applied to the path of its executable
// (/proc/self/exe), or where that cannot be read to the argv[0] that
// BSS1_Main recorded.  Allocates nothing and takes no lock.
size_t ZULSS_ProgramBase(char *out, size_t size);

#ifdef __cplusplus
}
#endif

#endif
