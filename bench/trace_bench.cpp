// A trace point, disabled and enabled, against what a program would use
// instead.
//
// Disabled: the full read of a record and a bit test, against spdlog's
// debug call on a logger set to info, and against an LTTng-UST tracepoint
// with no session.  Enabled: one line of the same text to a file through
// the default store, which flushes every line, against spdlog's file sink
// with flush_on(trace), and against fprintf + fflush; on 1, 2 and 4 threads.
// The same line to a store that writes to /dev/null, against a bare write
// of its bytes there, shows the library's own cost without the disk's.
//
// The trace is selected by ZUL_RAS1, which is read once at the start of
// the process, so main sets it and runs the program again.
#include <zul/ras1.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#if ZUL_BENCH_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>
#endif
#if ZUL_BENCH_LTTNG
#include "trace_bench_tp.h"
#endif

RAS1_DECLARE_UNIT_EX("trace_bench", RAS1_APPLICATION, "1", "BENCH", 0);

namespace {

const char *const kZulLog = "/tmp/zul_bench_trace.log";
const char *const kSpdLog = "/tmp/zul_bench_spdlog.log";
const char *const kStdioLog = "/tmp/zul_bench_stdio.log";
const char *const kWriteLog = "/tmp/zul_bench_write.log";

// ---- disabled -----------------------------------------------------------

void ZulDisabled(benchmark::State &state)
{
    RAS1_DECLARE_ENTRY(entry, "disabled", RAS1_PUBLIC);
    int i = 0;
    for (auto _ : state) {
        uint32_t classes = RAS1_ReadClass(&entry);
        if (RAS1_WANTS(classes, RAS1_DETAIL))
            RAS1_Printf(&entry, __LINE__, "request %d handled in %d us\n", i, 42);
        benchmark::DoNotOptimize(classes);
        i++;
    }
}
BENCHMARK(ZulDisabled);

#if ZUL_BENCH_SPDLOG
void SpdlogDisabled(benchmark::State &state)
{
    static auto logger = std::make_shared<spdlog::logger>(
        "disabled", std::make_shared<spdlog::sinks::null_sink_mt>());
    logger->set_level(spdlog::level::info);
    int i = 0;
    for (auto _ : state) {
        logger->debug("request {} handled in {} us", i, 42);
        benchmark::ClobberMemory();
        i++;
    }
}
BENCHMARK(SpdlogDisabled);
#endif

#if ZUL_BENCH_LTTNG
void LttngDisabled(benchmark::State &state)
{
    int i = 0;
    for (auto _ : state) {
        lttng_ust_tracepoint(zul_bench, request, i);
        benchmark::ClobberMemory();
        i++;
    }
}
BENCHMARK(LttngDisabled);
#endif

// ---- enabled, one flushed line to a file ---------------------------------

void ZulLineToFile(benchmark::State &state)
{
    RAS1_DECLARE_ENTRY(entry, "enabled", RAS1_PUBLIC);
    int i = 0;
    for (auto _ : state) {
        uint32_t classes = RAS1_ReadClass(&entry);
        if (RAS1_WANTS(classes, RAS1_ERROR))
            RAS1_Printf(&entry, __LINE__, "request %d handled in %d us\n", i, 42);
        i++;
    }
    if (state.thread_index() == 0 && !RAS1_WANTS(RAS1_ReadClass(&entry), RAS1_ERROR))
        state.SkipWithError("ZUL_RAS1 did not select the line");
}
BENCHMARK(ZulLineToFile)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

// The floor: one write(2) per line of the bytes the store writes (a line
// head and the message, about 80 bytes), formatted by hand beforehand, to
// a file opened for appending.  What a line through the library costs
// beyond this is the library's own work.
void WriteLineToFile(benchmark::State &state)
{
    static int fd = open(kWriteLog, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0644);
    char line[128];
    int n = std::snprintf(line, sizeof line,
                          "(6B04389D.004C4B40-2C6E:trace_bench.cpp,90,\"enabled\") "
                          "request %d handled in %d us\n", 1234567, 42);
    for (auto _ : state)
        benchmark::DoNotOptimize(write(fd, line, static_cast<size_t>(n)));
}
BENCHMARK(WriteLineToFile)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

// ---- enabled, one line to /dev/null --------------------------------------

int NullFd()
{
    static int fd = open("/dev/null", O_WRONLY);
    return fd;
}

int WriteToNull(void *, const char *text, uint32_t length, ZULRA_entry_t *, uint32_t)
{
    return write(NullFd(), text, length) < 0;
}

// The entry's DETAIL lines go to a store of their own, which writes each
// flush with one write(2) to /dev/null.  It is registered after the trace
// has started, so that the default store and ZUL_RAS1 stay as they are.
void ZulLineToNull(benchmark::State &state)
{
    RAS1_DECLARE_ENTRY(entry, "null", RAS1_PUBLIC);
    static int registered = [] {
        (void)RAS1_ReadClass(&entry);
        return RAS1_RegisterStore("NULL", 4, nullptr, WriteToNull, RAS1_DETAIL);
    }();
    (void)registered;
    int i = 0;
    for (auto _ : state) {
        uint32_t classes = RAS1_ReadClass(&entry);
        if (RAS1_WANTS(classes, RAS1_DETAIL))
            RAS1_Printf(&entry, __LINE__, "request %d handled in %d us\n", i, 42);
        i++;
    }
    if (state.thread_index() == 0 && !RAS1_WANTS(RAS1_ReadClass(&entry), RAS1_DETAIL))
        state.SkipWithError("ZUL_RAS1 did not select the line");
}
BENCHMARK(ZulLineToNull)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

void WriteLineToNull(benchmark::State &state)
{
    char line[128];
    int n = std::snprintf(line, sizeof line,
                          "(6B04389D.004C4B40-2C6E:trace_bench.cpp,90,\"null\") "
                          "request %d handled in %d us\n", 1234567, 42);
    for (auto _ : state)
        benchmark::DoNotOptimize(write(NullFd(), line, static_cast<size_t>(n)));
}
BENCHMARK(WriteLineToNull)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

#if ZUL_BENCH_SPDLOG
std::shared_ptr<spdlog::logger> FileLogger()
{
    static auto logger = [] {
        auto l = std::make_shared<spdlog::logger>(
            "file", std::make_shared<spdlog::sinks::basic_file_sink_mt>(kSpdLog, true));
        l->set_level(spdlog::level::trace);
        l->flush_on(spdlog::level::trace);
        return l;
    }();
    return logger;
}

void SpdlogLineToFile(benchmark::State &state)
{
    auto logger = FileLogger();
    int i = 0;
    for (auto _ : state)
        logger->error("request {} handled in {} us", i++, 42);
}
BENCHMARK(SpdlogLineToFile)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();
#endif

FILE *StdioFile()
{
    static FILE *file = std::fopen(kStdioLog, "w");
    return file;
}

void FprintfLineToFile(benchmark::State &state)
{
    FILE *file = StdioFile();
    int i = 0;
    for (auto _ : state) {
        std::fprintf(file, "request %d handled in %d us\n", i++, 42);
        std::fflush(file);
    }
}
BENCHMARK(FprintfLineToFile)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    // Select the enabled entry only, with the log in a file; every other
    // record then carries a word without its bits, as in a process where
    // some tracing is configured.
    if (std::getenv("ZUL_RAS1") == nullptr) {
        std::string value = std::string("(UNIT:trace_bench ENTRY:enabled ERROR) (UNIT:trace_bench ENTRY:null DETAIL) >") + kZulLog;
        setenv("ZUL_RAS1", value.c_str(), 1);
        execv("/proc/self/exe", argv);
        std::perror("execv");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::remove(kZulLog);
    std::remove(kSpdLog);
    std::remove(kStdioLog);
    std::remove(kWriteLog);
    return 0;
}
