// internal/zulassert.h - the library's checked preconditions.
//
// ZUL_ASSERT(condition) states what must hold where it stands: that the
// caller holds a lock, that a link is where the code left it.  The builds
// that develop the library check it (the debug, asan, tsan and fuzz
// presets define ZUL_ASSERTS); elsewhere, in the default preset and in
// every build of a program that uses the library, it costs nothing and
// its condition is not evaluated, so a condition must change nothing
// that the code relies on.  A condition that fails ends the process with
// "Assertion failed: <condition>, file <file>, line <line>" on standard
// error, through ZULPL_Abort.
//
// An invariant that must be checked in every build (the tree's links,
// whose breach would follow pointers into foreign memory) uses a check of
// its own family, not this one.
#ifndef ZUL_SRC_INTERNAL_ZULASSERT_H
#define ZUL_SRC_INTERNAL_ZULASSERT_H

#include "platform/zulplat.h"

#if defined(ZUL_ASSERTS) && ZUL_ASSERTS
#define ZUL_ASSERT(condition)                                                            \
    (__builtin_expect(!!(condition), 1)                                                   \
         ? (void)0                                                                        \
         : ZULPL_Abort("Assertion failed: %s, file %s, line %d\n", #condition, __FILE__, \
                       __LINE__))
#else
// Still compiled, so that a check cannot rot unseen; never run.
#define ZUL_ASSERT(condition) ((void)sizeof(!(condition)))
#endif

#endif
