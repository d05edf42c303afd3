// Fuzz target: environment files as BSS1_GetEnv reads them.
//
// The input is up to three files, separated by lines of "----": the ones
// named by ZUL_ENVPATH, ZUL_ENVFILE and ZUL_ENVFILE_ (read last), written
// as "ZULENV", "extra" and "last" in the harness's directory, which is
// current while they are read, so an input can include any of them by name.
//
// The library reads its files once per process; ZULSS_RereadEnv, compiled
// only into fuzzing builds, frees the variables and runs the constructor
// again, so each input is read as a fresh process would read it while the
// fuzzer keeps the coverage.  The variables read must be linked both ways
// and each value must end at its length.
#include <stdlib.h>
#include <string.h>

#include "bss/zulssenv.h"
#include "harness.h"

static const char *const kNames[3] = {"ZULENV", "extra", "last"};

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    setenv("ZUL_RAS1", ">/dev/null", 1); // the log goes nowhere
    unsetenv("ZUL_IGNOREHOSTENVIRONMENT");
    setenv("ZUL_ENVPATH", zul_fuzz_write(kNames[0], "", 0), 1);
    setenv("ZUL_ENVFILE", zul_fuzz_write(kNames[1], "", 0), 1);
    setenv("ZUL_ENVFILE_", zul_fuzz_write(kNames[2], "", 0), 1);
    zul_fuzz_enter(true);
    BSS1_GetEnv("ZUL_FUZZ", nullptr); // a traced call: the trace starts now
    zul_fuzz_enter(false);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const uint8_t *parts[3] = {};
    size_t sizes[3] = {};
    size_t count = zul_fuzz_split(data, size, parts, sizes, 3);
    for (size_t i = 0; i < 3; i++)
        zul_fuzz_write(kNames[i], i < count ? parts[i] : nullptr, i < count ? sizes[i] : 0);
    zul_fuzz_enter(true);
    ZULSS_RereadEnv();
    zul_fuzz_enter(false);

    ZULSS_env_t *env = ZULSS_Env();
    for (ZULSS_envvar_t *v = env->first; v != env->end; v = v->next)
        ZUL_FUZZ_CHECK(v->next->prior == v && strlen(v->value) == v->valueLength);
    return 0;
}
