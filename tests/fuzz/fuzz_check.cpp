// Not a target of its own: a harness whose check fails on one known input
// ("abort").  tools/fuzz runs it first, from a corpus of that input alone,
// and fails unless libFuzzer stops there and leaves the input in the
// artifact directory, as it must for any target's failing check.  Like
// every target it is linked with the whole library, so the library's
// load-time set-up has run.
#include "harness.h"

#include <string.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ZUL_FUZZ_CHECK(!(size == 5 && memcmp(data, "abort", 5) == 0));
    return 0;
}
