// Helpers of the signal tests: real signals are sent and taken in forked
// children, each of which starts with the library unused and every
// disposition at the host's default.
#ifndef ZUL_TESTS_SIG_SIGTEST_H
#define ZUL_TESTS_SIG_SIGTEST_H

#include <zul/sig1.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

// In a child: report a failed check on standard output and end with 70.
#define CHILD_CHECK(cond)                                                           \
    do {                                                                            \
        if (!(cond))                                                                \
            std::printf("line %d: %s\n", __LINE__, #cond), std::fflush(stdout), _exit(70); \
    } while (0)

struct Child {
    pid_t pid;
    int out; // the child's standard output
    int status = 0;
    std::string text;

    // The child resets every disposition, runs `body` under a watchdog
    // and exits 0.
    explicit Child(const std::function<void()> &body)
    {
        int fds[2];
        EXPECT_EQ(pipe(fds), 0);
        std::fflush(stdout);
        if ((pid = fork()) == 0) {
            dup2(fds[1], 1);
            for (int h = 1; h < 32; h++)
                std::signal(h, SIG_DFL);
            alarm(30);
            body();
            std::fflush(stdout);
            _exit(0);
        }
        close(fds[1]);
        out = fds[0];
    }

    // The output up to the next line feed.
    std::string Line()
    {
        std::string line;
        for (char c = 0; c != '\n' && read(out, &c, 1) == 1;)
            line += c;
        return line;
    }

    // The rest of the output, and the end; with WUNTRACED, only the stop.
    Child &Wait(int options = 0)
    {
        char buf[512];
        for (ssize_t n; !(options & WUNTRACED) && (n = read(out, buf, sizeof buf)) > 0;)
            text.append(buf, static_cast<size_t>(n));
        waitpid(pid, &status, options);
        return *this;
    }

    bool Passed() const { return WIFEXITED(status) && WEXITSTATUS(status) == 0; }
};

// Whether a handler is installed for host signal `host`.
inline bool Hooked(int host)
{
    struct sigaction sa;
    sigaction(host, nullptr, &sa);
    return (sa.sa_flags & SA_SIGINFO) || (sa.sa_handler != SIG_DFL && sa.sa_handler != SIG_IGN);
}

// The first use of the family: builds it and hooks the host.
inline void UseSig1()
{
    SIG1_QueryRecord q;
    CHILD_CHECK(SIG1_Query(&q, sizeof q) == STC1_Success);
}

inline SIG1_Set SetOf(std::initializer_list<int> signals)
{
    SIG1_Set set = {{0, 0}};
    for (int n : signals)
        SIG1_AddSet(&set, n);
    return set;
}

inline bool operator==(const SIG1_Set &a, const SIG1_Set &b)
{
    return a.word[0] == b.word[0] && a.word[1] == b.word[1];
}

#endif
