// Runs a function in a forked child and reports what it printed to
// standard output and how it ended.  Used where the library is expected
// to end the process.
#ifndef ZUL_TESTS_CORE_SPAWN_H
#define ZUL_TESTS_CORE_SPAWN_H

#include <csignal>
#include <cstdio>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

struct ChildResult {
    std::string out;
    int status = 0;
    bool aborted() const { return WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT; }
};

inline ChildResult RunInChild(const std::function<void()> &body)
{
    int fds[2];
    if (pipe(fds) != 0)
        return {};
    fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        dup2(fds[1], 1);
        body();
        fflush(stdout);
        _exit(0);
    }
    close(fds[1]);
    ChildResult r;
    char buf[512];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof buf)) > 0)
        r.out.append(buf, static_cast<size_t>(n));
    close(fds[0]);
    waitpid(pid, &r.status, 0);
    return r;
}

#endif
