// The failure report, written by children that really fail: each case
// runs the child in a fresh directory, checks that it died of the signal
// it would have died of without the library, and reads its report.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <fstream>
#include <regex>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

namespace {

struct Case {
    const char *name;
    const char *mode;
    std::vector<std::string> env; // added to the child's environment
    int signal;                   // the child's WTERMSIG
    int runs;                     // reports appended to one file
    std::vector<const char *> patterns; // every one must be in the report
};

// Runs the child once; gives its wait status, or -1 if it did not end.
int run_child(const Case &c, const std::string &dir)
{
    std::vector<std::string> vars(c.env);
    vars.push_back("ZULWNT_RASPATH=" + dir + "/");
    vars.push_back("ZUL_RAS1=ERROR");
    // A sanitizer's own fault handler would end the child with an exit
    // code of its own instead of the signal; the report's symbol section
    // runs in the handler on purpose, after the safe part is on disk.
    vars.push_back("ASAN_OPTIONS=handle_segv=0");
    vars.push_back("TSAN_OPTIONS=handle_segv=0 handle_sigbus=0 handle_abort=0 report_signal_unsafe=0");
    for (char **e = environ; *e; e++)
        if (strncmp(*e, "ZUL", 3) != 0 && strncmp(*e, "TSAN_OPTIONS=", 13) != 0 &&
            strncmp(*e, "ASAN_OPTIONS=", 13) != 0)
            vars.push_back(*e);
    std::vector<char *> envp;
    for (auto &v : vars)
        envp.push_back(v.data());
    envp.push_back(nullptr);
    char *argv[] = {const_cast<char *>(ZUL_WNT_CHILD), const_cast<char *>(c.mode), nullptr};
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&files, 2, "/dev/null", O_WRONLY, 0);
    pid_t pid;
    if (posix_spawn(&pid, ZUL_WNT_CHILD, &files, nullptr, argv, envp.data()) != 0)
        return -1;
    posix_spawn_file_actions_destroy(&files);
    int status = 0;
    for (int waited = 0; waited < 600; waited++) { // 30 s: a hang is a failure
        if (waitpid(pid, &status, WNOHANG) == pid)
            return status;
        usleep(50000);
    }
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    return -1;
}

const Case kCases[] = {
    {"NullStore", "null", {}, SIGSEGV, 2,
     {"Exception 0x0000000B \\(SIGSEGV\\): address not mapped",
      "Origin: zul_wnt_child<>wnt_store_through_null\\+0x[0-9A-F]+<>\\S*wnt_child\\.cpp\\(\\d+\\)",
      "IP:[0-9A-F]{16}  BP:[0-9A-F]{16}  zul_wnt_child<>main\\+",
      "RIP:[0-9A-F]{16}", "CS:0033", "libzul\\.so[.0-9]* +[0-9a-f]{40}",
      "Name: zul +Target: ", "child about to fail: null\n"}},
    {"TwoThreadsAtOnce", "two", {}, SIGSEGV, 1, {"Last Lines\n(.*\n)*\n\n$"}},
    {"StackOverflow", "overflow", {}, SIGSEGV, 1, {"the stack has overflowed", "wnt_overflow\\(int\\)\\+"}},
    {"Abort", "abort", {}, SIGABRT, 1, {"\\(SIGABRT\\): sent by tkill", "<>abort\\+"}},
    {"UncaughtException", "throw", {}, SIGABRT, 1, {"uncaught C\\+\\+ exception of type std::runtime_error"}},
    {"NoSymbolLibrary", "null", {"ZULWNT_DBGHELP=libzul-no-such-library.so"}, SIGSEGV, 1,
     {"\\*\\*\\* Unable to load libzul-no-such-library.so", "Symbols: install elfutils' libdw\\.so\\.1", "Component Info",
      "Raw Stack\n\n +IP:"}},
    {"UnwritablePath", "null", {"ZULWNT_RASNAME=no/such/dir/child"}, SIGSEGV, 1, {}},
};

class Report : public testing::TestWithParam<Case> {};

