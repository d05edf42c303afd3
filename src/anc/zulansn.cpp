// STC1_GetName: the name of a status code.
#include "anc/zulan.h"

// Cells of 20 bytes indexed by code, zero-filled behind each name.  The
// last cell (Authority, 11) lies beyond the bound of the call.
static const char kStatusNames[12][20] = {
    "Success",  "BadArgument",  "BadObject", "BusyObject",   "Duplicate", "NotThere",
    "ProtocolError", "Shortage", "SystemError", "UnknownError", "Warning", "Authority",
};

// The highest code the call answers for, plus one.
static constexpr int32_t kStatusBound = 11;

int STC1_GetName(int32_t code, const char **name)
{
    return ZULAN_NameOf(kStatusNames, kStatusBound, code, name);
}
