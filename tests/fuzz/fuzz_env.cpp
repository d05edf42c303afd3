// Fuzz target: environment files as BSS1_GetEnv reads them.
//
// The input is up to three files, separated by lines of "----": the file
// named by ZUL_ENVPATH in the process environment, the one named by
// ZUL_ENVFILE, and the one named by ZUL_ENVFILE_ (read last).  All three
// lie in the harness's directory, which is the current directory while
// the files are read, so a line "ZUL_ENVPATH=extra" includes the second file by its short name.
//
// The library reads the files once per process.  Between inputs the
// harness calls ZULSS_RereadEnv, a seam compiled only into fuzzing builds,
// which frees the variables and runs the block's constructor again on the
// same block: each input is read by the real constructor as a fresh
// process would, with the fuzzer's coverage kept in one process (a forked
// reader would lose it).
//
// After the reading, the variable list must be sound: linked both ways,
// names that are whole tokens, values that are not empty and hold no zero
// byte before their terminator, no name twice; and BSS1_GetEnv must give
// each variable's own value unless the process environment has the name.
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "bss/zulssenv.h"
#include "harness.h"

namespace {

// Files opened per input: the three and a few includes.
constexpr unsigned kOpens = 16;

void check_list(ZULSS_env_t *env)
{
    ZULSS_envvar_t *end = static_cast<ZULSS_envvar_t *>(env->end);
    ZUL_FUZZ_CHECK(env->end == env);
    ZULSS_envvar_t *prior = end;
    for (ZULSS_envvar_t *v = env->first; v != end; prior = v, v = v->next) {
        ZUL_FUZZ_CHECK(v->prior == prior);
        ZUL_FUZZ_CHECK(v->nameLength > 0 && v->valueLength > 0);
        ZUL_FUZZ_CHECK(v->name == reinterpret_cast<char *>(v + 1));
        ZUL_FUZZ_CHECK(v->value == v->name + v->nameLength);
        for (uint32_t i = 0; i < v->nameLength; i++) {
            unsigned char c = static_cast<unsigned char>(v->name[i]);
            ZUL_FUZZ_CHECK(c != 0 && c != '=' && !isspace(c));
        }
        ZUL_FUZZ_CHECK(strlen(v->value) == v->valueLength);
        ZUL_FUZZ_CHECK(!isspace(static_cast<unsigned char>(v->value[0])));
        ZUL_FUZZ_CHECK(memchr(v->value, '\n', v->valueLength) == nullptr);
        for (ZULSS_envvar_t *w = env->first; w != v; w = w->next)
            ZUL_FUZZ_CHECK(w->nameLength != v->nameLength ||
                           BSS1_Match(w->name, v->name, v->nameLength) != 0);
    }
    ZUL_FUZZ_CHECK(env->last == prior);
}

void check_lookups(ZULSS_env_t *env)
{
    ZULSS_envvar_t *end = static_cast<ZULSS_envvar_t *>(env->end);
    for (ZULSS_envvar_t *v = env->first; v != end; v = v->next) {
        char *name = static_cast<char *>(malloc(v->nameLength + 1));
        memcpy(name, v->name, v->nameLength);
        name[v->nameLength] = '\0';
        const char *host = env->useHost ? getenv(name) : nullptr;
        const char *found = BSS1_GetEnv(name, "fallback");
        ZUL_FUZZ_CHECK(found == (host != nullptr ? host : v->value));
        free(name);
    }
}

// With ZUL_FUZZ_SHOW set, for replaying an input: the variables read.
void show(ZULSS_env_t *env)
{
    ZULSS_envvar_t *end = static_cast<ZULSS_envvar_t *>(env->end);
    for (ZULSS_envvar_t *v = env->first; v != end; v = v->next)
        fprintf(stderr, "%.*s=\"%s\"\n", static_cast<int>(v->nameLength), v->name, v->value);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // The log goes nowhere, and the trace starts now, with empty files.
    setenv("ZUL_RAS1", ">/dev/null", 1);
    unsetenv("ZUL_IGNOREHOSTENVIRONMENT");
    setenv("ZUL_ENVPATH", zul_fuzz_write("ZULENV", "", 0), 1);
    setenv("ZUL_ENVFILE", zul_fuzz_write("extra", "", 0), 1);
    setenv("ZUL_ENVFILE_", zul_fuzz_write("last", "", 0), 1);
    zul_fuzz_begin(kOpens);
    BSS1_GetEnv("ZUL_FUZZ", nullptr);
    zul_fuzz_end();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const uint8_t *parts[3] = {};
    size_t sizes[3] = {};
    size_t count = zul_fuzz_split(data, size, parts, sizes, 3);
    static const char *const names[3] = {"ZULENV", "extra", "last"};
    for (size_t i = 0; i < 3; i++)
        zul_fuzz_write(names[i], i < count ? parts[i] : nullptr, i < count ? sizes[i] : 0);

    zul_fuzz_begin(kOpens);
    ZULSS_RereadEnv();
    zul_fuzz_end();

    ZULSS_env_t *env = ZULSS_Env();
    if (getenv("ZUL_FUZZ_SHOW") != nullptr)
        show(env);
    check_list(env);
    check_lookups(env);
    // A name with alternatives: the first that has a value wins.
    if (env->first != env->end) {
        ZULSS_envvar_t *v = env->first;
        char name[64];
        static const char unset[] = "ZUL_FUZZ_NOT_SET";
        if (v->nameLength < 40 && getenv(unset) == nullptr &&
            ZULSS_FindEnvVar(env, unset, sizeof unset - 1) == nullptr) {
            snprintf(name, sizeof name, "%s=%.*s", unset, static_cast<int>(v->nameLength),
                     v->name);
            const char *host = nullptr;
            if (env->useHost) {
                char plain[48];
                snprintf(plain, sizeof plain, "%.*s", static_cast<int>(v->nameLength), v->name);
                host = getenv(plain);
            }
            ZUL_FUZZ_CHECK(BSS1_LocateEnv(name) == (host ? host : v->value));
        }
    }
    return 0;
}
