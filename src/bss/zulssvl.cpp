// zulssvl - the list of environment variables: the lookup by name, the
// definitions that the reading of the files makes, and the index by name
// that serves those definitions while the files are read.
#include "bss/zulssenv.h"
#include "internal/zulascii.h"
#include "internal/zullock.h"

#include <stdlib.h>
#include <string.h>

ZULSS_envvar_t *ZULSS_FindEnvVar(ZULSS_env_t *env, const char *name, uint32_t length)
{
    ZUL_ASSERT_HELD(&env->lock);
    // Lengths first, then the last byte: names of one family share their
    // beginnings and tend to differ at the end, so most candidates are
    // turned away before the full comparison.
    for (ZULSS_envvar_t *v = env->first; v != env->end; v = v->next)
        if (v->nameLength == length &&
            (length == 0 || ZUL_AsciiUpper(static_cast<unsigned char>(v->name[length - 1])) ==
                                ZUL_AsciiUpper(static_cast<unsigned char>(name[length - 1]))) &&
            BSS1_Match(v->name, name, length) == 0)
            return v;
    return nullptr;
}

// While the files are read, an index of the list by name, so that a
// definition finds the earlier one of its name without a walk of the
// whole list.  Open addressing, at most half full; a removed name leaves
// a gravestone.  Without memory for it the walk serves instead.  Used by
// the constructor alone, and freed at its end.
typedef struct {
    ZULSS_envvar_t **slots;
    uint32_t size;   // a power of 2, or 0 while there is none
    uint32_t filled; // live entries and gravestones
    int failed;      // no memory: the walk serves from now on
} index_t;

static constinit index_t byName = {nullptr, 0, 0, 0};
static constinit ZULSS_envvar_t gravestone = {};

static uint32_t hash_name(const char *name, uint32_t length)
{
    uint32_t h = 2166136261u;
    for (uint32_t i = 0; i < length; i++)
        h = (h ^ ZUL_AsciiUpper(static_cast<unsigned char>(name[i]))) * 16777619u;
    return h;
}

// The slot that holds `name`, else the slot where it would go: the first
// gravestone on the way, or the empty slot that ends the search.
static ZULSS_envvar_t **index_slot(const char *name, uint32_t length)
{
    uint32_t mask = byName.size - 1;
    ZULSS_envvar_t **grave = nullptr;
    for (uint32_t i = hash_name(name, length) & mask;; i = (i + 1) & mask) {
        ZULSS_envvar_t **slot = &byName.slots[i];
        if (*slot == nullptr)
            return grave != nullptr ? grave : slot;
        if (*slot == &gravestone) {
            if (grave == nullptr)
                grave = slot;
        } else if ((*slot)->nameLength == length && BSS1_Match((*slot)->name, name, length) == 0) {
            return slot;
        }
    }
}

// Makes room for one more name; false if there is no index to use.  A
// full index is built anew from the list, which holds every live name.
static bool index_ready(ZULSS_env_t *env)
{
    if (byName.failed)
        return false;
    if (byName.size != 0 && (byName.filled + 1) * 2 <= byName.size)
        return true;
    uint32_t live = 0;
    for (ZULSS_envvar_t *v = env->first; v != env->end; v = v->next)
        live++;
    uint32_t size = 64;
    while (size < 4 * (live + 1) && size < (1u << 30))
        size *= 2;
    free(byName.slots);
    byName.slots = static_cast<ZULSS_envvar_t **>(calloc(size, sizeof *byName.slots));
    if (byName.slots == nullptr || (live + 1) * 2 > size) {
        free(byName.slots);
        byName = {nullptr, 0, 0, 1};
        return false;
    }
    byName.size = size;
    byName.filled = live;
    for (ZULSS_envvar_t *v = env->first; v != env->end; v = v->next)
        *index_slot(v->name, v->nameLength) = v;
    return true;
}

void ZULSS_EndEnvIndex(void)
{
    free(byName.slots);
    byName = {nullptr, 0, 0, 0};
}

ZULSS_envvar_t *ZULSS_FindEnvVarIndexed(ZULSS_env_t *env, const char *name, uint32_t length)
{
    if (!index_ready(env))
        return ZULSS_FindEnvVar(env, name, length);
    ZULSS_envvar_t *v = *index_slot(name, length);
    return v == &gravestone ? nullptr : v;
}

void ZULSS_DefineEnvVar(ZULSS_env_t *env, const char *name, uint32_t nameLength,
                        const char *value, uint32_t valueLength)
{
    ZUL_ASSERT_HELD(&env->lock);
    ZULSS_envvar_t **slot = index_ready(env) ? index_slot(name, nameLength) : nullptr;
    ZULSS_envvar_t *old = slot == nullptr ? ZULSS_FindEnvVar(env, name, nameLength)
                          : *slot == &gravestone ? nullptr : *slot;
    ZULSS_envvar_t *v = nullptr;
    if (valueLength != 0) {
        v = static_cast<ZULSS_envvar_t *>(
            malloc(sizeof(ZULSS_envvar_t) + nameLength + valueLength + 1));
        if (v != nullptr) {
            v->name = reinterpret_cast<char *>(v + 1);
            v->value = v->name + nameLength;
            v->nameLength = nameLength;
            v->valueLength = valueLength;
            memcpy(v->name, name, nameLength);
            memcpy(v->value, value, valueLength);
            v->value[valueLength] = '\0';
            ZUL_RingInsertBefore(ZULSS_EnvLinks(env), static_cast<ZULSS_envvar_t *>(env->end), v);
        }
    }
    if (slot != nullptr) {
        if (v != nullptr) {
            if (*slot == nullptr)
                byName.filled++;
            *slot = v;
        } else if (old != nullptr) {
            *slot = &gravestone;
        }
    }
    if (old != nullptr) {
        ZUL_RingUnlink(ZULSS_EnvLinks(env), old);
        free(old);
    }
}
