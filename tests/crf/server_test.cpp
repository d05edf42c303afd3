// The console server as an operator meets it, against a real program (the
// probe, tests/crf/sock_probe.c) in a process of its own: faults in
// commands that the server's thread runs, a process out of descriptors,
// and clients that hold their connections without finishing a line or
// reading a reply.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

extern char **environ;

namespace {

std::string Slurp(const std::string &path)
{
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

size_t Count(const std::string &text, const std::string &what)
{
    size_t n = 0;
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += what.size())
        ++n;
    return n;
}

// The probe in a fresh directory, its log there and its failure report
// too; `prefix` goes before it on the command line (prlimit).
struct Probe {
    pid_t pid = -1;
    FILE *in = nullptr, *out = nullptr;
    std::string dir, path;

    explicit Probe(std::vector<std::string> prefix = {})
    {
        char d[] = "/tmp/zulsrvXXXXXX";
        dir = mkdtemp(d);
        std::vector<std::string> vars = {"ZUL_RAS1=ERROR >" + dir + "/log", "ZULWNT_RASPATH=" + dir + "/",
                                         // A sanitizer's fault handler would end the probe its own way
                                         // instead of leaving the fault to the library.
                                         "ASAN_OPTIONS=handle_segv=0",
                                         "TSAN_OPTIONS=halt_on_error=1 handle_segv=0 handle_sigbus=0 handle_abort=0 "
                                         "report_signal_unsafe=0"};
        for (char **e = environ; *e != nullptr; ++e)
            if (strncmp(*e, "ZUL", 3) != 0 && strncmp(*e, "ASAN_OPTIONS=", 13) != 0 &&
                strncmp(*e, "TSAN_OPTIONS=", 13) != 0)
                vars.push_back(*e);
        std::vector<std::string> args = prefix;
        args.push_back(ZUL_SOCK_PROBE);
        args.push_back(dir + "/sock");
        int down[2], up[2];
        if (pipe2(down, O_CLOEXEC) != 0 || pipe2(up, O_CLOEXEC) != 0)
            return;
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, down[0], 0);
        posix_spawn_file_actions_adddup2(&files, up[1], 1);
        posix_spawn_file_actions_addchdir_np(&files, dir.c_str());
        std::vector<char *> argv, envp;
        for (auto &a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        for (auto &v : vars)
            envp.push_back(v.data());
        envp.push_back(nullptr);
        if (posix_spawnp(&pid, argv[0], &files, nullptr, argv.data(), envp.data()) != 0)
            pid = -1;
        posix_spawn_file_actions_destroy(&files);
        close(down[0]);
        close(up[1]);
        in = fdopen(down[1], "w");
        out = fdopen(up[0], "r");
        path = Say(nullptr);
    }

    ~Probe()
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        fclose(in);
        fclose(out);
        std::filesystem::remove_all(dir);
    }

    // Gives the probe one word of its standard input (none: only reads)
    // and returns its answer line.
    std::string Say(const char *word)
    {
        if (word != nullptr) {
            fprintf(in, "%s\n", word);
            fflush(in);
        }
        char line[256] = "";
        if (fgets(line, sizeof line, out) == nullptr)
            return "";
        line[strcspn(line, "\n")] = '\0';
        return line;
    }

    // How the probe ended: its wait status, or -1 if it still runs after
    // 20 s.
    int End()
    {
        int status = 0;
        for (int i = 0; i < 400; ++i, usleep(50000))
            if (waitpid(pid, &status, WNOHANG) == pid) {
                pid = -1;
                return status;
            }
        return -1;
    }
};

int Dial(const std::string &path)
{
    sockaddr_un a{AF_UNIX, {}};
    path.copy(a.sun_path, sizeof a.sun_path - 1);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    return connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0 ? fd : (close(fd), -1);
}

// One reply from `fd`, header and body; less when the server closes the
// connection or says nothing for `seconds`.
std::string Reply(int fd, int seconds = 30)
{
    std::string got;
    char b[4096];
    unsigned status, length;
    pollfd p{fd, POLLIN, 0};
    for (;;) {
        size_t nl = got.find('\n');
        if (nl != std::string::npos && sscanf(got.c_str(), "ZUL %u %u", &status, &length) == 2 &&
            got.size() >= nl + 1 + length)
            return got;
        ssize_t n = poll(&p, 1, seconds * 1000) == 1 ? recv(fd, b, sizeof b, 0) : 0;
        if (n <= 0)
            return got;
        got.append(b, size_t(n));
    }
}

std::string Ask(const std::string &path, const std::string &line)
{
    int fd = Dial(path);
    if (fd < 0)
        return "(no connection)";
    send(fd, (line + "\n").data(), line.size() + 1, MSG_NOSIGNAL);
    std::string reply = Reply(fd);
    close(fd);
    return reply;
}

} // namespace

