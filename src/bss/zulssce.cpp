// BSS1_ConfigEnum: walks the names of the configuration variables, newest
// first, by a counter that the caller keeps.
#include "bss/zulss.h"

int BSS1_ConfigEnum(uint32_t *cursor, const char **name)
{
    if (cursor == nullptr || name == nullptr)
        return STC1_BadArgument;
    ZULSS_pcb_t *pcb = ZULSS_Pcb();
    BSS1_GetLock(&pcb->configLock);
    ZULSS_config_t *config = pcb->configList;
    for (uint32_t i = 0; config != nullptr && i < *cursor; i++)
        config = config->next;
    if (config != nullptr)
        *name = config->name;
    BSS1_ReleaseLock(&pcb->configLock);
    ++*cursor;
    return config != nullptr ? STC1_Success : STC1_Warning;
}
