// The finished path of once-only construction and of a process-block
// reference, against pthread_once and std::call_once on finished flags.
#include <zul/bss1.h>

#include <benchmark/benchmark.h>

#include <mutex>
#include <pthread.h>

namespace {

void nothing(void *) {}
void nothing_plain() {}

int32_t onceWord;
pthread_once_t pthreadOnce = PTHREAD_ONCE_INIT;
std::once_flag stdOnce;
ZULSS_descriptor_t block = {64, nullptr, nullptr, 0, 0};

void BM_InitializeOnce_Finished(benchmark::State &state)
{
    BSS1_InitializeOnce(&onceWord, nothing, nullptr, __FILE__, __LINE__);
    for (auto _ : state) {
        // The caller's own test of the word is skipped on purpose: this is
        // the cost of the call itself on a finished word.
        benchmark::DoNotOptimize(BSS1_InitializeOnce(&onceWord, nothing, nullptr, __FILE__, __LINE__));
    }
}
BENCHMARK(BM_InitializeOnce_Finished)->ThreadRange(1, 2);

void BM_ProcessBlockReference(benchmark::State &state)
{
    ZULSS_PROCESS_BLOCK(&block);
    for (auto _ : state)
        benchmark::DoNotOptimize(ZULSS_PROCESS_BLOCK(&block));
}
BENCHMARK(BM_ProcessBlockReference)->ThreadRange(1, 2);

void BM_pthread_once_Finished(benchmark::State &state)
{
    pthread_once(&pthreadOnce, nothing_plain);
    for (auto _ : state)
        benchmark::DoNotOptimize(pthread_once(&pthreadOnce, nothing_plain));
}
BENCHMARK(BM_pthread_once_Finished)->ThreadRange(1, 2);

void BM_std_call_once_Finished(benchmark::State &state)
{
    std::call_once(stdOnce, nothing_plain);
    for (auto _ : state) {
        std::call_once(stdOnce, nothing_plain);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_std_call_once_Finished)->ThreadRange(1, 2);

} // namespace
