// The console server as an operator meets it, against a real program (the
// probe, tests/crf/sock_probe.c) in a process of its own: faults in
// commands that the server's thread runs, a process out of descriptors,
// clients that hold their connections without finishing a line or
// reading a reply, and tails of the log while threads write it.
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
#include <map>
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
// too; `prefix` goes before it on the command line (prlimit).  `workers`
// threads write a line each as fast as they can while `classes` (the
// trace's setting) or a later `ras1 set` gives them DETAIL.
struct Probe {
    pid_t pid = -1;
    FILE *in = nullptr, *out = nullptr;
    std::string dir, path;

    explicit Probe(std::vector<std::string> prefix = {}, int workers = 0, const std::string &classes = "ERROR")
    {
        char d[] = "/tmp/zulsrvXXXXXX";
        dir = mkdtemp(d);
        std::vector<std::string> vars = {"ZUL_RAS1=" + classes + " >" + dir + "/log", "ZULWNT_RASPATH=" + dir + "/",
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
        args.push_back(std::to_string(workers));
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

namespace {

// Reads what `fd` has within `ms` milliseconds, up to `most` bytes; less
// when the peer closes.
std::string Take(int fd, size_t most, int ms)
{
    std::string got;
    char b[65536];
    pollfd p{fd, POLLIN, 0};
    while (got.size() < most && poll(&p, 1, ms) == 1) {
        ssize_t n = read(fd, b, std::min(sizeof b, most - got.size()));
        if (n <= 0)
            break;
        got.append(b, size_t(n));
    }
    return got;
}

// The workers' lines as a tail shows them: for each thread its items rise
// by one from line to line, or by more only where a report of dropped
// lines came in between.
struct Order {
    std::map<std::string, long> last;     // the thread's last item
    std::map<std::string, size_t> seenAt; // the reports that had come by then
    size_t reports = 0, lines = 0, faults = 0;
    unsigned long long dropped = 0;
    std::string partial, firstFault;

    void Feed(const std::string &text)
    {
        partial += text;
        size_t start = 0;
        for (size_t lf; (lf = partial.find('\n', start)) != std::string::npos; start = lf + 1)
            Line(partial.substr(start, lf - start));
        partial.erase(0, start);
    }

    void Line(const std::string &line)
    {
        unsigned long long n = 0;
        if (sscanf(line.c_str(), "*** %llu line", &n) == 1) {
            dropped += n;
            ++reports;
            return;
        }
        size_t dash = line.find('-'), colon = line.find(':'), at = line.find(") work item ");
        if (line.empty() || line[0] != '(' || dash > colon || colon == std::string::npos || at == std::string::npos)
            return;
        std::string thread = line.substr(dash + 1, colon - dash - 1);
        long item = atol(line.c_str() + at + 12);
        ++lines;
        auto was = last.find(thread);
        bool gap = was != last.end() && seenAt[thread] != reports;
        if (was != last.end() && (gap ? item <= was->second : item != was->second + 1) && faults++ == 0)
            firstFault = thread + ": " + std::to_string(was->second) + " then " + std::to_string(item);
        last[thread] = item;
        seenAt[thread] = reports;
    }
};

// Starts `zulctl --dir DIR tail PID` with its output on a pipe, whose
// reading end goes to *out.
pid_t StartZulctlTail(const Probe &probe, int *out)
{
    int p[2];
    if (pipe2(p, O_CLOEXEC) != 0)
        return -1;
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, p[1], 1);
    std::string dir = probe.dir + "/sock", pid = std::to_string(probe.pid);
    const char *argv[] = {ZULCTL_PATH, "--dir", dir.c_str(), "tail", pid.c_str(), nullptr};
    pid_t tail = -1;
    if (posix_spawn(&tail, ZULCTL_PATH, &files, nullptr, const_cast<char **>(argv), environ) != 0)
        tail = -1;
    posix_spawn_file_actions_destroy(&files);
    close(p[1]);
    *out = p[0];
    return tail;
}

size_t Descriptors(pid_t pid)
{
    size_t n = 0;
    for ([[maybe_unused]] auto &e : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd"))
        ++n;
    return n;
}

long RssKiB(pid_t pid)
{
    std::string status = Slurp("/proc/" + std::to_string(pid) + "/status");
    size_t at = status.find("VmRSS:");
    return at == std::string::npos ? -1 : atol(status.c_str() + at + 6);
}

} // namespace

// The operator's loop: `zulctl tail` is watching, `ras1 set` turns four
// threads' lines on, and every line reaches the tail in the order its
// thread wrote it, with nothing missing unless a report says so.  Ctrl-C
// ends the tail with status 0.
TEST(ConsoleTail, ZulctlSeesWhatSetTurnsOnInOrderPerThread)
{
    Probe probe({}, 4);
    ASSERT_FALSE(probe.path.empty());
    int out = -1;
    pid_t tail = StartZulctlTail(probe, &out);
    ASSERT_GT(tail, 0);
    // The tail attaches on its own time: lines are turned on until some
    // have come.
    Order order;
    for (int i = 0; i < 100 && order.lines == 0; ++i) {
        ASSERT_NE(Ask(probe.path, "ras1 set (unit=sock_probe DETAIL)").find("OK"), std::string::npos);
        order.Feed(Take(out, 1 << 16, 100));
    }
    for (int i = 0; i < 200 && (order.lines < 20000 || order.last.size() < 4); ++i)
        order.Feed(Take(out, 1 << 20, 100));
    Ask(probe.path, "ras1 set (unit=sock_probe NONE)");
    kill(tail, SIGINT);
    while (!Take(out, 1 << 20, 5000).empty()) {
    }
    int status = -1;
    waitpid(tail, &status, 0);
    close(out);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_GE(order.lines, 20000u);
    EXPECT_EQ(order.last.size(), 4u) << "lines of every thread";
    EXPECT_EQ(order.faults, 0u) << order.firstFault;
}

// A tail that stops reading for 5 s while four threads log flat out: the
// threads go on writing, the tail's queue drops what it cannot hold, and
// when the tail reads again it is told how many lines it lost and gets
// lines written after the pause.
TEST(ConsoleTail, AStalledTailIsToldWhatItLostAndGetsTheNewestLines)
{
    Probe probe({}, 4, "ERROR (UNIT:sock_probe DETAIL)");
    ASSERT_FALSE(probe.path.empty());
    int fd = Dial(probe.path);
    ASSERT_EQ(send(fd, ".tail\n", 6, MSG_NOSIGNAL), 6);
    std::string head = Take(fd, 10, 5000);
    ASSERT_EQ(head, "ZUL 100 0\n");
    Order order;
    order.Feed(Take(fd, 1 << 18, 5000));
    ASSERT_GT(order.lines, 0u);
    std::map<std::string, long> before = order.last;
    probe.Say("rate");
    usleep(250000);
    double reading = atof(probe.Say("rate").c_str() + 8);
    sleep(5);
    double stalled = atof(probe.Say("rate").c_str() + 8);
    size_t reportsBefore = order.reports;
    for (int i = 0; i < 100 && (order.reports == reportsBefore || order.lines < 1000); ++i)
        order.Feed(Take(fd, 1 << 20, 100));
    close(fd);
    EXPECT_GT(order.reports, reportsBefore);
    EXPECT_GT(order.dropped, 0u);
    EXPECT_EQ(order.faults, 0u) << order.firstFault;
    // Nothing the queue and the socket held at the pause's start is
    // numbered so far beyond what had come before it.
    bool newer = false;
    for (auto &[thread, item] : order.last)
        newer = newer || item > before[thread] + 20000;
    EXPECT_TRUE(newer);
    // Threads held up by the tail would all but stop while it stalls.
    EXPECT_GT(stalled, reading / 10) << "lines/s while reading " << reading << ", while stalled " << stalled;
}

// A tail that reads nothing while the program writes many times what the
// feed and the socket hold: when it reads again, the lines it gets are in
// order, and with the lines it is told it lost they make every line
// written, not one more nor less.
TEST(ConsoleTail, ALappedTailIsToldExactlyHowManyLinesItLost)
{
    constexpr long kLines = 60000; // some 4 MB of lines
    Probe probe;
    ASSERT_FALSE(probe.path.empty());
    int fd = Dial(probe.path);
    ASSERT_EQ(send(fd, ".tail\n", 6, MSG_NOSIGNAL), 6);
    ASSERT_EQ(Take(fd, 10, 5000), "ZUL 100 0\n");
    ASSERT_EQ(probe.Say(("burst " + std::to_string(kLines)).c_str()), "burst " + std::to_string(kLines));
    std::string text;
    for (int i = 0; i < 100 && text.find(") burst end\n") == std::string::npos; ++i)
        text += Take(fd, 1 << 22, 100);
    close(fd);
    long got = 0, last = -1;
    unsigned long long dropped = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        unsigned long long n = 0;
        size_t at = line.find(") burst ");
        if (sscanf(line.c_str(), "*** %llu line", &n) == 1) {
            dropped += n;
        } else if (at != std::string::npos && line.compare(at + 8, 3, "end") != 0) {
            long item = atol(line.c_str() + at + 8);
            EXPECT_GT(item, last) << line;
            last = item;
            ++got;
        }
    }
    EXPECT_GT(dropped, 0u);
    EXPECT_GT(got, 0);
    EXPECT_EQ(got + static_cast<long>(dropped), kLines);
}

// Rounds of 33 tails: 32 are attached, the 33rd is told that there are
// too many, and the others leave, some with lines unread.  The process
// ends with the descriptors it had, and memory of the first round's size;
// commands are answered throughout.
TEST(ConsoleTail, TailsComingAndGoingLeaveNothingBehind)
{
    Probe probe({}, 4, "ERROR (UNIT:sock_probe DETAIL)");
    ASSERT_FALSE(probe.path.empty());
    size_t descriptors = Descriptors(probe.pid);
    long rss = 0;
    for (int round = 0; round < 6; ++round) {
        std::vector<int> tails;
        for (int i = 0; i < 33; ++i) {
            tails.push_back(Dial(probe.path));
            send(tails.back(), ".tail\n", 6, MSG_NOSIGNAL);
        }
        int attached = 0, refused = 0;
        for (size_t i = 0; i < tails.size(); ++i) {
            std::string got = Reply(tails[i], 10);
            attached += got.rfind("ZUL 100 0\n", 0) == 0;
            refused += got == "ZUL 106 32\nToo many tails: 32 are attached\n";
            if (i % 2 == 0)
                Take(tails[i], 1 << 16, 50);
        }
        EXPECT_EQ(attached, 32);
        EXPECT_EQ(refused, 1);
        EXPECT_EQ(Ask(probe.path, "ping"), "ZUL 0 5\npong\n");
        for (int fd : tails)
            close(fd);
        // The server notices the hang-ups in its next turns.
        for (int i = 0; i < 100 && Descriptors(probe.pid) != descriptors; ++i)
            usleep(50000);
        EXPECT_EQ(Descriptors(probe.pid), descriptors) << "round " << round;
        if (round == 0)
            rss = RssKiB(probe.pid);
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // The sanitizers hold freed memory back on purpose.
    EXPECT_LE(RssKiB(probe.pid), rss + 1024) << "KiB after the first round: " << rss;
#endif
}
