// The capture ring across threads: each thread's records in a ring of its
// own, shown together in the order of their lines.
#include "logtest.h"
#include "ras/zulralg.h" // the capture ring, which nothing public shows yet

#include <gtest/gtest.h>

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

// The message of a record that holds a whole line, without its head.
std::string Message(const std::string &record)
{
    size_t at = record.find("\") ");
    std::string message = at == std::string::npos ? record : record.substr(at + 3);
    while (!message.empty() && message.back() == '\n')
        message.pop_back();
    return message;
}

size_t Rings()
{
    size_t count = 0;
    for (ZULRA_ring_t *ring = __atomic_load_n(&ZULRA_Pcb()->capture->newest, __ATOMIC_ACQUIRE);
         ring != nullptr; ring = ring->older)
        count++;
    return count;
}

struct Logging : ::testing::Test {
    Sink sink;
    Record record{"ring", "r"};
    void SetUp() override
    {
        ASSERT_EQ(RAS1_RegisterStore("ring", 1, &sink, Sink::Write, RAS1_ANY), STC1_Success);
    }
    void Log(const std::string &message) { RAS1_Printf(&record.entry, 1, "%s\n", message.c_str()); }
    void InThread(const std::string &message)
    {
        std::thread([&] { Log(message); }).join();
    }
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
            InThread(said.back());
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    std::vector<std::string> shown;
    for (const std::string &record : Ring())
        if (Message(record).rfind("step ", 0) == 0)
            shown.push_back(Message(record));
    EXPECT_EQ(shown, said);
}

// Four threads log at once: the newest records of all of them are shown,
// as many as asked for, each whole, and each thread's in the order it
// wrote them with none of its newest left out in between.
TEST_F(Logging, TheNewestRecordsOfThreadsThatLogAtOnceAreShownWholeAndInOrder)
{
    constexpr int kThreads = 4, kLines = 400;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++)
        threads.emplace_back([this, t] {
            for (int i = 0; i < kLines; i++)
                Log("thread " + std::to_string(t) + " line " + std::to_string(i));
        });
    for (auto &t : threads)
        t.join();
    for (uint32_t most : {1u, 10u, ZULRA_CAPTURE_SLOTS}) {
        std::vector<std::string> records = Ring(most);
        ASSERT_EQ(records.size(), most);
        std::vector<int> last(kThreads, -1);
        for (const std::string &record : records) {
            int t = -1, i = -1;
            ASSERT_EQ(std::sscanf(Message(record).c_str(), "thread %d line %d", &t, &i), 2) << record;
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
    for (int wave = 0; wave < 5; wave++) {
        std::vector<std::thread> threads;
        for (int t = 0; t < 3; t++)
            threads.emplace_back([this, wave, t] { Log("wave " + std::to_string(wave) + " thread " + std::to_string(t)); });
        for (auto &t : threads)
            t.join();
    }
    EXPECT_LE(Rings(), 4u);
    int shown = 0;
    for (const std::string &record : Ring())
        shown += Message(record).rfind("wave ", 0) == 0;
    EXPECT_EQ(shown, 15);
}

// The child of a fork shows the parent's lines, and its own threads take
// over the rings of the parent's threads, which it does not have.
TEST_F(Logging, AForkedChildShowsTheParentsLinesAndReusesItsThreadsRings)
{
#ifdef UNDER_TSAN
    GTEST_SKIP() << "ThreadSanitizer cannot follow threads started in a forked child";
#endif
    std::vector<std::thread> threads;
    bool go = false;
    std::mutex lock;
    for (int t = 0; t < 3; t++)
        threads.emplace_back([&, t] {
            Log("parent thread " + std::to_string(t));
            for (;;) {
                std::lock_guard<std::mutex> hold(lock);
                if (go)
                    return;
            }
        });
    while (Rings() < 3)
        std::this_thread::yield();
    Log("parent main");
    size_t before = Rings();
    pid_t child = fork();
    if (child == 0) {
        std::vector<std::thread> own;
        for (int t = 0; t < 3; t++)
            own.emplace_back([this, t] { Log("child thread " + std::to_string(t)); });
        for (auto &t : own)
            t.join();
        int parents = 0, children = 0;
        for (const std::string &record : Ring()) {
            parents += Message(record).rfind("parent ", 0) == 0;
            children += Message(record).rfind("child ", 0) == 0;
        }
        _exit(parents == 4 && children == 3 && Rings() == before ? 0 : 1);
    }
    {
        std::lock_guard<std::mutex> hold(lock);
        go = true;
    }
    for (auto &t : threads)
        t.join();
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

} // namespace
