// The library's entry point: the loader's calls on Linux.
//
// The loader's calls are played by an ELF constructor (process attach)
// and destructor (process detach).  Thread detach is the destructor of the
// BSS1 thread-local slot, which drops the thread's blocks.
#include <zul/ras1.h>

#include "internal/zulconsole.h"

__attribute__((constructor)) static void zul_process_attach(void)
{
    // Log output is held off while the attach work reads settings, and
    // released after it: every record then works its word out anew.  The
    // attach work (the failure report's start time and settings) goes
    // between the two events.
    RAS1_Event(nullptr, 0, RAS1_EVENT_SUSPEND);
    RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME);
    ZULCR_ListenFromSetting();
}

__attribute__((destructor)) static void zul_process_detach(void)
{
    // Process detach runs no destructors: process blocks, the log and the
    // thread table of the thread that ends the process are left as they
    // are.
}
