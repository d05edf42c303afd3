// A library lock against the mutexes a program would use instead: an
// uncontended acquire and release, and two threads that take turns on a
// short critical section (a few hundred nanoseconds of work inside, as
// when a log store compacts a line) and on a long one (a write(2) of a line
// to a file, the hold that the log store's lock really has).
#include <zul/bss1.h>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <mutex>
#include <pthread.h>
#include <unistd.h>

namespace {

ZULSS_lock_t zulLock;
pthread_mutex_t pthreadRecursive;
pthread_mutex_t pthreadNormal = PTHREAD_MUTEX_INITIALIZER;
std::mutex stdMutex;
std::recursive_mutex stdRecursive;

// The work inside the lock: `kind` 0 spins a short while, 1 writes a line.
void work(int kind)
{
    static int fd = open("/tmp/zul_bench_lock.log", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (kind == 0) {
        for (int i = 0; i < 200; i++)
            benchmark::DoNotOptimize(i);
    } else {
        static const char line[] = "(6543ABCD.12345678-1A2B:bench,1,\"work\") one line of text\n";
        benchmark::DoNotOptimize(write(fd, line, sizeof line - 1));
    }
}

template <typename Lock, typename Unlock>
void run(benchmark::State &state, Lock lock, Unlock unlock)
{
    int kind = static_cast<int>(state.range(0));
    for (auto _ : state) {
        lock();
        if (kind >= 0)
            work(kind);
        unlock();
    }
}

void Zul(benchmark::State &state)
{
    run(state, [] { BSS1_GetLock(&zulLock); }, [] { BSS1_ReleaseLock(&zulLock); });
}

void PthreadRecursive(benchmark::State &state)
{
    run(state, [] { pthread_mutex_lock(&pthreadRecursive); },
        [] { pthread_mutex_unlock(&pthreadRecursive); });
}

void PthreadNormal(benchmark::State &state)
{
    run(state, [] { pthread_mutex_lock(&pthreadNormal); },
        [] { pthread_mutex_unlock(&pthreadNormal); });
}

void StdMutex(benchmark::State &state)
{
    run(state, [] { stdMutex.lock(); }, [] { stdMutex.unlock(); });
}

void StdRecursiveMutex(benchmark::State &state)
{
    run(state, [] { stdRecursive.lock(); }, [] { stdRecursive.unlock(); });
}

// Argument: -1 nothing inside (one thread), 0 short work, 1 a write (two
// threads each).
#define SHAPES(name)                                                                  \
    BENCHMARK(name)->Arg(-1)->Threads(1)->UseRealTime();                              \
    BENCHMARK(name)->Arg(0)->Threads(2)->UseRealTime();                               \
    BENCHMARK(name)->Arg(1)->Threads(2)->UseRealTime()

SHAPES(Zul);
SHAPES(PthreadRecursive);
SHAPES(PthreadNormal);
SHAPES(StdMutex);
SHAPES(StdRecursiveMutex);

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    // Make the recursive pthread mutex before any benchmark thread starts.
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&pthreadRecursive, &attr);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    unlink("/tmp/zul_bench_lock.log");
    return 0;
}
