// Protected scopes: entry plus normal end, side by side with what a
// program would use instead, and the round trip of a caught SIGSEGV.
// Run one benchmark under strace -c (--benchmark_filter) to see the
// system calls each makes: none for a scope, one per iteration for
// sigsetjmp saving the mask (docs/faults.md).
#include <zul/pfm1.h>

#include <benchmark/benchmark.h>

#include <csetjmp>
#include <stdexcept>

extern "C" {
uint32_t pfm_bench_scope(void);
int pfm_bench_underscore_setjmp(void);
int pfm_bench_setjmp(void);
int pfm_bench_sigsetjmp(void);
uint32_t pfm_bench_fault(void);

// The protected work: nothing, out of the compiler's sight.
__attribute__((noinline)) void pfm_bench_work(void)
{
    benchmark::ClobberMemory();
}
}

namespace {

void BM_Pfm1ScopeC(benchmark::State &state)
{
    PFM1_Thread();
    for (auto _ : state)
        benchmark::DoNotOptimize(pfm_bench_scope());
}
BENCHMARK(BM_Pfm1ScopeC);

__attribute__((noinline)) uint32_t scope_cpp()
{
    uint32_t status = 0;
    PFM1_TRY(s) {
        pfm_bench_work();
    } PFM1_CATCH(s) {
        status = s.status;
    } PFM1_END(s);
    return status;
}

void BM_Pfm1ScopeCpp(benchmark::State &state)
{
    PFM1_Thread();
    for (auto _ : state)
        benchmark::DoNotOptimize(scope_cpp());
}
BENCHMARK(BM_Pfm1ScopeCpp);

void BM_UnderscoreSetjmp(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(pfm_bench_underscore_setjmp());
}
BENCHMARK(BM_UnderscoreSetjmp);

void BM_Setjmp(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(pfm_bench_setjmp());
}
BENCHMARK(BM_Setjmp);

void BM_SigsetjmpSavingMask(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(pfm_bench_sigsetjmp());
}
BENCHMARK(BM_SigsetjmpSavingMask);

__attribute__((noinline)) int try_block()
{
    try {
        pfm_bench_work();
    } catch (const std::exception &) {
        return 1;
    }
    return 0;
}

void BM_CppTryNoThrow(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(try_block());
}
BENCHMARK(BM_CppTryNoThrow);

// A SIGSEGV in a scope, through the host's handler, the fault handling
// and the jump, back to the scope's entry with 0x00120001.
void BM_Pfm1SegvRoundTrip(benchmark::State &state)
{
    PFM1_Thread();
    for (auto _ : state)
        if (pfm_bench_fault() != 0x00120001u)
            state.SkipWithError("the fault did not come back");
}
BENCHMARK(BM_Pfm1SegvRoundTrip);

} // namespace
