// Runs a function in a forked child and reports what it printed to
// standard output and to standard error, and how it ended.  Used where the
// library is expected to end the process.
#ifndef ZUL_TESTS_CORE_SPAWN_H
#define ZUL_TESTS_CORE_SPAWN_H

#include <csignal>
#include <cstdio>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

struct ChildResult {
    std::string out, err;
    int status = 0;
    bool aborted() const { return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT; }
};

// Reads a pipe to its end.
inline std::string ReadAll(int fd)
{
    std::string text;
    char buf[512];
    ssize_t n;
    while ((n = read(fd, buf, sizeof buf)) > 0)
        text.append(buf, static_cast<size_t>(n));
    close(fd);
    return text;
}

inline ChildResult RunInChild(const std::function<void()> &body)
{
    int out[2], err[2];
    if (pipe(out) != 0)
        return {};
    if (pipe(err) != 0) {
        close(out[0]);
        close(out[1]);
        return {};
    }
    fflush(stdout);
    fflush(stderr);
    pid_t pid = fork();
    if (pid == 0) {
        close(out[0]);
        close(err[0]);
        dup2(out[1], 1);
        dup2(err[1], 2);
        body();
        fflush(stdout);
        fflush(stderr);
        _exit(0);
    }
    close(out[1]);
    close(err[1]);
    ChildResult r;
    r.out = ReadAll(out[0]); // the messages are short: no pipe fills
    r.err = ReadAll(err[0]);
    waitpid(pid, &r.status, 0);
    return r;
}

#endif
