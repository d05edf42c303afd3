// Long lines under concurrency: every line reaches a store whole, in one
// call of its write routine, and the default store's file shows each
// message on a line of its own, however long and however many threads
// write at once.
#include "log/logtest.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

namespace {

// Four threads write messages longer than a format object's buffer, each
// followed by a short one, through `entry`; the body of thread t is its
// own letter, so a piece of one thread's message inside another's shows.
void WriteFromThreads(ZULRA_entry_t *entry, int rounds, size_t length)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([=] {
            const std::string body(length, char('a' + t));
            for (int i = 0; i < rounds; i++) {
                RAS1_Printf(entry, 1, "L %d %s END", t, body.c_str()); // no line end of its own
                RAS1_Printf(entry, 2, "S %d %d\n", t, i);
            }
        });
    for (auto &thread : threads)
        thread.join();
}

TEST(LongLines, DefaultStoreFileHoldsEveryMessageWhole)
{
    const std::string log = "/tmp/zullong" + std::to_string(getpid()) + ".log";
    setenv("ZUL_RAS1", ("ERROR >" + log).c_str(), 1); // read at the first traced call
    static Record r("longprobe", "writer");
    ASSERT_TRUE(RAS1_WANTS(RAS1_ReadClass(&r.entry), RAS1_ERROR));
    WriteFromThreads(&r.entry, 300, 2000);
    RAS1_Flush(); // the lines the store still holds
    std::ifstream in(log, std::ios::binary);
    std::remove(log.c_str());
    long longs = 0, shorts = 0, bad = 0;
    for (std::string line; std::getline(in, line);) {
        size_t at = line.find(",\"writer\") ");
        if (at == std::string::npos) { // the opening block and banner; or a piece
            bad += line.find(" END") != std::string::npos;
            continue;
        }
        std::istringstream body(line.substr(at + 11));
        std::string kind, letters, end;
        int t = -1, i = -1;
        body >> kind >> t;
        if (kind == "S" && body >> i && body.eof())
            shorts++;
        else if (kind == "L" && body >> letters >> end && end == "END" && body.eof() && letters == std::string(2000, char('a' + t)))
            longs++;
        else
            bad++;
    }
    EXPECT_EQ(longs, 1200);
    EXPECT_EQ(shorts, 1200);
    EXPECT_EQ(bad, 0);
}

} // namespace
