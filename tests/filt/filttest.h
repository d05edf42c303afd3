// Helpers of the filter tests: a store that keeps its lines, records laid
// down by hand, and a runner for the probe program.
#ifndef ZUL_TESTS_FILT_FILTTEST_H
#define ZUL_TESTS_FILT_FILTTEST_H

#include "log/logtest.h"

#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace filt {

// The trace started with a store of the test's own, so that ZUL_RAS1 is
// not read and every message of the parser lands in `sink`.
struct Traced : ::testing::Test {
    Sink sink;
    void SetUp() override
    {
        ASSERT_EQ(RAS1_RegisterStore("TEST", 4, &sink, Sink::Write, RAS1_ANY), 0);
        Record starter("starter", "Start");
        RAS1_Sync(&starter.entry);
    }
    // The class word that a record of `unit` and `function` gets now,
    // without the ANY bit.
    static uint32_t Word(const char *unit, const char *function, uint32_t line = 1)
    {
        Record r(unit, function);
        r.entry.line = line;
        return RAS1_Sync(&r.entry) & ~RAS1_ANY;
    }
    std::string Log() { return AfterOpening(sink.Text()); }
};

struct Run {
    int status = -1;
    std::string out, err;
};

inline std::string Slurp(int fd)
{
    std::string text;
    char buffer[4096];
    ssize_t n;
    while ((n = read(fd, buffer, sizeof buffer)) > 0)
        text.append(buffer, static_cast<size_t>(n));
    return text;
}

// Runs the probe with `mode` and exactly the variables `env`.
inline Run Probe(const std::string &mode, std::vector<std::string> env)
{
    std::string program = ZUL_FILT_PROBE;
    std::vector<char *> argv{program.data(), const_cast<char *>(mode.c_str()), nullptr};
    std::vector<char *> envp;
    for (auto &e : env)
        envp.push_back(e.data());
    envp.push_back(nullptr);

    Run run;
    int out[2], err[2];
    if (pipe(out) != 0 || pipe(err) != 0)
        return run;
    pid_t pid = fork();
    if (pid == 0) {
        dup2(out[1], 1);
        dup2(err[1], 2);
        close(out[0]);
        close(err[0]);
        close(out[1]);
        close(err[1]);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(out[1]);
    close(err[1]);
    run.out = Slurp(out[0]); // the probe writes little: no deadlock
    run.err = Slurp(err[0]);
    close(out[0]);
    close(err[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

inline std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace filt

#endif