TEST_P(Report, ChildDiesAsWithoutLibraryAndLeavesItsReport)
{
    const Case &c = GetParam();
    char dir[] = "/tmp/zul_wnt_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    for (int i = 0; i < c.runs; i++) {
        int status = run_child(c, dir);
        ASSERT_TRUE(status != -1 && WIFSIGNALED(status)) << "status " << status;
        EXPECT_EQ(WTERMSIG(status), c.signal);
    }
    std::ifstream file(std::string(dir) + "/zul_wnt_child.ras");
    std::stringstream text;
    text << file.rdbuf();
    std::string report = text.str();
    unlink((std::string(dir) + "/zul_wnt_child.ras").c_str());
    rmdir(dir);
    if (c.patterns.empty()) { // the report could not be written
        EXPECT_TRUE(report.empty());
        return;
    }
    size_t reports = 0;
    for (size_t at = 0; (at = report.find("\nException 0x", at)) != std::string::npos; at++)
        reports++;
    EXPECT_EQ(reports, (size_t)c.runs);
    for (const char *p : c.patterns)
        EXPECT_TRUE(std::regex_search(report, std::regex(p))) << p << "\n" << report;
    EXPECT_EQ(report.find('\r'), std::string::npos);
}

// The program's name follows one rule wherever the library uses it: the
// file name without its extension, blanks made "_".
TEST(ReportName, IsTheProgramNameOfTheHeaderAndTheSocket)
{
    char dir[] = "/tmp/zul_wnt_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string d = dir, program = d + "/my prog.v2.bin";
    ASSERT_EQ(system(("cp '" ZUL_WNT_CHILD "' '" + program + "'").c_str()), 0);
    FILE *child = popen(("cd " + d + " && exec env ASAN_OPTIONS=handle_segv=0 "
                         "TSAN_OPTIONS='handle_segv=0 report_signal_unsafe=0' './my prog.v2.bin' names 2>/dev/null").c_str(), "r");
    ASSERT_NE(child, nullptr);
    char buffer[1024];
    std::string out(buffer, fread(buffer, 1, sizeof buffer, child));
    pclose(child);
    EXPECT_TRUE(std::regex_match(out, std::regex("my_prog\\.v2\nmy_prog\\.v2\\.\\d+\\.sock\n"))) << out;
    EXPECT_EQ(access((d + "/my_prog.v2.ras").c_str(), R_OK), 0);
    EXPECT_EQ(system(("rm -rf '" + d + "'").c_str()), 0);
}

// Where the report's directory cannot be written, the report goes to
// $XDG_STATE_HOME (else /var/tmp), and standard error says where; where
// nothing can be written, it says that.
TEST(ReportPlace, FallsBackAndSaysWhereOnStandardError)
{
    char dir[] = "/tmp/zul_wnt_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string d = dir;
    ASSERT_EQ(mkdir((d + "/state").c_str(), 0700), 0);
    auto run = [&](const std::string &vars) {
        std::string command = "cd " + d + " && exec env ZULWNT_RASPATH=/nonexistent-zul-dir/ " + vars +
                              " ASAN_OPTIONS=handle_segv=0 TSAN_OPTIONS='handle_segv=0 report_signal_unsafe=0' '" +
                              ZUL_WNT_CHILD + "' null 2>&1 >/dev/null";
        FILE *child = popen(command.c_str(), "r");
        char buffer[2048];
        std::string err(buffer, child ? fread(buffer, 1, sizeof buffer, child) : 0);
        if (child)
            pclose(child);
        return err;
    };
    const std::string fellBack = run("XDG_STATE_HOME=" + d + "/state/");
    // A sanitizer may add lines of its own.
    EXPECT_TRUE(std::regex_search(fellBack, std::regex("(^|\n)zul_wnt_child\\[\\d+\\]: failure report written to " + d +
        "/state/zul_wnt_child\\.ras: /nonexistent-zul-dir/zul_wnt_child\\.ras could not be opened \\(ENOENT\\)\n")))
        << fellBack;
    std::ifstream file(d + "/state/zul_wnt_child.ras");
    std::stringstream text;
    text << file.rdbuf();
    EXPECT_NE(text.str().find("\nException 0x"), std::string::npos);
    // A name that no directory holds: nowhere to write, and it says so.
    const std::string none = run("ZULWNT_RASNAME=no/such/child XDG_STATE_HOME=" + d + "/state");
    EXPECT_TRUE(std::regex_search(none, std::regex("(^|\n)zul_wnt_child\\[\\d+\\]: no failure report written: "
        "/nonexistent-zul-dir/no/such/child\\.ras could not be opened \\(ENOENT\\), nor " + d +
        "/state/no/such/child\\.ras \\(ENOENT\\), nor /var/tmp/no/such/child\\.ras \\(ENOENT\\)\n"))) << none;
    EXPECT_EQ(system(("rm -rf '" + d + "'").c_str()), 0);
}

INSTANTIATE_TEST_SUITE_P(Modes, Report, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case> &i) { return i.param.name; });

} // namespace
