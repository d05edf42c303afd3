// The cost of a traced call while its classes are off: the full read of
// the class word and the test of FLOW, against what a program would write
// by hand instead, one relaxed load of a global level and a compare.  And
// the cost of a disabled message: the one-statement RAS1_LOG beside the
// test spelled out in front of RAS1_Printf, in the same run.
#include <zul/ras1.h>

#include <benchmark/benchmark.h>

namespace {

RAS1_DECLARE_UNIT_EX("benchras", RAS1_APPLICATION, "1", "BENCH", 0);
RAS1_DECLARE_ENTRY(traced, "traced_add", RAS1_PUBLIC);
RAS1_DECLARE_ENTRY(spelled, "spelled_read", RAS1_PUBLIC);
RAS1_DECLARE_ENTRY(oneStatement, "macro_read", RAS1_PUBLIC);

uint32_t level; // the hand-written switch: 0 = off

__attribute__((noinline)) int traced_add(int a, int b)
{
    RAS1_ENTRY(traced, classes, flow);
    if (RAS1_WANTS(classes, RAS1_DETAIL))
        benchmark::DoNotOptimize(classes);
    RAS1_EXIT_VALUE(traced, flow, a + b);
    return a + b;
}

__attribute__((noinline)) void write_line(int line, int value)
{
    benchmark::DoNotOptimize(line + value);
}

// The hand-written switch with a logging call behind it, as a program
// would write it for Entry and Exit lines.
__attribute__((noinline)) int logged_add(int a, int b)
{
    uint32_t l = __atomic_load_n(&level, __ATOMIC_RELAXED);
    if (__builtin_expect(l != 0, 0))
        write_line(__LINE__, 0);
    if (__builtin_expect(l != 0, 0))
        write_line(__LINE__, a + b);
    return a + b;
}

__attribute__((noinline)) int plain_add(int a, int b)
{
    if (__atomic_load_n(&level, __ATOMIC_RELAXED) != 0)
        benchmark::DoNotOptimize(level);
    return a + b;
}

void BM_DisabledTracedCall(benchmark::State &state)
{
    RAS1_Sync(&traced); // current from here on, with the word 0
    int x = 0;
    for (auto _ : state) {
        x = traced_add(x, 1);
        benchmark::DoNotOptimize(x);
    }
}
BENCHMARK(BM_DisabledTracedCall)->ThreadRange(1, 2);

void BM_RelaxedLoadAndCompareCall(benchmark::State &state)
{
    int x = 0;
    for (auto _ : state) {
        x = plain_add(x, 1);
        benchmark::DoNotOptimize(x);
    }
}
BENCHMARK(BM_RelaxedLoadAndCompareCall)->ThreadRange(1, 2);

void BM_HandWrittenSwitchCall(benchmark::State &state)
{
    int x = 0;
    for (auto _ : state) {
        x = logged_add(x, 1);
        benchmark::DoNotOptimize(x);
    }
}
BENCHMARK(BM_HandWrittenSwitchCall)->ThreadRange(1, 2);

// A traced call with three messages, all off: the tests spelled out in
// front of RAS1_Printf and RAS1_Dump ...
__attribute__((noinline)) size_t spelled_read(size_t n, const char *peer)
{
    RAS1_ENTRY(spelled, classes, flow);
    if (RAS1_WANTS(classes, RAS1_INPUT))
        RAS1_Printf(&spelled, __LINE__, "read %zu bytes from %s\n", n, peer);
    if (RAS1_WANTS(classes, RAS1_INPUT | RAS1_DETAIL))
        RAS1_Dump(&spelled, __LINE__, peer, 4, "request bytes\n");
    if (RAS1_WANTS(classes, RAS1_ERROR))
        RAS1_Printf(&spelled, __LINE__, "short read: %zu of %d\n", n, 512);
    RAS1_EXIT_VALUE(spelled, flow, n);
    return n;
}

// ... and the same with RAS1_LOG and RAS1_DUMP.
__attribute__((noinline)) size_t macro_read(size_t n, const char *peer)
{
    RAS1_ENTRY(oneStatement, classes, flow);
    RAS1_LOG(oneStatement, classes, RAS1_INPUT, "read %zu bytes from %s\n", n, peer);
    RAS1_DUMP(oneStatement, classes, RAS1_INPUT | RAS1_DETAIL, peer, 4, "request bytes\n");
    RAS1_LOG(oneStatement, classes, RAS1_ERROR, "short read: %zu of %d\n", n, 512);
    RAS1_EXIT_VALUE(oneStatement, flow, n);
    return n;
}

// The traced call with three messages off, through `read` and its record.
template <size_t (*read)(size_t, const char *), ZULRA_entry_t *record>
void BM_DisabledMessages(benchmark::State &state)
{
    RAS1_Sync(record);
    size_t n = 0;
    for (auto _ : state) {
        n = read(n + 1, "peer");
        benchmark::DoNotOptimize(n);
    }
}
BENCHMARK(BM_DisabledMessages<spelled_read, &spelled>)->Name("BM_DisabledMessagesSpelledOut");
BENCHMARK(BM_DisabledMessages<macro_read, &oneStatement>)->Name("BM_DisabledMessagesLogMacro");

// One disabled message inline in the loop: the read of the class word and
// the test, spelled out and as RAS1_LOG.
void BM_DisabledMessageInlineSpelledOut(benchmark::State &state)
{
    RAS1_Sync(&spelled);
    size_t i = 0;
    for (auto _ : state) {
        uint32_t classes = RAS1_ReadClass(&spelled);
        if (RAS1_WANTS(classes, RAS1_DETAIL))
            RAS1_Printf(&spelled, __LINE__, "request %zu handled in %d us\n", i, 42);
        benchmark::ClobberMemory();
        i++;
    }
}
BENCHMARK(BM_DisabledMessageInlineSpelledOut);

void BM_DisabledMessageInlineLogMacro(benchmark::State &state)
{
    RAS1_Sync(&oneStatement);
    size_t i = 0;
    for (auto _ : state) {
        uint32_t classes = RAS1_ReadClass(&oneStatement);
        RAS1_LOG(oneStatement, classes, RAS1_DETAIL, "request %zu handled in %d us\n", i, 42);
        benchmark::ClobberMemory();
        i++;
    }
}
BENCHMARK(BM_DisabledMessageInlineLogMacro);

// The reads alone, inline in the loop.
void BM_ReadClassInline(benchmark::State &state)
{
    RAS1_Sync(&traced);
    for (auto _ : state) {
        uint32_t c = RAS1_ReadClass(&traced);
        if (c & RAS1_FLOW)
            benchmark::DoNotOptimize(c);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ReadClassInline);

void BM_RelaxedLoadAndCompareInline(benchmark::State &state)
{
    for (auto _ : state) {
        uint32_t v = __atomic_load_n(&level, __ATOMIC_RELAXED);
        if (v != 0)
            benchmark::DoNotOptimize(v);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_RelaxedLoadAndCompareInline);

} // namespace
