// ZULCR_ListenFromSetting: the console socket opened at library load when
// the ZUL_CONSOLE setting asks for it, so that a program steers from
// outside without a change to its code.
#include <zul/bss1.h>
#include <zul/crf1.h>

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
    RAS1_DECLARE_ENTRY(entry, "ZULCR_ListenFromSetting", RAS1_PRIVATE);
    RAS1_ENTRY(entry, classes, flow);

    static const char *const kOff[] = {"0", "off", "no", nullptr};
    static const char *const kOn[] = {"1", "on", "yes", nullptr};
    const char *value = BSS1_GetEnv("ZUL_CONSOLE", nullptr);
    if (value != nullptr && value[0] != '\0' && !is_word(value, kOff)) {
        if (value[0] == '/')
            CRF1_Listen(value, 0, nullptr, 0);
        else if (is_word(value, kOn))
            CRF1_Listen(nullptr, 0, nullptr, 0);
        else if (RAS1_WANTS(classes, RAS1_ERROR))
            RAS1_Printf(&entry, __LINE__, "ZUL_CONSOLE=\"%s\" is not 1, on, yes, 0, off, no or a directory\n", value);
    }
    RAS1_EXIT(entry, flow);
}
