// The log's targets, one enabled line each: the journal target against
// spdlog's systemd sink with the same message, and JSON lines against the
// plain text file.
//
// ZUL_RAS1 is read once at the start of a process, so main runs the
// program again for each target, with the target's ZUL_RAS1 and a filter
// for its benchmarks: three tables, one after the other.  The journal
// pair needs a running systemd-journald (see tools/journald.sh to start
// one where the init is not systemd); without one it is skipped.
#include <zul/ras1.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#if ZUL_BENCH_SPDLOG_SYSTEMD
#include <spdlog/sinks/systemd_sink.h>
#include <spdlog/spdlog.h>
#endif

RAS1_DECLARE_UNIT_EX("targets_bench", RAS1_APPLICATION, "1", "BENCH", 0);

namespace {

const char *const kJsonLog = "/tmp/zul_bench_targets.json";
const char *const kTextLog = "/tmp/zul_bench_targets.log";

bool journal_answers()
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/run/systemd/journal/socket");
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    bool answers = fd >= 0 && connect(fd, (sockaddr *)&address, sizeof address) == 0;
    if (fd >= 0)
        close(fd);
    return answers;
}

// One ERROR line of about 80 bytes with its head, as in the trace bench.
void zul_line(benchmark::State &state)
{
    RAS1_DECLARE_ENTRY(entry, "enabled", RAS1_PUBLIC);
    if (!RAS1_WANTS(RAS1_ReadClass(&entry), RAS1_ERROR)) {
        state.SkipWithError("ZUL_RAS1 did not select the line");
        return;
    }
    int i = 0;
    for (auto _ : state) {
        uint32_t classes = RAS1_ReadClass(&entry);
        if (RAS1_WANTS(classes, RAS1_ERROR))
            RAS1_Log(&entry, __LINE__, RAS1_ERROR, "request %d handled in %d us\n", i, 42);
        i++;
    }
    state.SetItemsProcessed(state.iterations());
}

void ZulJournal(benchmark::State &state)
{
    if (!journal_answers()) {
        state.SkipWithError("no systemd-journald is running");
        return;
    }
    zul_line(state);
}
BENCHMARK(ZulJournal)->UseRealTime();

#if ZUL_BENCH_SPDLOG_SYSTEMD
// The same message, level and source location through spdlog's sink.
void SpdlogJournal(benchmark::State &state)
{
    if (!journal_answers()) {
        state.SkipWithError("no systemd-journald is running");
        return;
    }
    static auto logger = std::make_shared<spdlog::logger>(
        "targets_bench", std::make_shared<spdlog::sinks::systemd_sink_mt>("targets_bench"));
    int i = 0;
    for (auto _ : state) {
        logger->log(spdlog::source_loc{__FILE__, __LINE__, "enabled"}, spdlog::level::err,
                    "request {} handled in {} us", i, 42);
        i++;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(SpdlogJournal)->UseRealTime();
#endif

void ZulJson(benchmark::State &state)
{
    zul_line(state);
}
BENCHMARK(ZulJson)->UseRealTime();

void ZulText(benchmark::State &state)
{
    zul_line(state);
}
BENCHMARK(ZulText)->UseRealTime();

// Runs this program with the target's ZUL_RAS1 and a filter for its
// benchmarks; the exit status of the run.
int run_target(char **argv, const char *target, const char *filter)
{
    pid_t child = fork();
    if (child == 0) {
        std::string value = std::string("(UNIT:targets_bench ENTRY:enabled ERROR) >") + target;
        setenv("ZUL_RAS1", value.c_str(), 1);
        std::string arg = std::string("--benchmark_filter=") + filter;
        int n = 0;
        while (argv[n] != nullptr)
            n++;
        char **args = (char **)calloc((size_t)n + 2, sizeof *args);
        for (int i = 0; i < n; i++)
            args[i] = argv[i];
        args[n] = (char *)arg.c_str();
        execv("/proc/self/exe", args);
        std::perror("execv");
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

} // namespace

int main(int argc, char **argv)
{
    if (std::getenv("ZUL_RAS1") == nullptr) {
        int failed = 0;
        failed |= run_target(argv, "journal", "Journal");
        failed |= run_target(argv, (std::string("json:") + kJsonLog).c_str(), "ZulJson");
        failed |= run_target(argv, kTextLog, "ZulText");
        std::remove(kJsonLog);
        std::remove(kTextLog);
        return failed;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
