// zulrafu - RAS1_Flush: the lines the log holds for a large write go to
// its file now.
//
// Without a lock and with write(2) only, so that a program may call it
// anywhere, in its own signal handler too, before it ends the process with
// _exit: a handler that the program put on a signal itself is one the
// library never sees.
#include "ras/zulralg.h"
#include "internal/zullogout.h"

int RAS1_Flush(void)
{
    ZULRA_WriteOutLog(0);
    return STC1_Success;
}
