// Nothing the log holds is lost when the process ends: a probe writes
// numbered lines to a log file through the buffered default store and then
// dies in one of the ways a server dies, and every line it wrote must be
// in the file, once, in order.  Where the failure report is written, the
// lines are on disk before it.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <fstream>
#include <map>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

namespace {

constexpr int kLines = 10000;

struct Ending {
    const char *mode;
    int signal;   // the probe's WTERMSIG, or 0 for an exit
    int code;     // its exit code where it exits
    bool report;  // a failure report is written
};

const Ending kEndings[] = {
    {"segv", SIGSEGV, 0, true},   // a null pointer
    {"abort", SIGABRT, 0, true},  // abort()
    {"throw", SIGABRT, 0, true},  // an uncaught C++ exception
    {"side", SIGSEGV, 0, true},   // a fault while a second thread writes
    {"term", SIGTERM, 0, false},  // SIGTERM with its default action
    {"handler", 0, 3, false},     // _exit() in a handler set through SIG1_Signal
    {"own", 0, 3, false},         // _exit() in the program's own handler, after RAS1_Flush
    {"exit", 0, 0, false},        // a return from main
    {"fork", 0, 0, false},        // children forked while four threads write
};

void PrintTo(const Ending &e, std::ostream *out)
{
    *out << e.mode;
}

struct Outcome {
    int status = -1;
    std::string log;
    struct stat logStat = {}, reportStat = {};
    bool reported = false;
    std::string said; // the first line of the probe's standard error
};

Outcome run_probe(const Ending &e)
{
    char dirTemplate[] = "/tmp/zulendingXXXXXX";
    std::string dir = mkdtemp(dirTemplate);
    std::string log = dir + "/probe.log", report = dir + "/probe.ras";
    std::vector<std::string> vars = {
        "ZUL_RAS1=STATE >" + log, "ZULWNT_RASPATH=" + dir + "/", "ZULWNT_RASNAME=probe",
        // A sanitizer's own handlers would end the probe in their own way,
        // and a forked child's exit does not free the blocks of the
        // parent's threads, which the child does not have.
        "ASAN_OPTIONS=handle_segv=0:handle_abort=0:detect_leaks=0",
        "TSAN_OPTIONS=handle_segv=0 handle_sigbus=0 handle_abort=0 report_signal_unsafe=0"};
    for (char **v = environ; *v; v++)
        if (strncmp(*v, "ZUL", 3) != 0 && strncmp(*v, "ASAN_OPTIONS=", 13) != 0 &&
            strncmp(*v, "TSAN_OPTIONS=", 13) != 0)
            vars.push_back(*v);
    std::vector<char *> envp;
    for (auto &v : vars)
        envp.push_back(v.data());
    envp.push_back(nullptr);
    std::string count = std::to_string(kLines);
    char *argv[] = {const_cast<char *>(ZUL_ENDING_PROBE), const_cast<char *>(e.mode), count.data(),
                    nullptr};
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    std::string err = dir + "/probe.err";
    posix_spawn_file_actions_addopen(&files, 2, err.c_str(), O_WRONLY | O_CREAT, 0644);
    Outcome run;
    pid_t pid;
    if (posix_spawn(&pid, ZUL_ENDING_PROBE, &files, nullptr, argv, envp.data()) == 0)
        waitpid(pid, &run.status, 0);
    posix_spawn_file_actions_destroy(&files);
    std::ifstream in(log, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    run.log = text.str();
    stat(log.c_str(), &run.logStat);
    run.reported = stat(report.c_str(), &run.reportStat) == 0;
    std::ifstream said(err);
    std::getline(said, run.said);
    unlink(err.c_str());
    unlink(log.c_str());
    unlink(report.c_str());
    rmdir(dir.c_str());
    return run;
}

// The numbers of each writer's lines ("main 12" is writer "main", 12), in
// the order of the file; a line cut short at the end of the file is left
// out.
std::map<std::string, std::vector<int>> numbers_by_writer(const std::string &log)
{
    std::map<std::string, std::vector<int>> seen;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line) && !in.eof();) {
        size_t at = line.find(",\"say\") ");
        if (at == std::string::npos)
            continue; // the opening block, the banner
        std::string body = line.substr(at + 8);
        size_t space = body.rfind(' ');
        seen[body.substr(0, space)].push_back(std::stoi(body.substr(space + 1)));
    }
    return seen;
}

// 0, 1, 2, ... with none missing and none twice.
bool counts_up(const std::vector<int> &numbers)
{
    for (size_t i = 0; i < numbers.size(); i++)
        if (numbers[i] != (int)i)
            return false;
    return true;
}

class Ends : public testing::TestWithParam<Ending> {};

TEST_P(Ends, EveryLineWrittenIsInTheFileOnce)
{
    const Ending &e = GetParam();
    Outcome run = run_probe(e);
    if (e.signal != 0)
        ASSERT_TRUE(WIFSIGNALED(run.status) && WTERMSIG(run.status) == e.signal) << run.status;
    else
        ASSERT_TRUE(WIFEXITED(run.status) && WEXITSTATUS(run.status) == e.code) << run.status;
    ASSERT_EQ(run.reported, e.report);

    auto seen = numbers_by_writer(run.log);
    std::string mode = e.mode;
    if (mode == "fork") {
        // The parent's threads, main, and each child: every line once.
        ASSERT_EQ(seen.size(), 8u);
        for (auto &[writer, numbers] : seen) {
            EXPECT_TRUE(counts_up(numbers)) << writer;
            if (writer == "main")
                EXPECT_EQ(numbers.size(), 3u);
            else if (writer.rfind("child", 0) == 0)
                EXPECT_EQ(numbers.size(), size_t(kLines / 10)) << writer;
            else
                EXPECT_GE(numbers.size(), size_t(kLines)) << writer;
        }
        return;
    }
    EXPECT_EQ(seen["main"].size(), size_t(kLines));
    EXPECT_TRUE(counts_up(seen["main"]));
    if (mode == "side") {
        // The second thread's lines may end anywhere after the fault, but
        // none is missing before its last, nor any it had written before.
        ASSERT_EQ(run.said.rfind("side ", 0), 0u) << run.said;
        EXPECT_GE(seen["side"].size(), size_t(std::stoi(run.said.substr(5))));
        EXPECT_TRUE(counts_up(seen["side"]));
    }
    if (e.report && mode != "side") // the log's file was last written before the report
        EXPECT_LE(run.logStat.st_mtim.tv_sec * 1000000000LL + run.logStat.st_mtim.tv_nsec,
                  run.reportStat.st_mtim.tv_sec * 1000000000LL + run.reportStat.st_mtim.tv_nsec);
}

INSTANTIATE_TEST_SUITE_P(Ways, Ends, testing::ValuesIn(kEndings),
                         [](const testing::TestParamInfo<Ending> &info) {
                             return std::string(info.param.mode);
                         });

} // namespace
