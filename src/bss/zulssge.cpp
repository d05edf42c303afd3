// zulssge - BSS1_GetEnv: the value of a setting, or the caller's fallback.
//
// Traced: a value found is worth a line whenever tracing is configured at
// all (ANY); a fallback used is detail; a setting that is absent with no
// fallback shows only under STATE and DETAIL together.
#include "bss/zulssenv.h"
#include "internal/zulunits.h"

ZULRA_BSS1_UNIT("zulssge");

const char *BSS1_GetEnv(const char *name, const char *fallback)
{
    RAS1_DECLARE_ENTRY(entry, "BSS1_GetEnv", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);

    const char *shown = name ? name : "";
    const char *value = BSS1_LocateEnv(name);
    if (value == nullptr) {
        value = fallback;
        if (value != nullptr)
            RAS1_LOG(entry, classes, RAS1_DETAIL, "%s=\"%s\" (default)\n", shown, value);
        else
            RAS1_LOG(entry, classes, RAS1_STATE | RAS1_DETAIL, "%s=\"\"\n", shown);
    } else {
        RAS1_LOG(entry, classes, RAS1_ANY, "%s=\"%s\"\n", shown, value);
    }

    RAS1_EXIT_VALUE(entry, flow, (uintptr_t)value);
    return value;
}
