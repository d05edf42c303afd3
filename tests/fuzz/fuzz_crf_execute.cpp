// Fuzz target: command lines, run by CRF1_Execute on one console with the
// library's own commands registered, and fetched with CRF1_Fetch.
//
// Input: the line, any bytes.  Checked: what the line leaves to fetch is
// exactly the count that CRF1_Execute reported.
//
// `bss1 abend <pid>` ends the process on purpose, and the fuzzer would
// find the ID through its comparison hints; the process ID item is
// therefore empty in this program (BSS1_Info is wrapped at link time), so
// abend always answers "Authorization failed".
//
// `ras1 set` lines turn tracing on for the rest of the run; the log goes
// to standard output, which is sent to /dev/null so that a run's log
// stays readable and its disk use small.
#include <zul/crf1.h>

#include <fcntl.h>
#include <unistd.h>

#include "harness.h"

extern "C" uint32_t __real_BSS1_Info(uint32_t item, char *buffer, uint32_t size);

extern "C" uint32_t __wrap_BSS1_Info(uint32_t item, char *buffer, uint32_t size)
{
    if (item == BSS1_INFO_PROCESSID) {
        if (buffer != nullptr && size != 0)
            buffer[0] = '\0';
        return 0;
    }
    return __real_BSS1_Info(item, buffer, size);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static uint32_t console;
    if (console == 0) {
        int null = open("/dev/null", O_WRONLY);
        ZUL_FUZZ_CHECK(null >= 0 && dup2(null, STDOUT_FILENO) == STDOUT_FILENO);
        close(null);
        ZUL_FUZZ_CHECK(CRF1_New(&console) == CRF1_OK);
    }
    uint32_t waiting = 0;
    CRF1_Execute(console, reinterpret_cast<const char *>(data), static_cast<uint32_t>(size),
                 &waiting);
    char buffer[1000];
    uint32_t got = 0, fetched = 0;
    while (CRF1_Fetch(console, buffer, sizeof buffer, &got) == CRF1_OK)
        fetched += got;
    ZUL_FUZZ_CHECK(fetched == waiting);
    return 0;
}
