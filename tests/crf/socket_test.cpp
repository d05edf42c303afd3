// The console socket from outside: many clients and bad input under load,
// and peers of another user.
#include <zul/crf1.h>
#include <zul/ras1.h>

#include <gtest/gtest.h>

#include <sys/fsuid.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <sstream>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

RAS1_DECLARE_UNIT(RAS1_APPLICATION, "1", "TEST");

namespace {

std::string Listen()
{
    char dir[] = "/tmp/zulsockXXXXXX", path[108];
    EXPECT_NE(mkdtemp(dir), nullptr);
    EXPECT_EQ(CRF1_Listen(dir, 0, path, sizeof path), CRF1_OK);
    return path;
}

int Dial(const std::string &path)
{
    sockaddr_un a{AF_UNIX, {}};
    path.copy(a.sun_path, sizeof a.sun_path - 1);
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    return connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0 ? fd : (close(fd), -1);
}

// Sends `out` and reads `replies` whole replies as text: 0 reads until
// the server closes, after saying that no more will come; -1 reads none.
std::string Talk(int fd, const std::string &out, int replies)
{
    send(fd, out.data(), out.size(), MSG_NOSIGNAL);
    if (replies == 0)
        shutdown(fd, SHUT_WR);
    std::string in;
    char b[4096];
    unsigned status, length;
    for (size_t pos = 0, nl; replies >= 0;) {
        while ((nl = in.find('\n', pos)) != std::string::npos &&
               sscanf(in.c_str() + pos, "ZUL %u %u", &status, &length) == 2 && in.size() > nl + length)
            pos = nl + 1 + length, --replies;
        ssize_t n = replies == 0 ? 0 : recv(fd, b, sizeof b, 0);
        if (n <= 0)
            break;
        in.append(b, size_t(n));
    }
    return in;
}

std::string Slurp(const std::string &path)
{
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

int Pong(ZULLX_list_t *, ZULSS_format_t *format, ZULCR_request_t *)
{
    return BSS1_PrintFormat(format, "pong\n");
}

} // namespace

// 32 clients at once: well-formed lines (pipelined two at a time), garbage
// of any bytes, lines cut off by a close and lines over the limit, while
// four threads trace every call.  Every well-formed line is answered, and
// the bad ones cost only their own connections.  (What the clients cost
// the tracing threads is measured in bench/crfsock_bench.cpp.)
TEST(ConsoleSocket, ManyClientsAndBadInputWhileWorkersTrace)
{
    setenv("ZUL_RAS1", "ALL >/dev/null", 1);
    ASSERT_EQ(CRF1_Register(nullptr, Pong, nullptr, "ping", 0, "Answers pong", 0), CRF1_OK);
    std::string path = Listen();

    std::atomic<bool> stop{false};
    std::atomic<long> traced{0};
    std::vector<std::thread> workers;
    for (int w = 0; w < 4; ++w)
        workers.emplace_back([&] {
            RAS1_DECLARE_ENTRY(entry, "worker", RAS1_PUBLIC);
            for (; !stop.load(); traced++)
                if (RAS1_ReadClass(&entry) & RAS1_DETAIL)
                    RAS1_Printf(&entry, __LINE__, "work item %ld\n", traced.load());
        });

    std::atomic<int> answered{0}, wrong{0};
    std::vector<std::thread> clients;
    for (int c = 0; c < 32; ++c)
        clients.emplace_back([&, c] {
            for (int i = 0; i < 40; ++i) {
                int fd = Dial(path);
                if (c % 4 < 2) {
                    std::string r = Talk(fd, "ping\nPING\r\n", 2);
                    if (r == "ZUL 0 5\npong\nZUL 0 5\npong\n") answered += 2; else if (wrong++ == 0) ADD_FAILURE() << r;
                } else if (c % 4 == 2) {
                    std::string junk(size_t(i * 97 % 300), '\0');
                    for (size_t k = 0; k < junk.size(); ++k)
                        junk[k] = char((k * 131 + size_t(c)) % 256);
                    Talk(fd, junk + "\n", 0);
                } else {
                    Talk(fd, i % 2 ? "pin" : std::string(5000, 'x'), i % 2 ? -1 : 0);
                }
                close(fd);
            }
        });
    for (auto &t : clients)
        t.join();
    stop = true;
    for (auto &t : workers)
        t.join();

    EXPECT_EQ(answered.load(), 16 * 40 * 2);
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_GT(traced.load(), 0) << "the tracing threads went on while the clients talked";
    EXPECT_EQ(CRF1_Unlisten(), CRF1_OK);
    EXPECT_NE(access(path.c_str(), F_OK), 0);
}

// A peer whose user is neither the owner nor root gets "Not permitted",
// and the refusal is in the log under ERROR.  A child of a root test
// takes another effective user but keeps root's file-system user, so that
// it still reaches the socket in its private directory.
TEST(ConsoleSocket, OtherUserIsRefusedAndLogged)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to connect as another user";
    char log[] = "/tmp/zulsocklogXXXXXX";
    close(mkstemp(log));
    setenv("ZUL_RAS1", ("ERROR >" + std::string(log)).c_str(), 1);
    std::string path = Listen();

