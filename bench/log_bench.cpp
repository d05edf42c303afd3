// One traced line, end to end: RAS1_Printf through the store's write
// routine, against what a program would write by hand - a head and the
// message with fprintf to a stream.  Both write the same kind of line to
// /dev/null; the library's line also passes the capture ring.
#include <zul/ras1.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace {

FILE *Null()
{
    static FILE *stream = std::fopen("/dev/null", "w");
    return stream;
}

int WriteNull(void *, const char *text, uint32_t length, ZULRA_entry_t *, uint32_t)
{
    // As the default store does: write, and flush at the end of a line.
    std::fwrite(text, 1, length, Null());
    std::fflush(Null());
    return 0;
}

char unitFile[] = "zulbench", other[] = "x";
ZULRA_unit_t unit = {RAS1_UNIT_FORMAT, RAS1_LIBRARY, unitFile, 8, other, 1, other, 1,
                     other, 1, other, 1, 0, nullptr};
const uint32_t start = 1;
ZULRA_entry_t entry = {&unit, "bench", 5, 1, &start, RAS1_PUBLIC, 0, 0};

void LogPrintf(benchmark::State &state)
{
    static bool registered = RAS1_RegisterStore("bench", 5, nullptr, WriteNull, RAS1_ANY) == 0;
    (void)registered;
    RAS1_Printf(&entry, 1, "warm\n"); // the opening block
    for (auto _ : state)
        benchmark::DoNotOptimize(RAS1_Printf(&entry, 42, "request %d done in %u ms\n", 1234, 56u));
}
BENCHMARK(LogPrintf);

void HandFprintf(benchmark::State &state)
{
    for (auto _ : state) {
        timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        benchmark::DoNotOptimize(std::fprintf(Null(), "(%08lX.%08lX-%lX:%s,%d,\"%s\") request %d done in %u ms\n",
                                              (unsigned long)now.tv_sec, (unsigned long)now.tv_nsec,
                                              (unsigned long)gettid(), "zulbench", 42, "bench", 1234, 56u));
        std::fflush(Null());
    }
}
BENCHMARK(HandFprintf);

} // namespace
