// The library's entry point: the loader's calls on Linux.
//
// The loader's calls are played by an ELF constructor (process attach)
// and destructor (process detach).  Thread detach is the destructor of the
// BSS1 thread-local slot, which drops the thread's blocks.
#include "internal/zulreport.h"

#include <zul/ras1.h>

#include "internal/zulconsole.h"

__attribute__((constructor)) static void zul_process_attach(void)
{
    // Log output is held off while the attach work reads settings, and
    // released after it: every record then works its word out anew.  The
    // failure report's start time and settings are read between the two
    // events, which reads the environment files during the load; its
    // handlers go in after them.
    RAS1_Event(nullptr, 0, RAS1_EVENT_SUSPEND);
    ZULWNT_Setup();
    RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME);
    ZULWNT_Install();
    ZULCR_ListenFromSetting();
}

__attribute__((destructor)) static void zul_process_detach(void)
{
    // Process detach runs no destructors: process blocks, the log and the
    // thread table of the thread that ends the process are left as they
    // are.  The fatal signals get back the handlers the report replaced.
    ZULWNT_Restore();
}
