// Helpers of the signal tests: real signals are sent and taken in forked
// children, each of which starts with the library unused and every
// disposition at the host's default.
#ifndef ZUL_TESTS_SIG_SIGTEST_H
#define ZUL_TESTS_SIG_SIGTEST_H

#include <zul/sig1.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SIG_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SIG_TEST_SANITIZED 1
#endif
#endif

// In a child: report a failed check on standard output and end with 70.
#define CHILD_CHECK(cond)                                                   \
    do {                                                                    \
        if (!(cond)) {                                                      \
            std::printf("line %d: %s\n", __LINE__, #cond);                  \
            std::fflush(stdout);                                            \
            _exit(70);                                                      \
        }                                                                   \
    } while (0)

struct Child {
    pid_t pid = -1;
    int out = -1; // the child's standard output
    int status = 0;
    std::string text;

    // Forks; the child resets every disposition, runs `body` with a
    // watchdog and exits 0.
    explicit Child(const std::function<void()> &body)
    {
        int fds[2];
        if (pipe(fds) != 0)
            return;
        std::fflush(stdout);
        pid = fork();
        if (pid == 0) {
            close(fds[0]);
            dup2(fds[1], 1);
            for (int h = 1; h < 32; h++)
                if (h != SIGKILL && h != SIGSTOP)
                    std::signal(h, SIG_DFL);
            alarm(30);
            body();
            std::fflush(stdout);
            _exit(0);
        }
        close(fds[1]);
        out = fds[0];
    }

    // Reads the child's output up to and including the next line feed.
    std::string Line()
    {
        std::string line;
        char c;
        while (read(out, &c, 1) == 1 && (line += c, c != '\n')) {
        }
        return line;
    }

    // Reads the rest of the output and waits for the end; `options` as
    // for waitpid, so WUNTRACED returns at a stop.
    Child &Wait(int options = 0)
    {
        char buf[512];
        ssize_t n;
        if (!(options & WUNTRACED))
            while ((n = read(out, buf, sizeof buf)) > 0)
                text.append(buf, static_cast<size_t>(n));
        waitpid(pid, &status, options);
        return *this;
    }

    bool Passed() const { return WIFEXITED(status) && WEXITSTATUS(status) == 0; }
};

// Whether the library's handler (or any handler) is installed for `host`.
inline bool Hooked(int host)
{
    struct sigaction sa;
    sigaction(host, nullptr, &sa);
    return (sa.sa_flags & SA_SIGINFO) || (sa.sa_handler != SIG_DFL && sa.sa_handler != SIG_IGN);
}

// First use of the family on this thread: builds it and hooks the host.
inline void UseSig1()
{
    SIG1_QueryRecord q;
    CHILD_CHECK(SIG1_Query(&q, sizeof q) == STC1_Success);
}

inline SIG1_Set SetOf(std::initializer_list<int> signals)
{
    SIG1_Set set;
    SIG1_EmptySet(&set);
    for (int n : signals)
        SIG1_AddSet(&set, n);
    return set;
}

#endif
