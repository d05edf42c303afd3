// A child forked while other threads trace, read settings and take the
// clock must find every library lock free: it writes its own lines and
// ends, instead of waiting for a lock that a thread it does not have held.
#include "logtest.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

// The store writes with write(2) and no lock of its own, so that only the
// library's locks stand between a child and its output.
std::atomic<int> out{-1};
int WriteFd(void *, const char *text, uint32_t length, ZULRA_entry_t *, uint32_t)
{
    return write(out.load(std::memory_order_relaxed), text, length) < 0 ? 8 : 0;
}

TEST(Fork, ChildrenOfATracingProcessWriteTheirLinesAndEnd)
{
    static Record r("zulfork", "fork_test");
    out = open("/dev/null", O_WRONLY);
    ASSERT_EQ(RAS1_RegisterStore("fork", 4, nullptr, WriteFd, RAS1_ANY), STC1_Success);
    std::atomic<bool> stop{false};
    std::atomic<int> started{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([&, t] {
            for (int i = 0; !stop.load(std::memory_order_relaxed); i++) {
                if (i == 256)
                    started++;
                RAS1_Printf(&r.entry, t, "thread %d line %d\n", t, i);
                if (i % 64 == 0) { // the block, clock and environment locks too
                    RAS1_SetClass(nullptr, i % 128 ? RAS1_ERROR : RAS1_FLOW);
                    BSS1_GetTime(nullptr);
                    BSS1_GetEnv("ZUL_FORK_TEST", nullptr);
                }
            }
        });
#if defined(__SANITIZE_ADDRESS__)
    // This AddressSanitizer runtime does not lock its allocator around
    // fork: a child forked while a thread is inside malloc hangs at its
    // own first allocation.  The threads allocate only while they start,
    // so here the forks begin once all of them are under way.
    while (started.load() < 4)
        std::this_thread::yield();
#endif
    int hung = 0, short_output = 0; // a child that waits for a lock is ended by its alarm
    for (int f = 0; f < 200 && hung < 5; f++) {
        int pipeFds[2];
        ASSERT_EQ(pipe(pipeFds), 0);
        pid_t child = fork();
        if (child == 0) {
            alarm(5);
            out = pipeFds[1];
            BSS1_GetEnv("ZUL_FORK_TEST", nullptr);
            for (int i = 0; i < 3; i++)
                RAS1_Printf(&r.entry, 1, "child %d\n", i);
            _exit(0);
        }
        close(pipeFds[1]);
        int status = 0;
        waitpid(child, &status, 0);
        hung += WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM;
        char text[4096];
        ssize_t n = read(pipeFds[0], text, sizeof text);
        close(pipeFds[0]);
        int lines = 0;
        for (const std::string &line : SplitLines(std::string(text, n > 0 ? size_t(n) : 0)))
            lines += line.find("child ") != std::string::npos;
        short_output += lines != 3;
    }
    stop = true;
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(hung, 0);
    EXPECT_EQ(short_output, 0);
}

} // namespace
