// BSS1_ConfigSet: gives a configuration variable a new value and asks its
// handler about it; and ZULSS_FindConfig, the lookup by exact name.
//
// The value is kept whether the handler accepts it or not.  The buffer
// grows in steps of 128 bytes and is kept for shorter values.  When a
// larger buffer cannot be had, the old value stays as it was, with the
// status STC1_Shortage, and the handler is not called.
#include "bss/zulss.h"
#include "internal/zullock.h"

#include <stdlib.h>
#include <string.h>

ZULSS_config_t *ZULSS_FindConfig(ZULSS_pcb_t *pcb, const char *name)
{
    ZUL_ASSERT_HELD(&pcb->configLock);
    for (ZULSS_config_t *c = pcb->configList; c != nullptr; c = c->next) {
        if (strcmp(c->name, name) == 0)
            return c;
    }
    return nullptr;
}

int BSS1_ConfigSet(const char *name, const char *value, uint32_t length)
{
    if (name == nullptr || (value == nullptr && length != 0))
        return STC1_BadArgument;
    ZULSS_pcb_t *pcb = ZULSS_Pcb();
    ZULSS_HOLD(&pcb->configLock);
    ZULSS_config_t *config = ZULSS_FindConfig(pcb, name);
    if (config == nullptr)
        return STC1_NotThere;
    if (length > config->capacity) {
        char *buffer = nullptr;
        uint32_t capacity = 0;
        if (length <= UINT32_MAX - ZULSS_CONFIG_UNIT) {
            capacity = (length + ZULSS_CONFIG_UNIT - 1) / ZULSS_CONFIG_UNIT * ZULSS_CONFIG_UNIT;
            buffer = static_cast<char *>(malloc(capacity));
        }
        if (buffer == nullptr)
            return config->status = STC1_Shortage;
        free(config->value);
        config->value = buffer;
        config->capacity = capacity;
    }
    config->valueLength = length;
    if (length != 0)
        memmove(config->value, value, length);
    return config->status = config->handler(config->name, config->context, config->value, length);
}