    pid_t child = fork();
    if (child == 0) {
        if (seteuid(65534) != 0)
            _exit(2);
        setfsuid(0);
        // No allocation here: a sanitizer's allocator may have been forked
        // with its lock held by the server thread.
        static const char want[] = "ZUL 102 14\nNot permitted\n";
        char got[sizeof want] = {};
        int fd = Dial(path);
        size_t n = 0;
        send(fd, "?\n", 2, MSG_NOSIGNAL);
        for (ssize_t k; n < sizeof want - 1 && (k = recv(fd, got + n, sizeof want - 1 - n, 0)) > 0;)
            n += size_t(k);
        _exit(fd >= 0 && memcmp(got, want, sizeof want) == 0 ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    int fd = Dial(path);
    EXPECT_EQ(Talk(fd, "?\n", 1).rfind("ZUL 0 ", 0), 0u);
    close(fd);
    CRF1_Unlisten();
    EXPECT_NE(Slurp(log).find("from uid 65534"), std::string::npos) << Slurp(log);
}

// A forked child has no server: it opens a socket of its own, and its
// end leaves its parent's socket in place and answering.
TEST(ConsoleSocket, ForkedChildLeavesItsParentsSocketAlone)
{
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "ThreadSanitizer cannot start a thread in a child of a threaded process";
#elif defined(__SANITIZE_ADDRESS__)
    // This AddressSanitizer runtime takes no allocator locks around fork: a
    // child forked while the server thread allocates inherits a held lock and
    // hangs in its first thread start, whatever the library does.
    GTEST_SKIP() << "AddressSanitizer's allocator is not fork-safe for a child that starts a thread";
#endif
    std::string path = Listen(), dir = path.substr(0, path.rfind('/'));
    pid_t child = fork();
    if (child == 0) {
        char own[108];
        bool ok = CRF1_Listen(dir.c_str(), 0, own, sizeof own) == CRF1_OK && path != own;
        _exit(ok && CRF1_Unlisten() == CRF1_OK ? 0 : 1);
    }
    int status = 0, fd = (waitpid(child, &status, 0), Dial(path));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Talk(fd, "?\n", 1).rfind("ZUL 0 ", 0), 0u);
    close(fd);
}

#if defined(ZUL_DEMO_PATH) && defined(ZULCTL_PATH)
namespace {

// Runs zulctl with `args`; its exit status, and its output in *out.
int Zulctl(const std::string &args, std::string *out)
{
    FILE *p = popen((std::string(ZULCTL_PATH) + " " + args + " 2>&1").c_str(), "r");
    char b[4096];
    for (size_t n; (n = fread(b, 1, sizeof b, p)) > 0;)
        out->append(b, n);
    return WEXITSTATUS(pclose(p));
}

} // namespace

// The demo as a separate process with its console on: a filter set from
// outside makes its workers write Entry lines, and `ras1 log` over the
// socket shows them.
TEST(ConsoleSocket, DemoSteeredByZulctl)
{
    char dir[] = "/tmp/zuldemoXXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string log = std::string(dir) + "/demo.log", d = std::string("--dir ") + dir + "/sock ";
    int in[2];
    ASSERT_EQ(pipe(in), 0);
    pid_t demo = fork();
    if (demo == 0) {
        dup2(in[0], 0);
        close(in[1]);
        setenv("ZUL_CONSOLE", (std::string(dir) + "/sock").c_str(), 1);
        setenv("ZUL_RAS1", ("ERROR >" + log).c_str(), 1);
        execl(ZUL_DEMO_PATH, ZUL_DEMO_PATH, (char *)nullptr);
        _exit(127);
    }
    close(in[0]);
    std::string pid = std::to_string(demo), out;
    for (int i = 0; i < 200 && Zulctl(d + "list", &(out = "")) == 0 && out.find(" " + pid + " ") == std::string::npos; ++i)
        usleep(50000);
    EXPECT_EQ(Zulctl(d + pid + " 'ras1 set (unit=demo_net FLOW)'", &(out = "")), 0) << out;
    for (int i = 0; i < 200 && Slurp(log).find("\") Entry") == std::string::npos; ++i)
        usleep(50000);
    EXPECT_NE(Slurp(log).find("demo_net.c"), std::string::npos) << Slurp(log);
    EXPECT_EQ(Zulctl(d + pid + " ras1 log", &(out = "")), 0);
    EXPECT_NE(out.find("\"net_handle\") Entry"), std::string::npos) << out;
    close(in[1]);
    int status = 0;
    waitpid(demo, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(Zulctl(d + pid + " '?'", &(out = "")), 125) << "the socket outlived its process";
}
#endif
