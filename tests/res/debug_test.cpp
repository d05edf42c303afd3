// Debug lines: resources of a class whose debug switch is on write a
// line at each event of their life.  The switch is thrown here through
// the class record, as the console's debug variable will throw it.
#include "restest.h"
#include "log/logtest.h"
#include "res/zulre.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace {

TEST(ResDebug, EachEventOfALifeWritesItsLine)
{
    Sink s;
    ASSERT_EQ(RAS1_RegisterStore("s", 1, &s, Sink::Write, RAS1_ANY), STC1_Success);
    uint32_t quiet = TestClass("quiet"), cls = TestClass("dbg"), h = 0, q = 0, late = 0;
    Obj o, other;
    ASSERT_EQ(RES1_Create(&q, quiet, 0, &other), STC1_Success);
    ZULRE_Rvt()->classes->debug = 1; // the newest class: dbg
    ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
    ASSERT_EQ(RES1_Create(&late, quiet, h, &other), STC1_Success);
    for (uint32_t x : {q, late}) { // quiet: no line
        ASSERT_EQ(RES1_Use(x, quiet, nullptr), STC1_Success);
        ASSERT_EQ(RES1_Drop(x), STC1_Success);
    }
    ASSERT_EQ(RES1_Use(h, cls, nullptr), STC1_Success);
    ASSERT_EQ(RES1_Drop(h), STC1_Success);
    ASSERT_EQ(RES1_Destroy(h), STC1_Success);
    ASSERT_EQ(RES1_Drop(late), STC1_Success);
    ASSERT_EQ(RES1_Drop(h), STC1_Success);
    ASSERT_EQ(RES1_Drop(h), STC1_NotThere);

    char p[32];
    std::snprintf(p, sizeof p, "%lX", static_cast<unsigned long>(reinterpret_cast<uintptr_t>(&o)));
    const std::vector<std::string> expected = {
        "zulrecr,N,\"RES1_Create\") dbg::0x001000FC::00000008::P, created, owner=00000000",
        "zulreus,N,\"RES1_Use\") dbg::0x001000FC::0000001A::P, use",
        "zulredr,N,\"RES1_Drop\") dbg::0x001000FC::00000022::P, drop",
        "zulre0k,N,\"ZULRE_KillRCB\") dbg::0x001000FC::0000001B::P, destruction scheduled",
        "zulredr,N,\"RES1_Drop\") dbg::0x001000FC::00000013::P, drop",
        "zulre0e,N,\"ZULRE_EnableRCB\") dbg::0x002000FC::00000003::P, destruction underway",
        "zulre1d,N,\"ZULRE_Drop\") dbg::0x002000FC::00000003::P, destroyed",
    };
    std::vector<std::string> lines;
    for (const std::string &line : SplitLines(s.Text())) {
        size_t at = line.find(':', line.find('-'));
        if (line.find("::0x") != std::string::npos && at != std::string::npos) {
            std::string text = line.substr(at + 1);
            size_t n = text.find(',') + 1; // the source line is left out
            text.replace(n, text.find(',', n) - n, "N");
            text.replace(text.find(p), std::strlen(p), "P");
            lines.push_back(text);
        }
    }
    EXPECT_EQ(lines, expected);
}

} // namespace
