// Settings lookups: BSS1_LocateEnv against getenv, which is what a program
// without environment files would call.  The library's lookup asks the
// process environment first, then walks the variables read from the files
// under a lock.
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include <benchmark/benchmark.h>

#include <zul/bss1.h>

namespace {

constexpr int kFileVariables = 100;

// A name defined in the process environment: getenv answers it, and so
// does the library's first step.
void BM_getenv_Host(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(getenv("ZUL_BENCH_HOST"));
}
BENCHMARK(BM_getenv_Host);

void BM_LocateEnv_Host(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(BSS1_LocateEnv("ZUL_BENCH_HOST"));
}
BENCHMARK(BM_LocateEnv_Host);

// A name from the file: getenv misses, then the list is walked.  The
// first variable defined is the longest walk.
void BM_LocateEnv_FileFirst(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(BSS1_LocateEnv("BENCH_VAR_000"));
}
BENCHMARK(BM_LocateEnv_FileFirst);

void BM_LocateEnv_FileLast(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(BSS1_LocateEnv("BENCH_VAR_099"));
}
BENCHMARK(BM_LocateEnv_FileLast);

// A name nobody defines: the full cost of a miss.
void BM_LocateEnv_Missing(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(BSS1_LocateEnv("BENCH_NOT_DEFINED"));
}
BENCHMARK(BM_LocateEnv_Missing);

void BM_LocateEnv_FileLast_Threads(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(BSS1_LocateEnv("BENCH_VAR_099"));
}
BENCHMARK(BM_LocateEnv_FileLast_Threads)->Threads(2);

} // namespace

int main(int argc, char **argv)
{
    // The file is read at the first lookup, so it is made before any.
    char path[] = "/tmp/zulenvbenchXXXXXX";
    int fd = mkstemp(path);
    if (fd < 0)
        return 1;
    FILE *file = fdopen(fd, "w");
    for (int i = 0; i < kFileVariables; i++)
        fprintf(file, "BENCH_VAR_%03d = value number %d\n", i, i);
    fclose(file);
    setenv("ZUL_ENVPATH", path, 1);
    setenv("ZUL_BENCH_HOST", "host value", 1);
    BSS1_LocateEnv("ZUL_ENVPATH");
    unlink(path);

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
