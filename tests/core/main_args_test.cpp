// BSS1_Main records the program's arguments and name once each; the
// information items show what it kept.
#include <zul/bss1.h>

#include <gtest/gtest.h>

#include <string>

static std::string Item(uint32_t item)
{
    char text[256];
    return std::string(text, BSS1_Info(item, text, sizeof text));
}

TEST(Main, FirstCallsWinAndArgumentsAreJoinedByOneBlank)
{
    char a0[] = "/opt/bin/agent", a1[] = "--port", b0[] = "x";
    char *argv[] = {a0, a1, nullptr}, *argv2[] = {b0, nullptr};
    int argc = 2, one = 1;
    EXPECT_EQ(BSS1_Main(nullptr, nullptr, "server"), 0);
    EXPECT_EQ(BSS1_Main(&argc, argv, "other"), 0);
    EXPECT_EQ(BSS1_Main(&one, argv2, nullptr), 0);
    EXPECT_EQ(Item(BSS1_INFO_TASK), "server");
    EXPECT_EQ(Item(BSS1_INFO_COMMANDLINE), "/opt/bin/agent --port");
}

TEST(Main, ZeroCountStoresNoArgumentsAndNoNameLeavesTheProgram)
{
    int zero = 0;
    char a0[] = "x";
    char *argv[] = {a0, nullptr};
    EXPECT_EQ(BSS1_Main(&zero, argv, nullptr), 0);
    EXPECT_EQ(Item(BSS1_INFO_COMMANDLINE), "");
    EXPECT_EQ(Item(BSS1_INFO_TASK), "zul_test_core");
}
