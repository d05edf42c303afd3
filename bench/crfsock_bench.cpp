// A short command over the console socket, round trip, beside what a
// program would write instead: a bare echo over a Unix-domain socket,
// served by a thread of its own.  Both measured in the same run.  The
// console's round trip is measured with the client alone and with 49
// other clients connected and idle: what one answer costs must not
// depend on how many connections wait.  And what clients at work cost
// the program's own threads: four threads write trace lines to /dev/null
// alone and while 32 clients connect, ask and read their answers.
#include <zul/crf1.h>
#include <zul/ras1.h>

#include <benchmark/benchmark.h>

#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

RAS1_DECLARE_UNIT(RAS1_APPLICATION, "1", "BENCH");

namespace {

// The log goes to /dev/null, with this unit's lines at DETAIL and
// everything else at ERROR; set before the first traced call reads it.
void Settings()
{
    setenv("ZUL_RAS1", "ERROR (UNIT:crfsock_bench DETAIL) >/dev/null", 0);
}

int Dial(const char *path)
{
    sockaddr_un a{AF_UNIX, {}};
    strncpy(a.sun_path, path, sizeof a.sun_path - 1);
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0)
        abort();
    return fd;
}

// Sends `line` and reads until `expect` bytes have come.
void RoundTrip(int fd, const char *line, size_t length, size_t expect)
{
    char buffer[256];
    if (send(fd, line, length, 0) != ssize_t(length))
        abort();
    for (size_t got = 0; got < expect;) {
        ssize_t n = recv(fd, buffer, sizeof buffer, 0);
        if (n <= 0)
            abort();
        got += size_t(n);
    }
}

int Pong(ZULLX_list_t *, ZULSS_format_t *format, ZULCR_request_t *)
{
    return BSS1_PrintFormat(format, "pong\n");
}

// The socket of the process's console server, listening from the first
// call on, with the command `ping`.
const char *Server()
{
    static char path[108];
    if (path[0] == '\0') {
        Settings();
        char dir[] = "/tmp/zulbenchXXXXXX";
        CRF1_Register(nullptr, Pong, nullptr, "ping", 0, "Answers pong", 0);
        if (mkdtemp(dir) == nullptr || CRF1_Listen(dir, 0, path, sizeof path) != CRF1_OK)
            abort();
    }
    return path;
}

void BM_ConsoleSocketRoundTrip(benchmark::State &state)
{
    const char *path = Server();
    int idle[64];
    const int others = int(state.range(0)) - 1;
    for (int i = 0; i < others; ++i)
        idle[i] = Dial(path);
    int fd = Dial(path);
    // Every connection has been taken on before the clock starts.
    RoundTrip(fd, "ping\n", 5, strlen("ZUL 0 5\npong\n"));
    for (auto _ : state)
        RoundTrip(fd, "ping\n", 5, strlen("ZUL 0 5\npong\n"));
    close(fd);
    for (int i = 0; i < others; ++i)
        close(idle[i]);
    state.counters["clients"] = double(others + 1);
}
BENCHMARK(BM_ConsoleSocketRoundTrip)->Arg(1)->Arg(50);

void BM_BareUnixEchoRoundTrip(benchmark::State &state)
{
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0)
        abort();
    std::thread echo([fd = pair[1]] {
        char buffer[256];
        for (ssize_t n; (n = recv(fd, buffer, sizeof buffer, 0)) > 0;)
            send(fd, buffer, size_t(n), 0);
    });
    for (auto _ : state)
        RoundTrip(pair[0], "ping\n", 5, 5);
    shutdown(pair[0], SHUT_RDWR);
    echo.join();
    close(pair[0]);
    close(pair[1]);
}
BENCHMARK(BM_BareUnixEchoRoundTrip);

// Trace lines a second of four threads, with state.range(0) clients at
// work on the console socket meanwhile: each connects, sends a command,
// reads its answer and closes, over and over.
void BM_TraceWhileClientsTalk(benchmark::State &state)
{
    static std::atomic<bool> stop{false};
    static std::vector<std::thread> clients;
    if (state.thread_index() == 0) {
        const char *path = Server();
        stop = false;
        for (int64_t c = 0; c < state.range(0); ++c)
            clients.emplace_back([path] {
                while (!stop.load(std::memory_order_relaxed)) {
                    int fd = Dial(path);
                    RoundTrip(fd, "ping\n", 5, strlen("ZUL 0 5\npong\n"));
                    close(fd);
                }
            });
    }
    RAS1_DECLARE_ENTRY(entry, "worker", RAS1_PUBLIC);
    int item = 0;
    for (auto _ : state)
        if (RAS1_ReadClass(&entry) & RAS1_DETAIL)
            RAS1_Printf(&entry, __LINE__, "work item %d\n", item++);
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0) {
        stop = true;
        for (auto &t : clients)
            t.join();
        clients.clear();
        state.counters["clients"] = double(state.range(0));
    }
}
BENCHMARK(BM_TraceWhileClientsTalk)->Arg(0)->Arg(32)->Threads(4)->UseRealTime();

} // namespace
