// zulssle - BSS1_LocateEnv: the value of a setting, from the process
// environment or from the variables of the environment files.
#include "bss/zulssenv.h"

#include <stdlib.h>
#include <string.h>

// Names shorter than this are copied to the stack for the lookup; longer
// ones to the heap.
#define SHORT_NAME 128

const char *ZULSS_LookupEnv(ZULSS_env_t *env, const char *part, size_t length)
{
    // Names beyond 4 GB cannot be variables: they are not looked up.
    if (length > UINT32_MAX)
        return nullptr;
    uint32_t left = static_cast<uint32_t>(length);
    const char *token;
    uint32_t tokenLength;
    if (BSS1_Tokenize(&part, &left, &token, &tokenLength, nullptr) != STC1_Success)
        return nullptr;

    // The process environment wants a terminated name.
    char local[SHORT_NAME];
    char *name = local;
    if (tokenLength >= SHORT_NAME) {
        name = static_cast<char *>(malloc(tokenLength + 1));
        if (name == nullptr)
            return nullptr;
    }
    memcpy(name, token, tokenLength);
    name[tokenLength] = '\0';

    // The process environment goes before all files.  It is asked at
    // each lookup, so a change made through the runtime is seen.
    const char *value = env->useHost ? getenv(name) : nullptr;
    if (value == nullptr) {
        BSS1_GetLock(&env->lock);
        ZULSS_envvar_t *v = ZULSS_FindEnvVar(env, name, tokenLength);
        value = v ? v->value : nullptr;
        BSS1_ReleaseLock(&env->lock);
    }
    if (name != local)
        free(name);
    return value;
}

const char *BSS1_LocateEnv(const char *name)
{
    ZULSS_env_t *env = ZULSS_Env();
    if (name == nullptr)
        return nullptr;

    // "A=B=C": each alternative in turn, the first with a value wins.
    const char *rest = name;
    for (const char *equals; (equals = strchr(rest, '=')) != nullptr; rest = equals + 1) {
        const char *value = ZULSS_LookupEnv(env, rest, static_cast<size_t>(equals - rest));
        if (value != nullptr)
            return value;
    }
    if (*rest == '\0')
        return nullptr;
    return ZULSS_LookupEnv(env, rest, strlen(rest));
}
