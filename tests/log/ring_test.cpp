// The capture ring across threads: each thread's records in a ring of its
// own, shown together in the order of their lines.
#include "logtest.h"
#include "ras/zulralg.h" // the capture ring, which nothing public shows yet

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#if defined(__SANITIZE_THREAD__)
#define UNDER_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define UNDER_TSAN 1
#endif
#endif

namespace {

std::vector<std::string> Ring(uint32_t most = ZULRA_CAPTURE_SLOTS)
{
    std::vector<std::string> records;
    ZULRA_WalkRing(ZULRA_Pcb()->capture, most,
                   [](void *to, const char *text, uint32_t length) {
                       static_cast<std::vector<std::string> *>(to)->emplace_back(text, length);
                   },
                   &records);
    return records;
}

// The messages of the records shown, without their heads, that begin
// with `prefix`.
std::vector<std::string> Shown(const std::string &prefix)
{
    std::vector<std::string> shown;
    for (const std::string &record : Ring()) {
        size_t at = record.find("\") ");
        std::string message = at == std::string::npos ? record : record.substr(at + 3);
        while (!message.empty() && message.back() == '\n')
            message.pop_back();
        if (message.rfind(prefix, 0) == 0)
            shown.push_back(message);
    }
    return shown;
}

size_t Rings()
{
    size_t count = 0;
    for (ZULRA_ring_t *ring = __atomic_load_n(&ZULRA_Pcb()->capture->newest, __ATOMIC_ACQUIRE);
         ring != nullptr; ring = ring->older)
        count++;
    return count;
}

// Runs `body(t)` on `count` threads, and waits for them to end.
template <typename Body> void OnThreads(int count, Body body)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < count; t++)
        threads.emplace_back(body, t);
    for (auto &thread : threads)
        thread.join();
}

struct Logging : ::testing::Test {
    Sink sink;
    Record record{"ring", "r"};
    void SetUp() override
    {
        ASSERT_EQ(RAS1_RegisterStore("ring", 1, &sink, Sink::Write, RAS1_ANY), STC1_Success);
    }
    void Log(const std::string &message) { RAS1_Printf(&record.entry, 1, "%s\n", message.c_str()); }
};

// Lines of three threads, a few milliseconds apart, are shown in the order
// they were written, though each lies in its own thread's ring.
TEST_F(Logging, RecordsOfThreadsStandInTheOrderOfTheirLines)
{
    std::vector<std::string> said;
    for (int i = 0; i < 6; i++) {
        said.push_back("step " + std::to_string(i));
        if (i % 3 == 0)
            Log(said.back());
        else
            OnThreads(1, [&](int) { Log(said.back()); });
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    EXPECT_EQ(Shown("step "), said);
}

// Four threads log at once: the newest records of all of them are shown,
// as many as asked for, each whole, and each thread's in the order it
// wrote them with none of its newest left out in between.
TEST_F(Logging, TheNewestRecordsOfThreadsThatLogAtOnceAreShownWholeAndInOrder)
{
    constexpr int kThreads = 4, kLines = 400;
    OnThreads(kThreads, [this](int t) {
        for (int i = 0; i < kLines; i++)
            Log("thread " + std::to_string(t) + " line " + std::to_string(i));
    });
    for (uint32_t most : {1u, 10u, ZULRA_CAPTURE_SLOTS}) {
        std::vector<std::string> records = Ring(most);
        ASSERT_EQ(records.size(), most);
        std::vector<int> last(kThreads, -1);
        for (const std::string &record : records) {
            int t = -1, i = -1;
            ASSERT_EQ(std::sscanf(record.substr(record.find("\") ") + 3).c_str(), "thread %d line %d", &t, &i), 2) << record;
            ASSERT_TRUE(t >= 0 && t < kThreads) << record;
            if (last[t] >= 0)
                EXPECT_EQ(i, last[t] + 1) << record;
            last[t] = i;
        }
        for (int t = 0; t < kThreads; t++)
            EXPECT_TRUE(last[t] == -1 || last[t] == kLines - 1) << "thread " << t << " ends at " << last[t];
    }
}

// A thread that ends gives its ring to the next one: threads that come and
// go keep the count of rings at the most that logged at once, and the
// lines of threads that have ended stay shown until they are overwritten.
TEST_F(Logging, ThreadsThatComeAndGoTakeOverTheRingsOfThoseThatEnded)
{
    Log("main");
    for (int wave = 0; wave < 5; wave++)
        OnThreads(3, [&](int t) { Log("wave " + std::to_string(wave) + " thread " + std::to_string(t)); });
    EXPECT_LE(Rings(), 4u);
    EXPECT_EQ(Shown("wave ").size(), 15u);
}

// The child of a fork shows the parent's lines, and its own threads take
// over the rings of the parent's threads, which it does not have.
TEST_F(Logging, AForkedChildShowsTheParentsLinesAndReusesItsThreadsRings)
{
#ifdef UNDER_TSAN
    GTEST_SKIP() << "ThreadSanitizer cannot follow threads started in a forked child";
#endif
    std::atomic<bool> go{false};
    std::thread parents([&] {
        OnThreads(3, [&](int t) {
            Log("parent thread " + std::to_string(t));
            while (!go.load())
                std::this_thread::yield();
        });
    });
    while (Rings() < 3)
        std::this_thread::yield();
    Log("parent main");
    size_t before = Rings();
    pid_t child = fork();
    if (child == 0) {
        OnThreads(3, [this](int t) { Log("child thread " + std::to_string(t)); });
        _exit(Shown("parent ").size() == 4 && Shown("child ").size() == 3 && Rings() == before ? 0 : 1);
    }
    go = true;
    parents.join();
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

} // namespace
