// BSS1_ConfigEnum: walks the names of the configuration variables, newest
// first, by a counter that the caller keeps.
#include "bss/zulss.h"
#include "internal/zullock.h"

int BSS1_ConfigEnum(uint32_t *cursor, const char **name)
{
    if (cursor == nullptr || name == nullptr)
        return STC1_BadArgument;
    ZULSS_pcb_t *pcb = ZULSS_Pcb();
    ZULSS_HOLD(&pcb->configLock);
    const ZULSS_config_t *config = pcb->configList;
    for (uint32_t i = 0; config != nullptr && i < *cursor; i++)
        config = config->next;
    ++*cursor;
    if (config == nullptr)
        return STC1_Warning;
    *name = config->name;
    return STC1_Success;
}
