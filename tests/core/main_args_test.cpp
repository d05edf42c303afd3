// BSS1_Main records the program's arguments and name once.
#include "bss/zulss.h"

#include <gtest/gtest.h>

TEST(Main, FirstCallsWinAndArgumentsAreJoinedByOneBlank)
{
    EXPECT_EQ(BSS1_Main(nullptr, nullptr, "server"), 0);
    EXPECT_STREQ(ZULSS_ProgramName(), "server");
    EXPECT_EQ(ZULSS_CommandLine(), nullptr);

    char a0[] = "/opt/bin/agent", a1[] = "--port";
    char *argv[] = {a0, a1, nullptr};
    int argc = 2;
    EXPECT_EQ(BSS1_Main(&argc, argv, "other"), 0);
    EXPECT_STREQ(ZULSS_ProgramArg0(), "/opt/bin/agent");
    EXPECT_STREQ(ZULSS_CommandLine(), "/opt/bin/agent --port");
    EXPECT_STREQ(ZULSS_ProgramName(), "server");

    char b0[] = "x";
    char *argv2[] = {b0, nullptr};
    int one = 1;
    EXPECT_EQ(BSS1_Main(&one, argv2, nullptr), 0);
    EXPECT_STREQ(ZULSS_CommandLine(), "/opt/bin/agent --port");
}

TEST(Main, ZeroCountStoresNoArguments)
{
    int zero = 0;
    char a0[] = "x";
    char *argv[] = {a0, nullptr};
    EXPECT_EQ(BSS1_Main(&zero, argv, nullptr), 0);
    EXPECT_EQ(ZULSS_CommandLine(), nullptr);
    EXPECT_EQ(ZULSS_ProgramArg0(), nullptr);
}
