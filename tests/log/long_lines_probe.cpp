// The probe of the long-line tests: several threads write messages longer
// than a format object's buffer, each followed by a short one, to the log
// that ZUL_RAS1 names, for a given time.  It prints how many of each it
// wrote: "long N short M".
//
//     long_lines_probe THREADS SECONDS LENGTH
#include <zul/ras1.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

RAS1_DECLARE_UNIT_EX("longprobe", RAS1_APPLICATION, "1", "PROBE", 0);
RAS1_DECLARE_ENTRY(writer_entry, "writer", RAS1_PUBLIC);

int main(int argc, char **argv)
{
    if (argc != 4)
        return 2;
    const int threads = std::atoi(argv[1]);
    const double seconds = std::atof(argv[2]);
    const int length = std::atoi(argv[3]);
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);

    std::atomic<long> longs{0}, shorts{0};
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; t++)
        pool.emplace_back([&, t] {
            // Each thread has a letter of its own, so a piece of one
            // thread's message inside another's shows.
            const std::string body(static_cast<size_t>(length), static_cast<char>('a' + t % 26));
            for (int i = 0; std::chrono::steady_clock::now() < end; i++) {
                uint32_t classes = RAS1_ReadClass(&writer_entry);
                if (!RAS1_WANTS(classes, RAS1_ERROR))
                    continue;
                RAS1_Printf(&writer_entry, __LINE__, "L %d %d %s END\n", t, i, body.c_str());
                RAS1_Printf(&writer_entry, __LINE__, "S %d %d\n", t, i);
                longs++;
                shorts++;
            }
        });
    for (auto &thread : pool)
        thread.join();
    std::printf("long %ld short %ld\n", longs.load(), shorts.load());
    return 0;
}
