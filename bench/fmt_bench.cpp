// The format engine against glibc's vsnprintf on the library's own line
// formats.  The engine writes into a record sink that does nothing; the
// runtime writes the same text into a buffer on the stack.  Each pair
// produces byte-for-byte the same text per iteration.
#include <zul/bss1.h>

#include <benchmark/benchmark.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>

namespace {

int Discard(void *, char *, uint32_t) { return 0; }

// vsnprintf behind a variadic call, as a caller of the runtime uses it.
__attribute__((noinline)) int Print(char *buffer, size_t size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    int n = vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return n;
}

struct Object {
    ZULSS_format_t *object = nullptr;
    Object() { BSS1_NewFormat(&object, nullptr, Discard, 0, 0); }
    ~Object() { BSS1_EndFormat(object); }
};

const uint32_t kSeconds = 0x65A1B2C3, kNanos = 123000000, kThread = 0x1F2E;
const char kUnit[] = "zulssge.cpp";
const int kLine = 287;
const char kFunction[] = "BSS1_GetEnv";

// Line head: "(%08lX.%08lX-%lX:" then "%.*s,%d,\"%s\") " and a message.
void HeadEngine(benchmark::State &state)
{
    Object o;
    for (auto _ : state) {
        BSS1_PrintFormat(o.object, "(%08lX.%08lX-%lX:", (unsigned long)kSeconds, (unsigned long)kNanos,
                         (unsigned long)kThread);
        BSS1_PrintFormat(o.object, "%.*s,%d,\"%s\") ", 7, kUnit, kLine, kFunction);
        BSS1_PrintFormat(o.object, "Entry\n");
    }
    state.SetItemsProcessed(state.iterations());
}

void HeadVsnprintf(benchmark::State &state)
{
    for (auto _ : state) {
        char buffer[256];
        int n = Print(buffer, sizeof buffer, "(%08X.%08X-%X:", kSeconds, kNanos, kThread);
        n += Print(buffer + n, sizeof buffer - n, "%.*s,%d,\"%s\") ", 7, kUnit, kLine, kFunction);
        n += Print(buffer + n, sizeof buffer - n, "Entry\n");
        benchmark::DoNotOptimize(buffer);
        benchmark::DoNotOptimize(n);
    }
    state.SetItemsProcessed(state.iterations());
}

// A setting line of the bss1 command.
void SettingEngine(benchmark::State &state)
{
    Object o;
    for (auto _ : state)
        BSS1_PrintFormat(o.object, "%s=\"%s\"\n", "ZUL_RAS1", "ERROR (UNIT:zulss ALL) (UNIT:zulra FLOW)");
    state.SetItemsProcessed(state.iterations());
}

void SettingVsnprintf(benchmark::State &state)
{
    for (auto _ : state) {
        char buffer[256];
        int n = Print(buffer, sizeof buffer, "%s=\"%s\"\n", "ZUL_RAS1",
                      "ERROR (UNIT:zulss ALL) (UNIT:zulra FLOW)");
        benchmark::DoNotOptimize(buffer);
        benchmark::DoNotOptimize(n);
    }
    state.SetItemsProcessed(state.iterations());
}

// A line of several numbers and words.
void FieldsEngine(benchmark::State &state)
{
    Object o;
    for (auto _ : state)
        BSS1_PrintFormat(o.object, "slot %d page %d gen %d use %d class %s owner %s size %d\n", 17,
                         3, 40211, -1, "CONSOLE", "ras1", 65536);
    state.SetItemsProcessed(state.iterations());
}

void FieldsVsnprintf(benchmark::State &state)
{
    for (auto _ : state) {
        char buffer[256];
        int n = Print(buffer, sizeof buffer, "slot %d page %d gen %d use %d class %s owner %s size %d\n",
                      17, 3, 40211, -1, "CONSOLE", "ras1", 65536);
        benchmark::DoNotOptimize(buffer);
        benchmark::DoNotOptimize(n);
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(HeadEngine);
BENCHMARK(HeadVsnprintf);
BENCHMARK(SettingEngine);
BENCHMARK(SettingVsnprintf);
BENCHMARK(FieldsEngine);
BENCHMARK(FieldsVsnprintf);

} // namespace
