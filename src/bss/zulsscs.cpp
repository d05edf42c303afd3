// BSS1_ConfigSet: gives a configuration variable a new value and asks its
// handler about it; and ZULSS_FindConfig, the lookup by exact name.
//
// The value is kept whether the handler accepts it or not.  The buffer
// grows in steps of 128 bytes and is kept for shorter values.  When a
// larger buffer cannot be had, the old value stays as it was, with the
// status STC1_Shortage, and the handler is not called.
#include "bss/zulss.h"

#include <stdlib.h>
#include <string.h>

ZULSS_config_t *ZULSS_FindConfig(ZULSS_pcb_t *pcb, const char *name)
{
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
    int status;
    BSS1_GetLock(&pcb->configLock);
    ZULSS_config_t *config = ZULSS_FindConfig(pcb, name);
    if (config == nullptr) {
        status = STC1_NotThere;
    } else if (length > config->capacity &&
               length > UINT32_MAX - ZULSS_CONFIG_UNIT) {
        status = config->status = STC1_Shortage;
    } else {
        status = STC1_Success;
        if (length > config->capacity) {
            uint32_t capacity = (length + ZULSS_CONFIG_UNIT - 1) / ZULSS_CONFIG_UNIT * ZULSS_CONFIG_UNIT;
            char *buffer = static_cast<char *>(malloc(capacity));
            if (buffer == nullptr) {
                status = config->status = STC1_Shortage;
            } else {
                free(config->value);
                config->value = buffer;
                config->capacity = capacity;
            }
        }
        if (status == STC1_Success) {
            config->valueLength = length;
            if (length != 0)
                memmove(config->value, value, length);
            status = config->status =
                config->handler(config->name, config->context, config->value, length);
        }
    }
    BSS1_ReleaseLock(&pcb->configLock);
    return status;
}
