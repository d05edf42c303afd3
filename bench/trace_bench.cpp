// A trace point, disabled and enabled, against what a program would use
// instead.
//
// Disabled: the full read of a record and a bit test, against spdlog's
// debug call on a logger set to info, and against an LTTng-UST tracepoint
// with no session.  Enabled: one line of the same text to a file through
// the default store writing every line as it comes (ZUL_RAS1_BUFFER=off;
// bench/loggers_bench.cpp measures the buffered line), against spdlog's
// file sink with flush_on(trace), and against fprintf + fflush; on 1, 2
// and 4 threads.
// Built a second time as zul_bench_trace_null (ZUL_BENCH_TO_NULL), the
// same pair of enabled lines goes to /dev/null instead, through the same
// default store: ZulLineToNull against WriteLineToNull shows the library's
// own cost without the disk's.  The pair has a program of its own because
// a second store in this program would take the file pair's lines.
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

#if ZUL_BENCH_TO_NULL
const char *const kZulLog = "/dev/null";
const char *const kWriteLog = "/dev/null";
#define ZUL_BENCH_TARGET "Null"
#else
const char *const kZulLog = "/tmp/zul_bench_trace.log";
const char *const kWriteLog = "/tmp/zul_bench_write.log";
#define ZUL_BENCH_TARGET "File"
#endif
const char *const kSpdLog = "/tmp/zul_bench_spdlog.log";
const char *const kStdioLog = "/tmp/zul_bench_stdio.log";

#if !ZUL_BENCH_TO_NULL
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
#endif // !ZUL_BENCH_TO_NULL

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
BENCHMARK(ZulLineToFile)->Name("ZulLineTo" ZUL_BENCH_TARGET)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

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
BENCHMARK(WriteLineToFile)->Name("WriteLineTo" ZUL_BENCH_TARGET)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

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

#if !ZUL_BENCH_TO_NULL
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
#endif

} // namespace

int main(int argc, char **argv)
{
    // Select the enabled entry only, with the log in a file; every other
    // record then carries a word without its bits, as in a process where
    // some tracing is configured.
    if (std::getenv("ZUL_RAS1") == nullptr) {
        std::string value = std::string("(UNIT:trace_bench ENTRY:enabled ERROR) >") + kZulLog;
        setenv("ZUL_RAS1", value.c_str(), 1);
        setenv("ZUL_RAS1_BUFFER", "off", 0);
        execv("/proc/self/exe", argv);
        std::perror("execv");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
#if !ZUL_BENCH_TO_NULL
    std::remove(kZulLog);
    std::remove(kWriteLog);
#endif
    std::remove(kSpdLog);
    std::remove(kStdioLog);
    return 0;
}
