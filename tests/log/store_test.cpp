// Stores, the line head, the opening block, routing, and lines from many
// threads.
#include "logtest.h"
#include "ras/zulralg.h" // the capture ring, which nothing public shows yet

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <thread>

namespace {

// One store of every class and a record to write through.
struct Log : testing::Test {
    Sink s;
    Record r{"u", "f"};
    void SetUp() override { ASSERT_EQ(RAS1_RegisterStore("s", 1, &s, Sink::Write, RAS1_ANY), STC1_Success); }
    std::vector<std::string> Lines() { return SplitLines(AfterOpening(s.Text())); }
};

int WriteA(void *, ZULSS_format_t *f) { return BSS1_PrintFormat(f, "A:"); }
int WriteB(void *user, ZULSS_format_t *f) { return BSS1_PrintFormat(f, "%s", (const char *)user); }

// The head of a line, rebuilt from the time it shows: eight upper-case
// hexadecimal digits each of seconds and nanoseconds, the thread's ID,
// then `rest`; the time lies within the call's bounds.
void ExpectHead(const std::string &line, const ZULSS_time_t &before, const ZULSS_time_t &after,
                const std::string &rest)
{
    unsigned seconds = 0, nanoseconds = 0;
    char head[48];
    std::sscanf(line.c_str(), "(%8X.%8X", &seconds, &nanoseconds);
    std::snprintf(head, sizeof head, "(%08X.%08X-%X:", seconds, nanoseconds, BSS1_ThreadID());
    EXPECT_EQ(line, head + rest);
    EXPECT_TRUE(seconds >= before.seconds && seconds <= after.seconds && nanoseconds < 1000000000u) << line;
}

TEST_F(Log, ExactHeadWithAndWithoutEnvironmentRoutines)
{
    Record g("zulssge", "BSS1_GetEnv");
    ZULSS_time_t before, after;
    BSS1_GetTime(&before);
    EXPECT_EQ(RAS1_Printf(&g.entry, 47, "ZUL_RAS1=\"%s\" (default)\n", "ERROR"), STC1_Success);
    BSS1_GetTime(&after);
    auto lines = Lines();
    ASSERT_EQ(lines.size(), 1u);
    ExpectHead(lines[0], before, after, "zulssge,47,\"BSS1_GetEnv\") ZUL_RAS1=\"ERROR\" (default)");

    // Newest routine first, between the thread and the unit.
    static char b[] = "B:";
    ASSERT_EQ(RAS1_RegisterEnvironment(nullptr, WriteA), STC1_Success);
    ASSERT_EQ(RAS1_RegisterEnvironment(b, WriteB), STC1_Success);
    EXPECT_EQ(RAS1_RegisterEnvironment(nullptr, nullptr), STC1_BadArgument);
    s.text.clear();
    BSS1_GetTime(&before);
    RAS1_Printf(&g.entry, -3, "x\n");
    BSS1_GetTime(&after);
    // A message without a line end still ends its line.
    RAS1_Printf(&r.entry, 1, "abc");
    RAS1_Printf(&r.entry, 2, "%s", "def");
    lines = SplitLines(s.Text());
    ASSERT_EQ(lines.size(), 3u);
    ExpectHead(lines[0], before, after, "B:A:zulssge,-3,\"BSS1_GetEnv\") x");
    EXPECT_NE(lines[1].find(":u,1,\"f\") abc"), std::string::npos);
    EXPECT_NE(lines[2].find(":u,2,\"f\") def"), std::string::npos);
    EXPECT_EQ(s.Text().back(), '\n');
}

// Default store first, then two that both take ERROR lines of a LIBRARY
// PUBLIC function: the narrower one stands first and wins.  Each store
// gets its opening block once, before its first line.
TEST(LogStore, RoutingFollowsTheListOrderAndEachStoreOpensOnce)
{
    Sink def, wide, narrow;
    ASSERT_EQ(RAS1_RegisterStore("def", 3, &def, Sink::Write, RAS1_ANY), STC1_Success);
    ASSERT_EQ(RAS1_RegisterStore("narrow", 6, &narrow, Sink::Write, 0x20000280u), STC1_Success);
    ASSERT_EQ(RAS1_RegisterStore("wide", 4, &wide, Sink::Write, RAS1_ERROR), STC1_Warning);
    Record r("u", "f");
    auto put = [&](uint32_t active, const char *text) {
        r.entry.active = active;
        RAS1_Printf(&r.entry, 1, "%s\n", text);
    };
    put(0x20000280u, "n1");
    put(0x20000280u, "n2");
    put(0x10000280u, "w1"); // KERNEL: only the wide store
    put(RAS1_FLOW | RAS1_ANY, "d1"); // no store of that class: the default store
    // Moved to FLOW, the narrow store is the lightest and goes to the
    // tail, behind the wide one; ERROR lines now go wide.
    EXPECT_EQ(RAS1_SetStoreClass("NARROW", 6, 0x20000240u), STC1_Success);
    put(0x20000280u, "w2");
    const std::pair<Sink *, std::vector<std::string>> expect[] = {
        {&def, {"d1"}}, {&narrow, {"n1", "n2"}}, {&wide, {"w1", "w2"}}};
    for (const auto &[sink, texts] : expect) {
        std::string text = sink->Text();
        ASSERT_EQ(text.rfind(kTitle, 0), 0u) << text;        // starts with the title
        EXPECT_EQ(text.find(kTitle, 1), std::string::npos); // once
        auto lines = SplitLines(AfterOpening(text));
        ASSERT_EQ(lines.size(), texts.size()) << text;
        for (size_t i = 0; i < lines.size(); i++)
            EXPECT_EQ(lines[i].substr(lines[i].find(") ") + 2), texts[i]) << lines[i];
    }
}

TEST_F(Log, NamesRegistrationsAndCompletion)
{
    struct Case { const char *name; uint32_t length; ZULRA_write_t write;
                  uint32_t classes; int status; } cases[] = {
        {"S", 1, Sink::Write, 0, STC1_Duplicate}, {"s       ", 1, Sink::Write, 0, STC1_Duplicate}, // other case
        {"x", 0, Sink::Write, 0, STC1_BadArgument}, {"ninechars", 9, Sink::Write, 0, STC1_BadArgument},
        {nullptr, 3, Sink::Write, 0, STC1_BadArgument}, {"new", 3, nullptr, 0, STC1_BadArgument},
        {"abcdefgh", 8, Sink::Write, RAS1_ERROR, STC1_Warning}, // completed
        {"b", 1, Sink::Write, 0x20000280u, STC1_Success},
    };
    for (const Case &c : cases)
        EXPECT_EQ(RAS1_RegisterStore(c.name, c.length, &s, c.write, c.classes), c.status) << c.name;
    uint32_t c = 0;
    EXPECT_EQ(RAS1_QueryStoreClass("ABCDEFGH", 8, &c), STC1_Success);
    EXPECT_EQ(c, 0xFFFFFE80u);
    // The first store, a default store of no class, set none; later ones
    // leave the default class alone.
    EXPECT_EQ(DefaultClass(), 0u);
}

// Before any store, and through a class-less store that is not the
// default store, which takes only lines of class word 0.
TEST(LogStore, NoStoreAClassLessStoreSuspensionAndBadArguments)
{
    Record r("u", "f");
    ZULSS_format_t *f = reinterpret_cast<ZULSS_format_t *>(1);
    EXPECT_EQ(RAS1_BeginFormat(&r.entry, 1, 0, &f), STC1_Authority); // no store yet
    EXPECT_EQ(f, nullptr);
    EXPECT_EQ(RAS1_BeginFormat(nullptr, 1, 0, &f), STC1_BadArgument);
    EXPECT_EQ(RAS1_BeginFormat(&r.entry, 1, 0, nullptr), STC1_BadArgument);
    EXPECT_EQ(RAS1_Trace(), STC1_SystemError);
    Sink plain;
    ASSERT_EQ(RAS1_RegisterStore("plain", 5, &plain, Sink::Write, 0), STC1_Success);
    RAS1_Event(nullptr, 0, RAS1_EVENT_SUSPEND);
    EXPECT_EQ(RAS1_Printf(&r.entry, 1, "dropped\n"), STC1_SystemError);
    RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME);
    EXPECT_EQ(plain.Text(), "");
    EXPECT_EQ(RAS1_Printf(&r.entry, 1, "zero\n"), STC1_Success); // never synced: word 0
    r.entry.active = 0xFFFFFF80u;
    EXPECT_EQ(RAS1_BeginFormat(&r.entry, 1, 0, &f), STC1_Authority);
    EXPECT_EQ(RAS1_Printf(&r.entry, 1, "lost\n"), STC1_Authority);
    auto lines = SplitLines(AfterOpening(plain.Text()));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find(") zero"), std::string::npos);
}

