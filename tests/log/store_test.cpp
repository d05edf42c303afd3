// Stores, the line head, the opening block, routing, and lines from many
// threads.
#include "logtest.h"
#include "ras/zulralg.h" // the capture ring, which nothing public shows yet

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
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
    put(0x10000280u, "w1"); // KERNEL: only the wide store
    put(RAS1_FLOW | RAS1_ANY, "d1"); // no store of that class: the default store
    // Moved to FLOW, the narrow store is the lightest and goes behind the wide one.
    EXPECT_EQ(RAS1_SetStoreClass("NARROW", 6, 0x20000240u), STC1_Success);
    put(0x20000280u, "w2");
    const std::pair<Sink *, std::vector<std::string>> expect[] = {{&def, {"d1"}}, {&narrow, {"n1"}}, {&wide, {"w1", "w2"}}};
    for (const auto &[sink, texts] : expect) {
        std::string text = sink->Text();
        ASSERT_EQ(text.rfind(kTitle, 0), 0u) << text;
        EXPECT_EQ(text.find(kTitle, 1), std::string::npos);
        auto lines = SplitLines(AfterOpening(text));
        ASSERT_EQ(lines.size(), texts.size()) << text;
        for (size_t i = 0; i < lines.size(); i++)
            EXPECT_EQ(lines[i].substr(lines[i].find(") ") + 2), texts[i]) << lines[i];
    }
}

// Names, completion, and a class-less store that is not the default store,
// which takes only lines of class word 0; suspension drops lines.
TEST(LogStore, RegistrationsAndAClassLessStore)
{
    Sink s, plain;
    Record r("u", "f");
    ZULSS_format_t *f = nullptr;
    EXPECT_EQ(RAS1_BeginFormat(&r.entry, 1, 0, &f), STC1_Authority); // no store yet
    EXPECT_EQ(RAS1_Trace(), STC1_SystemError);
    struct { const char *name; uint32_t length; ZULRA_write_t write; uint32_t classes; int status; } cases[] = {
        {"plain", 5, Sink::Write, 0, STC1_Success}, {"PLAIN   ", 5, Sink::Write, 0, STC1_Duplicate}, // other case
        {"ninechars", 9, Sink::Write, 0, STC1_BadArgument}, {"new", 3, nullptr, 0, STC1_BadArgument},
        {"abcdefgh", 8, Sink::Write, RAS1_ERROR, STC1_Warning}, // completed
    };
    for (const auto &c : cases)
        EXPECT_EQ(RAS1_RegisterStore(c.name, c.length, c.status ? &s : &plain, c.write, c.classes), c.status) << c.name;
    uint32_t c = 0;
    EXPECT_EQ(RAS1_QueryStoreClass("ABCDEFGH", 8, &c), STC1_Success);
    EXPECT_EQ(c, 0xFFFFFE80u);
    EXPECT_EQ(DefaultClass(), 0u); // the first store set none; later ones leave it alone
    RAS1_Event(nullptr, 0, RAS1_EVENT_SUSPEND);
    EXPECT_EQ(RAS1_Printf(&r.entry, 1, "dropped\n"), STC1_SystemError);
    RAS1_Event(nullptr, 0, RAS1_EVENT_RESUME);
    EXPECT_EQ(RAS1_Printf(&r.entry, 1, "zero\n"), STC1_Success); // never synced: word 0
    auto lines = SplitLines(AfterOpening(plain.Text()));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find(") zero"), std::string::npos);
}

TEST(LogStore, DumpWritesAddressLengthMessageAndBytesWithItsFlags)
{
    Sink s;
    Record r("u", "f");
    ASSERT_EQ(RAS1_RegisterStore("s", 1, &s, Sink::Write, RAS1_ANY), STC1_Success);
    static const char bytes[] = "ABCDEFGHIJKLMNOP";
    RAS1_Dump(&r.entry, 9, bytes, 16, "%d bytes", 16);
    EXPECT_EQ(s.flags, RAS1_WRITE_DUMP | RAS1_WRITE_UNCONFIGURED);
    auto lines = SplitLines(AfterOpening(s.Text()));
    ASSERT_EQ(lines.size(), 2u);
    char expect[64];
    std::snprintf(expect, sizeof expect, "u,9,\"f\") <0x%lX,0x10> 16 bytes", (unsigned long)(uintptr_t)bytes);
    EXPECT_NE(lines[0].find(expect), std::string::npos) << lines[0];
    EXPECT_EQ(lines[1], "    00000000   41424344 45464748  494A4B4C 4D4E4F50   ABCDEFGHIJKLMNOP");
    RAS1_SetClass(nullptr, RAS1_ERROR);
    RAS1_Printf(&r.entry, 1, "x\n");
    EXPECT_EQ(s.flags, RAS1_WRITE_FORMAT);
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
    for (int s = 0; s < 2; s++) {
        // Only the writers' lines count, wherever they stand.
        std::vector<int> next(kWriters, 0);
        for (const std::string &line : SplitLines(stores[s].Text())) {
            size_t at = line.find(") ");
            if (line.find("wr,") == std::string::npos || at == std::string::npos)
                continue;
            int w = line[at + 2] - 'a';
            ASSERT_TRUE(w >= 0 && w < kWriters && w % 2 == s) << line;
            EXPECT_EQ(line.substr(at + 2), body(w) + "#" + std::to_string(next[w]++));
        }
        for (int w = s; w < kWriters; w += 2)
            EXPECT_EQ(next[w], kLines) << w;
    }
    // No record of the capture ring mixes two threads' text.
    std::string both = stores[0].Text() + stores[1].Text();
    ZULRA_capture_t *at = ZULRA_Pcb()->capture;
    for (ZULRA_capture_t *slot = at->next; slot != at; slot = slot->next)
        EXPECT_NE(both.find(std::string(slot->text, slot->length)), std::string::npos);
}

} // namespace
