// The line head, and lines from many threads.
#include "logtest.h"
#include "ras/zulralg.h" // the capture ring, which nothing public shows yet

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <latch>
#include <thread>

namespace {

int WriteA(void *, ZULSS_format_t *f) { return BSS1_PrintFormat(f, "A:"); }
int WriteB(void *user, ZULSS_format_t *f) { return BSS1_PrintFormat(f, "%s", (const char *)user); }

// The head of a line: eight upper-case hexadecimal digits each of seconds
// and nanoseconds, the thread's ID, the environment routines newest first,
// then the unit, line and function.  A message without a line end still
// ends its line.
TEST(LogStore, ExactHeadWithEnvironmentRoutines)
{
    Sink s;
    ASSERT_EQ(RAS1_RegisterStore("s", 1, &s, Sink::Write, RAS1_ANY), STC1_Success);
    static char b[] = "B:";
    ASSERT_EQ(RAS1_RegisterEnvironment(nullptr, WriteA), STC1_Success);
    ASSERT_EQ(RAS1_RegisterEnvironment(b, WriteB), STC1_Success);
    EXPECT_EQ(RAS1_RegisterEnvironment(nullptr, nullptr), STC1_BadArgument);
    Record g("zulssge", "BSS1_GetEnv");
    ZULSS_time_t before, after;
    BSS1_GetTime(&before);
    EXPECT_EQ(RAS1_Printf(&g.entry, -3, "ZUL_RAS1=\"%s\"", "ERROR"), STC1_Success);
    BSS1_GetTime(&after);
    auto lines = SplitLines(AfterOpening(s.Text()));
    ASSERT_EQ(lines.size(), 1u);
    unsigned seconds = 0, nanoseconds = 0;
    char head[48];
    std::sscanf(lines[0].c_str(), "(%8X.%8X", &seconds, &nanoseconds);
    std::snprintf(head, sizeof head, "(%08X.%08X-%X:", seconds, nanoseconds, BSS1_ThreadID());
    EXPECT_EQ(lines[0], head + std::string("B:A:zulssge,-3,\"BSS1_GetEnv\") ZUL_RAS1=\"ERROR\""));
    EXPECT_TRUE(seconds >= before.seconds && seconds <= after.seconds && nanoseconds < 1000000000u) << lines[0];
    EXPECT_EQ(s.Text().back(), '\n');
}

// One thread's lines follow each change of the store list at once: a line
// never goes where the list said before the change.
TEST(LogStore, EachLineGoesWhereTheStoreListNowSays)
{
    Sink a, b;
    ASSERT_EQ(RAS1_RegisterStore("a", 1, &a, Sink::Write, RAS1_ANY), STC1_Success);
    Record r("moves", "m");
    r.entry.active = RAS1_ERROR | RAS1_PUBLIC | RAS1_LIBRARY;
    // 0: no change; else b's class word (b is registered by the first).
    struct { uint32_t bClasses; Sink *to; } steps[] = {
        {0, &a}, {RAS1_ERROR, &b}, {RAS1_FLOW, &a}, {RAS1_ERROR, &b}, {0, &b}};
    bool registered = false;
    for (int i = 0; i < 5; i++) {
        if (steps[i].bClasses != 0 && !registered)
            registered = RAS1_RegisterStore("b", 1, &b, Sink::Write, steps[i].bClasses) == STC1_Warning;
        else if (steps[i].bClasses != 0)
            EXPECT_EQ(RAS1_SetStoreClass("b", 1, steps[i].bClasses), STC1_Warning);
        RAS1_Printf(&r.entry, i, "step %d\n", i);
        const std::string mark = ") step " + std::to_string(i) + "\n";
        EXPECT_NE(steps[i].to->Text().find(mark), std::string::npos) << i;
        EXPECT_EQ((steps[i].to == &a ? b : a).Text().find(mark), std::string::npos) << i;
    }
}

// Threads that write their first lines at once into a new store: the
// store's opening block comes first and whole, and every line after it.
TEST(LogThreads, OpeningBlockComesBeforeEveryThreadsFirstLine)
{
    // The store is slow to take its first text, so that the other threads
    // are at its door while the block is being written.
    static Sink store;
    auto slow = [](void *data, const char *text, uint32_t length, ZULRA_entry_t *entry, uint32_t flags) {
        static std::atomic<int> calls{0};
        if (calls++ == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return Sink::Write(data, text, length, entry, flags);
    };
    ASSERT_EQ(RAS1_RegisterStore("first", 5, &store, slow, RAS1_ANY), STC1_Success);
    constexpr int kThreads = 8;
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++)
        threads.emplace_back([t, &start] {
            Record r("first", "f");
            r.entry.active = RAS1_ERROR | RAS1_PUBLIC | RAS1_LIBRARY;
            start.arrive_and_wait();
            RAS1_Printf(&r.entry, t, "thread %d\n", t);
        });
    for (auto &t : threads)
        t.join();
    const std::string text = store.Text();
    EXPECT_EQ(text.rfind(kTitle, 0), 0u) << text;
    EXPECT_EQ(SplitLines(AfterOpening(text)).size(), size_t(kThreads)) << text;
}

// Writers of ERROR and FLOW lines through two stores while another thread
// flips the default class and resynchronizes: each writer's lines arrive
// whole and in order in the store of their class.
TEST(LogThreads, LinesArriveWholeInTheirStoresWhileTheDefaultClassChanges)
{
    Sink stores[2];
    ASSERT_EQ(RAS1_RegisterStore("one", 3, &stores[0], Sink::Write, RAS1_ERROR), STC1_Warning);
    ASSERT_EQ(RAS1_RegisterStore("two", 3, &stores[1], Sink::Write, RAS1_FLOW), STC1_Warning);
    constexpr int kWriters = 4, kLines = 300;
    auto body = [](int w) { return std::string(150 + w, static_cast<char>('a' + w)); }; // two records a line
    std::atomic<bool> stop{false};
    std::thread changer([&] {
        for (int i = 0; !stop.load(); i++) {
            RAS1_SetClass(nullptr, i % 2 ? RAS1_ERROR : RAS1_DETAIL);
            RAS1_Sync(&Kept("chg", "g").entry);
        }
    });
    std::vector<std::thread> writers;
    for (int w = 0; w < kWriters; w++)
        writers.emplace_back([w, &body] {
            Record r("wr", "w");
            r.entry.active = (w % 2 ? RAS1_FLOW : RAS1_ERROR) | RAS1_PUBLIC | RAS1_LIBRARY;
            for (int i = 0; i < kLines; i++)
                RAS1_Printf(&r.entry, w, "%s#%d\n", body(w).c_str(), i);
        });
    for (auto &t : writers)
        t.join();
    stop = true;
    changer.join();
    std::vector<int> next(kWriters, 0); // only the writers' lines count, wherever they stand
    for (int s = 0; s < 2; s++)
        for (const std::string &line : SplitLines(stores[s].Text()))
            if (size_t at = line.find("wr,") == std::string::npos ? line.npos : line.find(") "); at != line.npos) {
                int w = line[at + 2] - 'a';
                ASSERT_TRUE(w >= 0 && w < kWriters && w % 2 == s) << line;
                EXPECT_EQ(line.substr(at + 2), body(w) + "#" + std::to_string(next[w]++));
            }
    EXPECT_EQ(next, std::vector<int>(kWriters, kLines));
    // No record of the capture ring mixes two threads' text.
    std::string both = stores[0].Text() + stores[1].Text();
    std::vector<std::string> records;
    ZULRA_WalkRing(ZULRA_Pcb()->capture, ZULRA_CAPTURE_SLOTS,
                   [](void *to, const char *text, uint32_t length) {
                       static_cast<std::vector<std::string> *>(to)->emplace_back(text, length);
                   },
                   &records);
    EXPECT_GT(records.size(), ZULRA_CAPTURE_SLOTS / 2);
    for (const std::string &record : records)
        EXPECT_NE(both.find(record), std::string::npos);
}

} // namespace