TEST_F(Log, DumpWritesAddressLengthMessageAndBytesWithItsFlags)
{
    RAS1_Printf(&r.entry, 1, "x\n");
    EXPECT_EQ(s.flags, RAS1_WRITE_FORMAT | RAS1_WRITE_UNCONFIGURED);
    s.text.clear();
    static const char bytes[] = "ABCDEFGHIJKLMNOP";
    RAS1_Dump(&r.entry, 9, bytes, 16, "%d bytes", 16);
    EXPECT_EQ(s.flags, RAS1_WRITE_DUMP | RAS1_WRITE_UNCONFIGURED);
    auto lines = SplitLines(s.Text());
    ASSERT_EQ(lines.size(), 2u);
    char expect[64];
    std::snprintf(expect, sizeof expect, "u,9,\"f\") <0x%lX,0x10> 16 bytes", (unsigned long)(uintptr_t)bytes);
    EXPECT_NE(lines[0].find(expect), std::string::npos) << lines[0];
    EXPECT_EQ(lines[1], "    00000000   41424344 45464748  494A4B4C 4D4E4F50   ABCDEFGHIJKLMNOP");
    RAS1_SetClass(nullptr, RAS1_ERROR);
    RAS1_Dump(&r.entry, 1, bytes, 4, nullptr);
    EXPECT_EQ(s.flags, RAS1_WRITE_DUMP);
}

