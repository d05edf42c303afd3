// The start of the trace, end to end: each case runs the probe in a fresh
// process with exactly one variable, since ZUL_RAS1 is read once per process.
#include "log/logtest.h"

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace {

std::string ReadFile(const std::string &path)
{
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

struct Start : ::testing::Test {
    std::string dir = mkdtemp(std::string("/tmp/zulstartXXXXXX").data()), log = dir + "/trace.log", out, err;
    void TearDown() override { std::filesystem::remove_all(dir); }
    void Probe(const char *mode, const std::string &var = "")
    {
        std::string command = "env -i " + (var.empty() ? "" : "'" + var + "' ") + ZUL_FILT_PROBE + " " + mode + " >" +
                              dir + "/out 2>" + dir + "/err";
        int status = std::system(command.c_str());
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << command;
        out = ReadFile(dir + "/out"), err = ReadFile(dir + "/err");
    }
};

// The record is current after its calls (the fast path); no class is on;
// the unit "a/b\c.X " is named in its one form.
const std::string kQuiet = "current=1 active=00000000 default=00000000 unit=c.x\n";

TEST_F(Start, UnsetEmptyOrFaultyExpressionKeepsTheFastPath)
{
    Probe("run");
    EXPECT_EQ(out + err, kQuiet);
    std::ofstream(log) << "left from an earlier run\n";
    Probe("run", "ZUL_RAS1=  >" + log + "  "); // still truncates the file
    EXPECT_EQ(out + err, kQuiet);
    EXPECT_EQ(ReadFile(log), "");
    Probe("run", "ZUL_RAS1=ERROR BOGUS"); // applies nothing; the fault is in the log
    EXPECT_NE(out.find("zulrais,"), std::string::npos) << out;
    EXPECT_NE(out.find("Class name not recognized: BOGUS"), std::string::npos);
    EXPECT_EQ(err, kQuiet);
}

// The file opens with the title; behind the opening block come the build
// banner and the five ERROR lines, nothing else.
TEST_F(Start, ErrorToAFileWritesTheOpeningBannerAndSelectedLines)
{
    Probe("run", "ZUL_RAS1=ERROR >" + log);
    EXPECT_EQ(out, "");
    EXPECT_NE(err.find("default=FFFFFE80 unit=c.x"), std::string::npos) << err;
    std::string text = ReadFile(log);
    ASSERT_EQ(text.rfind(kTitle, 0), 0u) << text;
    auto lines = SplitLines(AfterOpening(text));
    ASSERT_EQ(lines.size(), 10u) << text;
    EXPECT_NE(lines[0].find(",\"QXBLD\") "), std::string::npos) << lines[0];
    for (int i = 5; i < 10; i++)
        EXPECT_NE(lines[i].find("c.x,"), std::string::npos) << lines[i];
}

} // namespace
