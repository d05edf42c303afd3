// The library's entry point.
//
// The loader's calls are played by an ELF constructor (process attach)
// and destructor (process detach).  Thread detach is the destructor of the
// BSS1 thread-local slot, which drops the thread's blocks.
#include "bss/zulss.h"

__attribute__((constructor)) static void zul_process_attach(void)
{
}

__attribute__((destructor)) static void zul_process_detach(void)
{
    // Process detach runs no destructors: process blocks, the log and the
    // thread table of the thread that ends the process are left as they
    // are.
}
