// SIG1_SignalName: the name of a portable signal.
//
// The names are fixed in the control record from the start, so this call
// builds nothing and hooks nothing.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

ZULRA_SIG1_UNIT("zulsgnm");

const char *SIG1_SignalName(int signal)
{
    ZULSG_ENTRY("SIG1_SignalName");
    return ZULSG_control.names[ZULSG_InRange(signal) ? signal : 0];
}
