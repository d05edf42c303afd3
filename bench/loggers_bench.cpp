// An enabled log line to a file, side by side with the loggers a program
// would pick instead, on 1, 2 and 4 threads in one run.
//
// Every logger writes the same message of about 100 bytes with three
// values (a number, a name and a count) to a file of its own in /tmp:
//
//   ZulLine         libzul's default store, as ZUL_RAS1 sends it to a file
//   SpdlogBuffered  spdlog's basic_file_sink_mt, flushed only when its
//                   stdio buffer fills
//   SpdlogAsync     spdlog's async logger (one back-end thread, a queue of
//                   8192 lines that blocks when full) on the same sink
//   HandToRing      the floor: the whole line, head and message, formatted
//                   by hand into a ring in memory, one per thread
//   ValuesToRing    the floor of a deferred logger: a timestamp and the
//                   three values copied into such a ring, nothing formatted
//
// The CPU column is what the calling threads spend per line, system calls
// included (a back-end thread's time is not in it; proc_ns, the whole
// process's CPU per line, has it); items_per_second is
// lines per second of real time, all threads together.  The files are
// emptied after each benchmark, so that the disk's write-back never
// throttles a run.
//
// Built a second time as zul_bench_loggers_tail (ZUL_BENCH_TAIL), the
// program listens on its console socket and a reader attaches a tail
// (`.tail`, as `zulctl tail` does) that takes every line while ZulLine
// runs: the cost of a tail to the threads that log, with the console
// server's thread and the reader on the same processors.
//
// ZUL_RAS1 is read once at the start of a process, so main sets it and
// runs the program again.
#include <zul/ras1.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

#if ZUL_BENCH_TAIL
#include <zul/crf1.h>

#include <atomic>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#endif
#if ZUL_BENCH_SPDLOG && !ZUL_BENCH_TAIL
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

RAS1_DECLARE_UNIT_EX("loggers_bench", RAS1_APPLICATION, "1", "BENCH", 0);

namespace {

const char *const kZulLog = "/tmp/zul_bench_loggers.log";
const char *const kSpdLog = "/tmp/zul_bench_loggers_spdlog.log";
const char *const kSpdAsyncLog = "/tmp/zul_bench_loggers_async.log";

// The message and its three values.
#define MESSAGE_FORMAT "request %d from %s handled in %u us; the reply went out whole, connection kept"
#define MESSAGE_FMT "request {} from {} handled in {} us; the reply went out whole, connection kept"
const char *const kPeer = "client-17.example.net";
constexpr unsigned kMicros = 42;

// Empties a file that a logger keeps open for appending: its next line
// goes to the start.
void empty(benchmark::State &state, const char *path)
{
    if (state.thread_index() == 0)
        (void)truncate(path, 0);
}

// The process's CPU time so far, in nanoseconds: every thread's, a
// logger's own back-end thread's too.
uint64_t process_cpu()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return (uint64_t)now.tv_sec * 1000000000u + (uint64_t)now.tv_nsec;
}

// The first thread's reading of process_cpu() as a benchmark starts, 0
// for the others.
uint64_t cpu_start(benchmark::State &state)
{
    return state.thread_index() == 0 ? process_cpu() : 0;
}

// Lines per second; with `start` from cpu_start, also proc_ns: the whole
// process's CPU per line over the first thread's run, which the threads
// run beside it share (the work a back-end thread does for the callers
// is in it).
void lines(benchmark::State &state, uint64_t start = 0)
{
    state.SetItemsProcessed(state.iterations());
    if (start != 0)
        state.counters["proc_ns"] =
            (double)(process_cpu() - start) / ((double)state.iterations() * state.threads());
}

// ---- libzul ----------------------------------------------------------------

void ZulLine(benchmark::State &state)
{
    RAS1_DECLARE_ENTRY(entry, "enabled", RAS1_PUBLIC);
    if (!RAS1_WANTS(RAS1_ReadClass(&entry), RAS1_STATE)) {
        state.SkipWithError("ZUL_RAS1 did not select the line");
        return;
    }
    int i = (int)state.thread_index() << 24;
    uint64_t start = cpu_start(state);
    for (auto _ : state) {
        uint32_t classes = RAS1_ReadClass(&entry);
        RAS1_LOG(entry, classes, RAS1_STATE, MESSAGE_FORMAT "\n", i, kPeer, kMicros);
        i++;
    }
    lines(state, start);
    empty(state, kZulLog);
}
BENCHMARK(ZulLine)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

// ---- spdlog ----------------------------------------------------------------

#if ZUL_BENCH_SPDLOG && !ZUL_BENCH_TAIL
std::shared_ptr<spdlog::logger> buffered_logger()
{
    static auto logger = [] {
        auto l = std::make_shared<spdlog::logger>(
            "buffered", std::make_shared<spdlog::sinks::basic_file_sink_mt>(kSpdLog, true));
        l->set_level(spdlog::level::info);
        return l;
    }();
    return logger;
}

void SpdlogBuffered(benchmark::State &state)
{
    auto logger = buffered_logger();
    int i = (int)state.thread_index() << 24;
    uint64_t start = cpu_start(state);
    for (auto _ : state)
        logger->info(MESSAGE_FMT, i++, kPeer, kMicros);
    lines(state, start);
    empty(state, kSpdLog);
}
BENCHMARK(SpdlogBuffered)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

std::shared_ptr<spdlog::logger> async_logger()
{
    static auto logger = [] {
        spdlog::init_thread_pool(8192, 1);
        auto l = spdlog::create_async<spdlog::sinks::basic_file_sink_mt>("async", kSpdAsyncLog,
                                                                          true);
        l->set_level(spdlog::level::info);
        return l;
    }();
    return logger;
}

