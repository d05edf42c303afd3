// Long lines under concurrency: every line reaches the store whole, in one
// call of its write routine, and the default store's file shows each
// message on a line of its own, however long and however many threads
// write at once.
#include "log/logtest.h"

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

namespace {

// What a log holds of the probe's messages: those that stand whole on a
// line of their own, and the lines that hold more than one head or a
// piece of a message.
struct Tally {
    long longs = 0, shorts = 0, glued = 0, pieces = 0;
};

// The probe's lines are `head L t i body END` and `head S t i`; the body is
// `length` times the thread's letter.
Tally Count(const std::string &text, int length)
{
    const std::string head = ",\"writer\") ";
    Tally tally;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        size_t at = line.find(head);
        if (at == std::string::npos) {
            // Lines of the opening block and the build banner have no head
            // of the probe; a piece of a message stands out by its body.
            if (line.find(" END") != std::string::npos)
                tally.pieces++;
            continue;
        }
        if (line.find(head, at + 1) != std::string::npos) {
            tally.glued++;
            continue;
        }
        std::istringstream body(line.substr(at + head.size()));
        std::string kind, letters, end;
        int t = -1, i = -1;
        body >> kind >> t >> i;
        if (kind == "S" && body.eof() && t >= 0) {
            tally.shorts++;
        } else if (kind == "L" && (body >> letters >> end) && end == "END" && body.eof() &&
                   letters == std::string(static_cast<size_t>(length), static_cast<char>('a' + t % 26))) {
            tally.longs++;
        } else {
            tally.pieces++;
        }
    }
    return tally;
}

// The time of the stress: short in the suite, longer when measuring.
double StressSeconds()
{
    const char *value = std::getenv("ZUL_LONG_LINES_SECONDS");
    return value ? std::atof(value) : 1.5;
}

TEST(LongLines, DefaultStoreFileHoldsEveryMessageWhole)
{
    char pattern[] = "/tmp/zullongXXXXXX";
    const std::string dir = mkdtemp(pattern);
    const std::string log = dir + "/trace.log", out = dir + "/out";
    const int length = 2000;
    const double seconds = StressSeconds();
    std::string command = "env -i 'ZUL_RAS1=ERROR >" + log + "' " + ZUL_LONG_LINES_PROBE + " 4 " +
                          std::to_string(seconds) + " " + std::to_string(length) + " >" + out;
    int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command;

    long longs = 0, shorts = 0;
    std::ifstream counts(out);
    std::string word;
    counts >> word >> longs >> word >> shorts;
    std::stringstream text;
    text << std::ifstream(log, std::ios::binary).rdbuf();
    Tally tally = Count(text.str(), length);
    std::filesystem::remove_all(dir);

    std::cout << "written: long " << longs << " short " << shorts << "; whole: long "
              << tally.longs << " short " << tally.shorts << "; glued lines " << tally.glued
              << ", pieces " << tally.pieces << "\n";
    EXPECT_GT(longs, 0);
    EXPECT_EQ(tally.longs, longs);
    EXPECT_EQ(tally.shorts, shorts);
    EXPECT_EQ(tally.glued, 0);
    EXPECT_EQ(tally.pieces, 0);
}

// A store's routine gets whole lines only: each call ends with a line
// feed, and a long message comes in one call, not in pieces that another
// thread's line could come between.
TEST(LongLines, StoreRoutineGetsWholeLines)
{
    struct Calls {
        std::mutex mutex;
        long calls = 0, open = 0;
        std::vector<size_t> longest;
    } calls;
    auto write = [](void *data, const char *text, uint32_t length, ZULRA_entry_t *, uint32_t) {
        Calls *c = static_cast<Calls *>(data);
        std::lock_guard<std::mutex> hold(c->mutex);
        c->calls++;
        if (length == 0 || text[length - 1] != '\n')
            c->open++;
        return 0;
    };
    ASSERT_EQ(RAS1_RegisterStore("WHOLE", 5, &calls, write, RAS1_ANY), STC1_Success);
    static Record r("whole.c", "writer");
    r.entry.active = RAS1_ERROR;
    const std::string body(3000, 'x');
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([&] {
            for (int i = 0; i < 200; i++) {
                RAS1_Printf(&r.entry, 1, "%s", body.c_str()); // no line end of its own
                RAS1_Printf(&r.entry, 2, "short %d\n", i);
            }
        });
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(calls.open, 0);
    EXPECT_GE(calls.calls, 4 * 400);
}

} // namespace
