// RSN1_GetName: the name of a reason code.
#include "anc/zulan.h"

// Cells of 20 bytes indexed by code; each name is zero-terminated and the
// rest of its cell is zero bytes.  The last cell (User, 64) lies beyond
// the bound of the call and is kept only so that the table is complete.
static const char kReasonNames[65][20] = {
    "NoError",     "Arguments",  "Ascend",       "Authority",    "BufferCount",
    "Comparator",  "Communication", "Conflict",  "Count",        "Deadlock",
    "Default",     "Descend",    "Direction",    "Empty",        "EndOfFile",
    "Existence",   "First",      "Format",       "Full",         "InUse",
    "IOError",     "Last",       "Length",       "Minimum",      "Maximum",
    "Mode",        "NoReason",   "NotAllowed",   "NotFound",     "NotHeld",
    "Path",        "Precision",  "Previous",     "Priority",     "Prior",
    "Range",       "Relation",   "Scale",        "Sequence",     "Size",
    "Space",       "Storage",    "SystemReject", "Threshold",    "Type",
    "Undefined",   "Unique",     "VolumeFull",   "NotReady",     "More",
    "Chain",       "Exit",       "Anchor",       "Interrupted",  "TimeOut",
    "Values",      "Command",    "Define",       "Reset",        "Truncate",
    "Incomplete",  "InquiryError", "Open",       "Access",       "User",
};

// The highest code the call answers for, plus one.
static constexpr int32_t kReasonBound = 64;

int RSN1_GetName(int32_t code, const char **name)
{
    return ZULAN_NameOf(kReasonNames, kReasonBound, code, name);
}
