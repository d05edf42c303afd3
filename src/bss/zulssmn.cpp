// BSS1_Main: record the program's arguments and name, once each.
//
// The arguments are read up to the count or to the first null element,
// whichever comes first; a count below 1 gives nothing to record.
#include "bss/zulss.h"
#include "internal/zullock.h"

#include <stdlib.h>
#include <string.h>

namespace {
constinit ZULSS_lock_t mainLock = {};
constinit int argsTaken;
constinit int nameTaken;
constinit char *arg0;
constinit char *commandLine;
constinit char *programName;

char *copy_text(const char *text)
{
    size_t n = strlen(text) + 1;
    char *copy = static_cast<char *>(malloc(n));
    if (copy != nullptr)
        memcpy(copy, text, n);
    return copy;
}
} // namespace

int BSS1_Main(int *argc, char **argv, const char *name)
{
    ZULSS_HOLD(&mainLock);
    if (!argsTaken && argc != nullptr && argv != nullptr && *argc > 0) {
        argsTaken = 1;
        // A null element ends the vector early, as the one behind the last
        // argument does: nothing past it is read.
        int count = 0;
        size_t total = 1;
        while (count < *argc && argv[count] != nullptr)
            total += strlen(argv[count++]) + 1;
        if (count > 0)
            __atomic_store_n(&arg0, copy_text(argv[0]), __ATOMIC_RELEASE);
        char *line = count > 0 ? static_cast<char *>(malloc(total)) : nullptr;
        if (line != nullptr) {
            char *p = line;
            for (int i = 0; i < count; ++i) {
                if (i > 0)
                    *p++ = ' ';
                const size_t n = strlen(argv[i]);
                memcpy(p, argv[i], n);
                p += n;
            }
            *p = '\0';
            __atomic_store_n(&commandLine, line, __ATOMIC_RELEASE);
        }
    }
    if (!nameTaken && name != nullptr) {
        nameTaken = 1;
        __atomic_store_n(&programName, copy_text(name), __ATOMIC_RELEASE);
    }
    return 0;
}

const char *ZULSS_ProgramArg0(void) { return __atomic_load_n(&arg0, __ATOMIC_ACQUIRE); }
const char *ZULSS_CommandLine(void) { return __atomic_load_n(&commandLine, __ATOMIC_ACQUIRE); }
const char *ZULSS_ProgramName(void) { return __atomic_load_n(&programName, __ATOMIC_ACQUIRE); }
