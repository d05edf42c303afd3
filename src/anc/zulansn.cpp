// STC1_GetName: the name of a status code.
#include <zul/stc1.h>

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
    if (code < 0 || code >= kStatusBound)
        return STC1_NotThere;
    if (name == nullptr)
        return STC1_BadArgument;
    *name = kStatusNames[code];
    return STC1_Success;
}
