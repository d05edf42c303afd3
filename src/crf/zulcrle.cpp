// ZULCR_ListenFromSetting: the console socket opened at library load when
// the ZUL_CONSOLE setting asks for it, so that a program steers from
// outside without a change to its code.
#include <zul/bss1.h>
#include <zul/crf1.h>

#include "crf/zulcrso.h"
#include "internal/zulconsole.h"
#include "internal/zulunits.h"

ZULRA_CRF1_UNIT("zulcrle");

namespace {

bool is_word(const char *value, const char *const *words)
{
    for (; *words != nullptr; ++words)
        if (BSS1_Match(value, *words, 0) == 0)
            return true;
    return false;
}

} // namespace

void ZULCR_ListenFromSetting(void)
{
    // Read with the untraced lookup, and listened for without a trace, so
    // that the trace does not start (and read ZUL_RAS1) before the
    // program's main; only a failure is worth starting it for.
    RAS1_DECLARE_ENTRY(entry, "ZULCR_ListenFromSetting", RAS1_PRIVATE);
    static const char *const kOff[] = {"0", "off", "no", nullptr};
    static const char *const kOn[] = {"1", "on", "yes", nullptr};
    const char *value = BSS1_LocateEnv("ZUL_CONSOLE");
    if (value == nullptr || value[0] == '\0' || is_word(value, kOff))
        return;
    const char *directory = value[0] == '/' ? value : nullptr;
    if (directory == nullptr && !is_word(value, kOn)) {
        RAS1_LOG(entry, RAS1_ReadClass(&entry), RAS1_ERROR,
                 "ZUL_CONSOLE=\"%s\" is not 1, on, yes, 0, off, no or a directory\n", value);
        return;
    }
    int status = ZULCR_Listen(directory, 0, nullptr, 0);
    if (status != 0)
        ZULCR_LogListen(&entry, RAS1_ReadClass(&entry), directory, 0, status);
}