void SpdlogAsync(benchmark::State &state)
{
    auto logger = async_logger();
    int i = (int)state.thread_index() << 24;
    uint64_t start = cpu_start(state);
    for (auto _ : state)
        logger->info(MESSAGE_FMT, i++, kPeer, kMicros);
    lines(state, start);
    empty(state, kSpdAsyncLog);
}
BENCHMARK(SpdlogAsync)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();
#endif

#if !ZUL_BENCH_TAIL
// ---- floors ----------------------------------------------------------------

// A ring of one thread: a line goes where the last one ended, and back to
// the start when fewer than 256 bytes are left.
struct Ring {
    char bytes[1 << 20];
    size_t at;

    char *room()
    {
        if (at > sizeof bytes - 256)
            at = 0;
        return bytes + at;
    }
};

thread_local Ring ring;

char *put_hex8(char *to, uint32_t value)
{
    static const char digits[] = "0123456789ABCDEF";
    for (int shift = 28; shift >= 0; shift -= 4)
        *to++ = digits[(value >> shift) & 15];
    return to;
}

char *put_unsigned(char *to, uint32_t value)
{
    char digits[10];
    int n = 0;
    do
        digits[n++] = (char)('0' + value % 10);
    while ((value /= 10) != 0);
    while (n > 0)
        *to++ = digits[--n];
    return to;
}

char *put_text(char *to, const char *text, size_t length)
{
    std::memcpy(to, text, length);
    return to + length;
}

#define PUT_LITERAL(to, text) put_text(to, text, sizeof text - 1)

void HandToRing(benchmark::State &state)
{
    static thread_local uint32_t thread = (uint32_t)syscall(SYS_gettid);
    int i = (int)state.thread_index() << 24;
    for (auto _ : state) {
        timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        char *start = ring.room();
        char *to = start;
        *to++ = '(';
        to = put_hex8(to, (uint32_t)now.tv_sec);
        *to++ = '.';
        to = put_hex8(to, (uint32_t)now.tv_nsec);
        *to++ = '-';
        to = put_hex8(to, thread);
        to = PUT_LITERAL(to, ":loggers_bench,112,\"enabled\") request ");
        if (i < 0) {
            *to++ = '-';
            to = put_unsigned(to, 0u - (uint32_t)i);
        } else {
            to = put_unsigned(to, (uint32_t)i);
        }
        to = PUT_LITERAL(to, " from ");
        to = put_text(to, kPeer, std::strlen(kPeer));
        to = PUT_LITERAL(to, " handled in ");
        to = put_unsigned(to, kMicros);
        to = PUT_LITERAL(to, " us; the reply went out whole, connection kept\n");
        ring.at += (size_t)(to - start);
        benchmark::DoNotOptimize(start);
        i++;
    }
    lines(state);
}
BENCHMARK(HandToRing)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();

// What a deferred logger's caller does: the time, a reference to the
// format and the three values, copied as they are.
struct Values {
    timespec time;
    const char *format;
    int number;
    const char *peer;
    unsigned micros;
};

void ValuesToRing(benchmark::State &state)
{
    int i = (int)state.thread_index() << 24;
    for (auto _ : state) {
        Values v;
        clock_gettime(CLOCK_REALTIME, &v.time);
        v.format = MESSAGE_FORMAT;
        v.number = i++;
        v.peer = kPeer;
        v.micros = kMicros;
        char *to = ring.room();
        std::memcpy(to, &v, sizeof v);
        ring.at += sizeof v;
        benchmark::DoNotOptimize(to);
    }
    lines(state);
}
BENCHMARK(ValuesToRing)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();
#endif

#if ZUL_BENCH_TAIL
std::atomic<uint64_t> tailBytes{0};

// A tail of the program's own log: connects to the console socket, asks
// for the log and reads it to the end of the process.
void attach_tail()
{
    char path[256];
    int status = CRF1_Listen("/tmp/zul_bench_loggers_sockets", 0, path, sizeof path);
    if (status != CRF1_OK && status != CRF1_Listening) {
        std::fprintf(stderr, "CRF1_Listen: %d\n", status);
        std::exit(1);
    }
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
    if (fd < 0 || connect(fd, (sockaddr *)&address, sizeof address) != 0 ||
        write(fd, ".tail\n", 6) != 6) {
        std::perror("tail");
        std::exit(1);
    }
    std::thread([fd] {
        char buffer[65536];
        for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;)
            tailBytes.fetch_add((uint64_t)n, std::memory_order_relaxed);
    }).detach();
}
#endif

} // namespace

int main(int argc, char **argv)
{
    // Select the enabled entry only, with the log in a file; every other
    // record then carries a word without its bits, as in a process where
    // some tracing is configured.
    if (std::getenv("ZUL_RAS1") == nullptr) {
        std::string value = std::string("(UNIT:loggers_bench ENTRY:enabled STATE) >") + kZulLog;
        setenv("ZUL_RAS1", value.c_str(), 1);
        execv("/proc/self/exe", argv);
        std::perror("execv");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
#if ZUL_BENCH_TAIL
    attach_tail();
#endif
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
#if ZUL_BENCH_TAIL
    std::fprintf(stderr, "the tail took %llu bytes\n", (unsigned long long)tailBytes.load());
    CRF1_Unlisten();
#endif
#if ZUL_BENCH_SPDLOG && !ZUL_BENCH_TAIL
    spdlog::shutdown();
#endif
    std::remove(kZulLog);
    std::remove(kSpdLog);
    std::remove(kSpdAsyncLog);
    return 0;
}