// Writers of ERROR and FLOW lines through two stores while another thread
// flips the default class and resynchronizes: each writer's lines arrive
// whole and in order in the store of their class.
TEST(LogThreads, LinesArriveWholeInTheirStoresWhileTheDefaultClassChanges)
{
    Sink stores[2];
    ASSERT_EQ(RAS1_RegisterStore("one", 3, &stores[0], Sink::Write, RAS1_ERROR), STC1_Warning);
    ASSERT_EQ(RAS1_RegisterStore("two", 3, &stores[1], Sink::Write, RAS1_FLOW), STC1_Warning);
    EXPECT_EQ(DefaultClass(), 0xFFFFFE80u); // the first store set the default class

    constexpr int kWriters = 4, kLines = 300;
    auto body = [](int w) { return std::string(150 + w, static_cast<char>('a' + w)); }; // two records a line
    std::atomic<bool> stop{false};
    std::thread changer([&] {
        Record &r = Kept("chg", "g");
        for (int i = 0; !stop.load(); i++) {
            RAS1_SetClass(nullptr, i % 2 ? RAS1_ERROR : RAS1_DETAIL);
            RAS1_Sync(&r.entry);
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

    for (int s = 0; s < 2; s++) {
        // The changer's syncs write their class lines too, and a writer may
        // pass the opening block while another is still writing it: only
        // the writers' lines are counted, wherever they stand.
        std::string text = stores[s].Text();
        size_t title = text.find(kTitle);
        ASSERT_NE(title, std::string::npos);
        EXPECT_EQ(text.find(kTitle, title + 1), std::string::npos);
        std::vector<int> next(kWriters, 0);
        for (const std::string &line : SplitLines(text)) {
            if (line.find("wr,") == std::string::npos)
                continue;
            size_t at = line.find(") ");
            ASSERT_NE(at, std::string::npos) << line;
            int w = line[at + 2] - 'a';
            ASSERT_TRUE(w >= 0 && w < kWriters && w % 2 == s) << line;
            EXPECT_EQ(line.substr(at + 2), body(w) + "#" + std::to_string(next[w]++));
        }
        for (int w = s; w < kWriters; w += 2)
            EXPECT_EQ(next[w], kLines) << w;
    }
    // Every record of the capture ring holds a piece of what one of the
    // stores got: no record mixes two threads' text.
    std::string both = stores[0].Text() + stores[1].Text();
    ZULRA_capture_t *at = ZULRA_Pcb()->capture;
    for (ZULRA_capture_t *slot = at->next; slot != at; slot = slot->next)
        EXPECT_NE(both.find(std::string(slot->text, slot->length)), std::string::npos);
}

} // namespace