// A command runs on the server's thread; a fault there is the program's
// like a fault on any of its threads: a protected scope catches it and the
// program goes on, and with no scope the process ends with its signal and
// leaves its failure report, bss1 abend included.
TEST(ConsoleServer, FaultInACommandIsTheProgramsFault)
{
    struct Case {
        const char *line;  // "%d" is the probe's process ID
        const char *reply; // null: the process ends
    } cases[] = {
        {"fault scope", "ZUL 0 16\ncaught 00120001\n"},
        {"fault bare", nullptr},
        {"bss1 abend %d", nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.line);
        Probe probe;
        ASSERT_FALSE(probe.path.empty());
        char line[64];
        snprintf(line, sizeof line, c.line, int(probe.pid));
        std::string reply = Ask(probe.path, line);
        if (c.reply != nullptr) {
            EXPECT_EQ(reply, c.reply);
            EXPECT_EQ(Ask(probe.path, "ping"), "ZUL 0 5\npong\n") << "the program went on";
            continue;
        }
        EXPECT_EQ(reply, "");
        int status = probe.End();
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV) << status;
        std::string report = Slurp(probe.dir + "/zul_crf_sock_probe.ras");
        EXPECT_NE(report.find("Exception 0x0000000B (SIGSEGV)"), std::string::npos) << report;
    }
}

// A process at its descriptor limit with clients waiting: the server
// does not spin on a listener it cannot take from, says so once in the
// log and once more, with a count, when it can take connections again.
// Meanwhile the spare descriptor it holds lets it answer the clients one
// at a time.
TEST(ConsoleServer, OutOfDescriptorsItWaitsAndSaysSoOnce)
{
    Probe probe({"prlimit", "--nofile=64", "--"});
    ASSERT_FALSE(probe.path.empty());
    ASSERT_EQ(probe.Say("fill").rfind("filled ", 0), 0u);
    std::vector<int> clients;
    for (int i = 0; i < 12; ++i) {
        clients.push_back(Dial(probe.path));
        send(clients.back(), "ping\n", 5, MSG_NOSIGNAL);
    }
    for (int fd : clients) {
        ASSERT_EQ(Reply(fd, 10), "ZUL 0 5\npong\n");
        close(fd);
    }
    EXPECT_EQ(probe.Say("free"), "freed");
    EXPECT_EQ(Ask(probe.path, "ping"), "ZUL 0 5\npong\n");
    std::string log = Slurp(probe.dir + "/log");
    EXPECT_EQ(Count(log, "Console connection not accepted: Too many open files"), 1u) << log.substr(0, 2000);
    EXPECT_EQ(Count(log, "Console connections accepted again after "), 1u) << log.substr(0, 2000);
}

// 64 connections of the owner's user hold every slot: half send a line
// that never ends, a byte at a time, half have sent a line and do not
// read.  Another client is answered all the same: the quiet ones make
// room, and the lines that never end are answered with 105 and closed.
TEST(ConsoleServer, ClientsThatHoldTheirConnectionsMakeRoom)
{
    Probe probe;
    ASSERT_FALSE(probe.path.empty());
    std::vector<int> slow, deaf;
    for (int i = 0; i < 32; ++i) {
        slow.push_back(Dial(probe.path));
        deaf.push_back(Dial(probe.path));
        send(deaf.back(), "?\n", 2, MSG_NOSIGNAL);
    }
    int fd = Dial(probe.path);
    send(fd, "ping\n", 5, MSG_NOSIGNAL);
    std::string answer, endings[32];
    pollfd p{fd, POLLIN, 0};
    // Slow clients send a byte every 200 ms: never quiet, never done.
    for (int round = 0, open = 32; round < 50 && (open != 0 || answer.empty()); ++round, usleep(200000)) {
        if (answer.empty() && poll(&p, 1, 0) == 1)
            answer = Reply(fd, 10);
        for (int i = 0; i < 32; ++i) {
            pollfd q{slow[i], POLLIN, 0};
            if (!endings[i].empty())
                continue;
            if (poll(&q, 1, 0) == 1)
                endings[i] = Reply(slow[i], 1), --open;
            else if (send(slow[i], "p", 1, MSG_NOSIGNAL) != 1)
                endings[i] = "(closed)", --open;
        }
    }
    EXPECT_EQ(answer, "ZUL 0 5\npong\n");
    for (const std::string &e : endings)
        EXPECT_EQ(e, "ZUL 105 30\nLine not completed within 3 s\n");
    for (int s : slow)
        close(s);
    for (int d : deaf)
        close(d);
    close(fd);
}
