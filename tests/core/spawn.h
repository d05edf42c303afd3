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

// What the child wrote to standard output, and whether it aborted.
inline std::pair<std::string, bool> RunInChild(const std::function<void()> &body)
{
    int fds[2], status = 0;
    if (pipe(fds) != 0)
        return {};
    fflush(stdout);
    if (fork() == 0) {
        dup2(fds[1], 1);
        body();
        fflush(stdout);
        _exit(0);
    }
    close(fds[1]);
    std::string out;
    char buf[512];
    for (ssize_t n; (n = read(fds[0], buf, sizeof buf)) > 0;)
        out.append(buf, size_t(n));
    close(fds[0]);
    wait(&status);
    return {out, WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT};
}

#endif
