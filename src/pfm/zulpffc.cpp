// PFM1C_FaultCode: the fault code that a portable signal becomes.
#include "pfm/zulpf.h"
#include "internal/zulunits.h"

ZULRA_PFM1_UNIT("zulpffc");

namespace {

struct FaultRow {
    int signal;
    uint32_t code;
};

// Searched from the top; every other signal is 0x00120005.
constexpr FaultRow kFaultCodes[] = {
    {SIG1_SIGINT, 0x0012001F}, {SIG1_SIGTERM, 0x0012001F}, {SIG1_SIGILL, 0x00120002},
    {SIG1_SIGFPE, 0x00120041}, {SIG1_SIGHUP, 0x0012001F},  {SIG1_SIGQUIT, 0x00120010},
    {SIG1_SIGSEGV, 0x00120001},
};

constexpr uint32_t kOtherFault = 0x00120005;

} // namespace

uint32_t PFM1C_FaultCode(int signal)
{
    RAS1_DECLARE_ENTRY(entry, "PFM1C_FaultCode", RAS1_MINOR);
    RAS1_QUICK(entry, classes, flow);
    uint32_t code = kOtherFault;
    for (const FaultRow &row : kFaultCodes) {
        if (row.signal == signal) {
            code = row.code;
            break;
        }
    }
    if (RAS1_WANTS(classes, RAS1_STATE) && !ZULPF_InHandler())
        RAS1_Log(&entry, __LINE__, RAS1_STATE, "Signal %lu translated to fault code %lx\n",
                 static_cast<unsigned long>(signal), static_cast<unsigned long>(code));
    return code;
}
