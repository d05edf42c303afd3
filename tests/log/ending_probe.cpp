// A program that writes numbered lines to its log and then ends in the way
// its first argument names, for ending_test.cpp, which counts the lines
// in the log's file afterwards.
//
//   ending_probe MODE COUNT
//
// Main's lines read "main <n>", a second thread's "side <n>", forked
// children's "child <k> <n>", the parent's threads "thread <t> <n>"; in
// the fork mode main writes one line before each fork.  The
// log's target comes from ZUL_RAS1 as usual.
#include <zul/ras1.h>
#include <zul/sig1.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

RAS1_DECLARE_UNIT_EX("ending_probe", RAS1_APPLICATION, "1", "PROBE", 0);

namespace {

RAS1_DECLARE_ENTRY(entry, "say", RAS1_PUBLIC);

void say(const char *who, int n)
{
    uint32_t classes = RAS1_ReadClass(&entry);
    RAS1_LOG(entry, classes, RAS1_STATE, "%s %d\n", who, n);
}

void lines(const char *who, int count)
{
    for (int n = 0; n < count; n++)
        say(who, n);
}

void end_by_exit(int)
{
    _exit(3);
}

void flush_and_exit(int)
{
    RAS1_Flush();
    _exit(3);
}

// A store through a null pointer, which the undefined-behaviour checker
// of a sanitizer build would stop before it faults.
__attribute__((noinline, no_sanitize("undefined"))) void store_through(volatile int *where)
{
    *where = 1;
}

volatile int *volatile nowhere = nullptr;

// A second thread that writes as fast as it can while main fails.
std::atomic<int> sideLines{0};
void side()
{
    for (int n = 0;; n++) {
        say("side", n);
        sideLines.store(n + 1, std::memory_order_release);
    }
}

// Four threads write while main forks children that write lines of their
// own and exit; the parent's threads then stop and the parent exits.
int forks(int count)
{
    std::atomic<bool> stop{false};
    std::atomic<int> started{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([&, t] {
            char who[16];
            snprintf(who, sizeof who, "thread %d", t);
            for (int n = 0; n < count || !stop.load(); n++) {
                say(who, n);
                if (n == 100)
                    started++;
            }
        });
    // AddressSanitizer's allocator is not held across fork: the threads
    // allocate only as they start, so the forks wait for that.
    while (started.load() < 4)
        std::this_thread::yield();
    int failed = 0;
    for (int k = 0; k < 3; k++) {
        // The forking thread holds a part of the buffer of its own at the
        // fork: its child's lines must not go there.
        say("main", k);
        pid_t child = fork();
        if (child == 0) {
            char who[16];
            snprintf(who, sizeof who, "child %d", k);
            lines(who, count / 10);
            exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        failed += !WIFEXITED(status) || WEXITSTATUS(status) != 0;
    }
    stop.store(true);
    for (auto &t : threads)
        t.join();
    return failed ? 2 : 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    const char *mode = argv[1];
    int count = atoi(argv[2]);

    if (strcmp(mode, "fork") == 0)
        return forks(count);
    if (strcmp(mode, "side") == 0) {
        std::thread(side).detach();
        while (sideLines.load(std::memory_order_acquire) < 100)
            std::this_thread::yield();
    }
    if (strcmp(mode, "handler") == 0)
        SIG1_Signal(SIG1_SIGTERM, end_by_exit); // a handler the library runs
    if (strcmp(mode, "own") == 0)
        signal(SIGTERM, flush_and_exit); // one it never sees

    lines("main", count);

    if (strcmp(mode, "side") == 0) {
        // Every line of the second thread up to this one must survive.
        char said[32];
        int n = snprintf(said, sizeof said, "side %d\n", sideLines.load(std::memory_order_acquire));
        if (write(2, said, (size_t)n) != n)
            return 2;
    }
    if (strcmp(mode, "segv") == 0 || strcmp(mode, "side") == 0)
        store_through(nowhere);
    if (strcmp(mode, "abort") == 0)
        abort();
    if (strcmp(mode, "throw") == 0)
        throw std::runtime_error("not caught");
    if (strcmp(mode, "term") == 0 || strcmp(mode, "handler") == 0 || strcmp(mode, "own") == 0)
        kill(getpid(), SIGTERM);
    if (strcmp(mode, "exit") == 0)
        return 0;
    pause(); // a mode that should have ended the process
    return 2;
}
