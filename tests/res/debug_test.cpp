// Debug lines: a class whose debug switch is on has its new resources
// write a line at each event of their life.  The switch is thrown here
// through the class descriptor, as the console's debug variable will.
#include "restest.h"
#include "log/logtest.h"
#include "res/zulre.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace {

void SetDebug(uint32_t cls, int on)
{
    ZULRE_rvt_t *rvt = ZULRE_Rvt();
    ZULRE_rcb_t *rcb = ZULRE_DisableRCB(rvt, cls, 1);
    ASSERT_NE(rcb, nullptr);
    static_cast<RES1_Class *>(rcb->data)->debug = on;
    ZULRE_Drop(rvt, rcb, 1);
}

// The text of each debug line the store got, from the function's name on:
// "RES1_Create\") dbg::0x...".
std::vector<std::string> DebugLines(Sink &s)
{
    std::vector<std::string> out;
    for (const std::string &line : SplitLines(s.Text())) {
        size_t at = line.find(",\"");
        if (at != std::string::npos && line.find("::0x") != std::string::npos)
            out.push_back(line.substr(at + 2));
    }
    return out;
}

std::string Pointer(const void *p)
{
    char text[32];
    std::snprintf(text, sizeof text, "%lX", static_cast<unsigned long>(reinterpret_cast<uintptr_t>(p)));
    return text;
}

TEST(ResDebug, EachEventOfALifeWritesItsLine)
{
    Sink s;
    ASSERT_EQ(RAS1_RegisterStore("s", 1, &s, Sink::Write, RAS1_ANY), STC1_Success);
    uint32_t quiet = TestClass("quiet"), cls = TestClass("dbg");
    SetDebug(cls, 1);
    Obj o, q;
    uint32_t h = 0, hq = 0;
    ASSERT_EQ(RES1_Create(&hq, quiet, 0, &q), STC1_Success);
    ASSERT_EQ(RES1_Create(&h, cls, 0, &o), STC1_Success);
    ASSERT_EQ(RES1_Use(h, cls, nullptr), STC1_Success);
    ASSERT_EQ(RES1_Use(hq, quiet, nullptr), STC1_Success);
    ASSERT_EQ(RES1_Drop(h), STC1_Success);
    ASSERT_EQ(RES1_Destroy(h), STC1_Success);
    ASSERT_EQ(RES1_Destroy(hq), STC1_Success);
    ASSERT_EQ(RES1_Drop(h), STC1_Success);
    ASSERT_EQ(RES1_Drop(hq), STC1_Success);
    ASSERT_EQ(RES1_Drop(hq), STC1_Success);

    const std::string p = Pointer(&o);
    const std::vector<std::string> expected = {
        "RES1_Create\") dbg::0x001000FC::00000008::" + p + ", created, owner=00000000",
        "RES1_Use\") dbg::0x001000FC::00000012::" + p + ", use",
        "RES1_Drop\") dbg::0x001000FC::0000001A::" + p + ", drop",
        "ZULRE_KillRCB\") dbg::0x001000FC::00000013::" + p + ", destruction scheduled",
        "RES1_Drop\") dbg::0x001000FC::00000013::" + p + ", drop",
        "ZULRE_EnableRCB\") dbg::0x002000FC::00000003::" + p + ", destruction underway",
        "ZULRE_Drop\") dbg::0x002000FC::00000003::" + p + ", destroyed",
    };
    EXPECT_EQ(DebugLines(s), expected);
    EXPECT_NE(s.Text().find("zulrecr,"), std::string::npos); // the unit of RES1_Create
}

TEST(ResDebug, TheSwitchActsOnResourcesCreatedLater)
{
    Sink s;
    ASSERT_EQ(RAS1_RegisterStore("s", 1, &s, Sink::Write, RAS1_ANY), STC1_Success);
    uint32_t cls = TestClass("dbg");
    Obj before, after;
    uint32_t b = 0, a = 0;
    ASSERT_EQ(RES1_Create(&b, cls, 0, &before), STC1_Success);
    SetDebug(cls, 1);
    ASSERT_EQ(RES1_Create(&a, cls, b, &after), STC1_Success);
    ASSERT_EQ(RES1_Use(b, cls, nullptr), STC1_Success);
    // One drop too many on the debugged one: the count error line.
    ASSERT_EQ(RES1_Drop(a), STC1_Success);
    ASSERT_EQ(RES1_Drop(a), STC1_Success);
    std::vector<std::string> lines = DebugLines(s);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "RES1_Create\") dbg::0x001000FD::00000008::" + Pointer(&after) +
                            ", created, owner=001000FE");
    EXPECT_EQ(lines[3], "ZULRE_EnableRCB\") dbg::0x002000FD::0000000A::" + Pointer(&after) +
                            ", use count error");
}

} // namespace
