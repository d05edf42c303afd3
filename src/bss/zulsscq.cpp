// BSS1_ConfigQuery: the current value, length and status of a
// configuration variable.
#include "bss/zulss.h"
#include "internal/zullock.h"

int BSS1_ConfigQuery(const char *name, const char **value, uint32_t *length, int32_t *status)
{
    if (name == nullptr)
        return STC1_NotThere;
    ZULSS_pcb_t *pcb = ZULSS_Pcb();
    ZULSS_HOLD(&pcb->configLock);
    const ZULSS_config_t *config = ZULSS_FindConfig(pcb, name);
    if (config == nullptr)
        return STC1_NotThere;
    if (value != nullptr)
        *value = config->value;
    if (length != nullptr)
        *length = config->valueLength;
    if (status != nullptr)
        *status = config->status;
    return STC1_Success;
}
