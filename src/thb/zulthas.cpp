// THB1P_AssertFailed: the end of the process when an invariant of a tree
// does not hold.
#include "thb/zulth.h"

#include <stdio.h>
#include <stdlib.h>

void THB1P_AssertFailed(const char *text, const char *file, int line)
{
    // The tree cannot be repaired and must not be used on: report what
    // was found and stop here, before a broken link is followed into
    // freed or foreign memory.
    fprintf(stderr, "Assertion failed: %s, file %s, line %d\n", text, file, line);
    fflush(stderr);
    abort();
}
