// BSS1_ConfigRegister: registers a configuration variable and gives it
// its first value.
//
// The name is the text up to the first "="; the whole text is looked up
// with BSS1_GetEnv, so that alternatives can be named.  The first value
// goes through BSS1_ConfigSet like any later one, so the handler sees it.
#include "bss/zulss.h"
#include "internal/zullock.h"

#include <stdlib.h>
#include <string.h>

int BSS1_ConfigRegister(const char *name, const char *initial, ZULSS_confighandler_t handler,
                        void *context)
{
    if (name == nullptr || handler == nullptr)
        return STC1_BadArgument;
    const char *equals = strchr(name, '=');
    size_t nameLength = equals != nullptr ? size_t(equals - name) : strlen(name);
    if (nameLength == 0 || nameLength > UINT32_MAX - 1)
        return STC1_BadArgument;

    ZULSS_pcb_t *pcb = ZULSS_Pcb();
    ZULSS_config_t *config;
    const char *value;
    {
        ZULSS_HOLD(&pcb->configLock);
        for (ZULSS_config_t *c = pcb->configList; c != nullptr; c = c->next) {
            if (c->nameLength == nameLength && BSS1_Match(c->name, name, uint32_t(nameLength)) == 0)
                return STC1_Duplicate;
        }
        config = static_cast<ZULSS_config_t *>(calloc(1, sizeof(ZULSS_config_t) + nameLength + 1));
        if (config == nullptr)
            return STC1_Shortage;
        char *copy = reinterpret_cast<char *>(config + 1);
        memcpy(copy, name, nameLength);
        config->name = copy;
        config->nameLength = uint32_t(nameLength);
        config->handler = handler;
        config->context = context;
        config->next = pcb->configList;
        pcb->configList = config;
        value = BSS1_GetEnv(name, initial);
    }
    uint32_t length = value != nullptr ? uint32_t(strnlen(value, UINT32_MAX)) : 0;
    return BSS1_ConfigSet(config->name, value, length);
}
