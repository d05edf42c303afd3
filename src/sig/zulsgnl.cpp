// SIG1_Signal: set the handler of a portable signal, the short way.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

ZULRA_SIG1_UNIT("zulsgnl");

SIG1_Handler SIG1_Signal(int signal, SIG1_Handler handler)
{
    ZULSG_ENTRY("SIG1_Signal");

    SIG1_ActionRecord action, old;
    action.handler = handler;
    SIG1_EmptySet(&action.mask);
    action.flags = 4;
    if (SIG1_Action(signal, &action, &old) != STC1_Success)
        return SIG1_ERR;
    return old.handler;
}
