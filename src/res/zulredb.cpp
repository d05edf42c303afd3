// zulredb - the value of RES1_DEBUG: kept for the classes registered
// after it was set, matched against class names, and switched off in
// every class and live resource when a new value comes.  The variable's
// handler, which switches the named classes on and says so in the log,
// is set_debug in zulre0i.
#include "res/zulre.h"

#include <stdlib.h>
#include <string.h>

int ZULRE_DebugNamed(const ZULRE_rvt_t *rvt, const char *name, uint32_t length)
{
    ZUL_ASSERT_HELD(&rvt->lock);
    const char *text = rvt->debugNames, *token = nullptr;
    uint32_t remaining = rvt->debugLength, tokenLength = 0;
    while (BSS1_Tokenize(&text, &remaining, &token, &tokenLength, nullptr) == STC1_Success)
        if (tokenLength == length && BSS1_Match(token, name, length) == 0)
            return 1;
    return 0;
}

void ZULRE_ResetDebug(ZULRE_rvt_t *rvt, const char *value, uint32_t length)
{
    ZUL_ASSERT_HELD(&rvt->lock);
    // Kept for classes registered later; without memory for the copy they
    // stay quiet.
    free(rvt->debugNames);
    rvt->debugNames = value != nullptr && length != 0 ? static_cast<char *>(malloc(length)) : nullptr;
    rvt->debugLength = rvt->debugNames != nullptr ? length : 0;
    if (rvt->debugNames != nullptr)
        memcpy(rvt->debugNames, value, length);
    for (RES1_Class *cls = rvt->classes; cls != nullptr; cls = cls->next)
        __atomic_store_n(&cls->debug, 0, __ATOMIC_RELAXED);
    ZULRE_EachLiveRCB(rvt, [](ZULRE_rcb_t *rcb) {
        __atomic_fetch_and(&rcb->life, ~(static_cast<uint64_t>(ZULRE_DEBUG) << 32),
                           __ATOMIC_ACQ_REL);
    });
}
