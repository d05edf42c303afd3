// Helpers of the trace tests: records laid down by hand, a store that
// drops what it gets, and threads started together.
#ifndef ZUL_TESTS_RAS_RASTEST_H
#define ZUL_TESTS_RAS_RASTEST_H

#include <zul/ras1.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

inline const uint32_t kStartWord = 1;

inline ZULRA_unit_t MakeUnit(uint32_t classes, ZULRA_buildinfo_t buildInfo = nullptr, int32_t format = RAS1_UNIT_FORMAT)
{
    static char t[] = "t";
    return {format, classes, t, 1, t, 1, t, 1, t, 1, t, 1, 0, buildInfo};
}

inline ZULRA_entry_t MakeEntry(ZULRA_unit_t *unit, uint32_t classes = RAS1_PUBLIC, const char *name = "f")
{
    return {unit, name, static_cast<uint32_t>(std::strlen(name)), 10, &kStartWord, classes, 0, 0};
}

// Registers a store that drops its lines: with no store, every word is 0.
inline void AddStore()
{
    ASSERT_EQ(RAS1_RegisterStore("drop", 4, nullptr, [](void *, const char *, uint32_t, ZULRA_entry_t *, uint32_t) { return 0; },
                                 RAS1_ANY), STC1_Success);
}

// The members of an enumeration list, newest first.
inline std::vector<void *> List(uint32_t list)
{
    std::vector<void *> all(4096);
    uint32_t index = 0, count = uint32_t(all.size());
    RAS1_EnumInfo(list, all.data(), &index, &count);
    all.resize(count);
    return all;
}

// Starts n threads that each run f(i) once all of them are up, and joins them.
template <class F> void RunTogether(int n, F f)
{
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < n; i++)
        threads.emplace_back([&, i] {
            for (ready.fetch_add(1); ready.load() < n;) {
            }
            f(i);
        });
    for (auto &t : threads)
        t.join();
}

#endif
