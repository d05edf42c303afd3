// The start of the trace, end to end: each test runs the probe in a fresh
// process, since ZUL_RAS1 is read once per process.
#include "filttest.h"

#include <cstdio>
#include <filesystem>

namespace {

using filt::Probe;
using filt::ReadFile;

struct Start : ::testing::Test {
    std::string dir;
    void SetUp() override
    {
        char pattern[] = "/tmp/zulstartXXXXXX";
        dir = mkdtemp(pattern);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }
};

const std::string kQuiet = "current=1 active=00000000 default=00000000 unit=c.x\n";

TEST_F(Start, UnsetWritesNothingAndKeepsTheFastPath)
{
    auto run = Probe("run", {});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    // The record is current after its calls: later calls are two loads
    // and a compare.  The unit's name is in its one form.
    EXPECT_EQ(run.err, kQuiet);
}

TEST_F(Start, ErrorToAFileWritesTheOpeningBannerAndSelectedLines)
{
    std::string log = dir + "/trace.log";
    std::ofstream(log) << "left from an earlier run\n";
    auto run = Probe("run", {"ZUL_RAS1=ERROR >" + log});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("default=FFFFFE80 unit=c.x"), std::string::npos) << run.err;

    std::string text = ReadFile(log);
    ASSERT_EQ(text.rfind(kTitle, 0), 0u) << text; // truncated, then the opening block
    std::string body = AfterOpening(text);
    EXPECT_NE(body.find("   Component: zul\n"), std::string::npos) << body;
    int failures = 0;
    for (const auto &line : SplitLines(body)) {
        if (line.find("c.x,") != std::string::npos) {
            EXPECT_NE(line.find(",\"work\") failure "), std::string::npos) << line;
            failures++;
            continue;
        }
        const bool banner = line.find(",\"QXBLD\") ") != std::string::npos ||
                            line.find("   Component: ") == 0 || line.find("      Driver: ") == 0 ||
                            line.find("   Timestamp: ") == 0 || line.find("      Target: ") == 0;
        EXPECT_TRUE(banner) << "unexpected line: " << line;
    }
    EXPECT_EQ(failures, 5);
}

TEST_F(Start, EmptyExpressionTruncatesTheFileAndWritesNothing)
{
    std::string log = dir + "/trace.log";
    std::ofstream(log) << "left from an earlier run\n";
    auto run = Probe("run", {"ZUL_RAS1=  >" + log + "  "});
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, kQuiet);
    EXPECT_TRUE(std::filesystem::exists(log));
    EXPECT_EQ(ReadFile(log), "");
}

TEST_F(Start, OwnStoreBeforeTheFirstCallSkipsTheSettings)
{
    std::string log = dir + "/trace.log";
    auto run = Probe("ownstore", {"ZUL_RAS1=ERROR >" + log});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, kQuiet); // no class, no line to the store
    EXPECT_FALSE(std::filesystem::exists(log));
}

TEST_F(Start, UnitFilterMeetsTheNormalizedName)
{
    auto run = Probe("run", {"ZUL_RAS1=(UNIT:C FLOW)"});
    EXPECT_EQ(run.status, 0);
    // The log is on standard output; the filter names "c", the unit was
    // "a/b\c.X ".
    EXPECT_NE(run.out.find("c.x,"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find(",\"work\") Entry"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find(",\"work\") Exit: 0x4"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("failure"), std::string::npos);
    EXPECT_NE(run.err.find("default=00000000"), std::string::npos);
}

TEST_F(Start, UnopenableFileLeavesTheLogOnStandardOutput)
{
    auto run = Probe("run", {"ZUL_RAS1=ERROR > /nonexistent/zul/x.log"});
    EXPECT_NE(run.out.find(",\"work\") failure 4"), std::string::npos) << run.out;
}

TEST_F(Start, FaultyExpressionIsReportedInTheLog)
{
    auto run = Probe("run", {"ZUL_RAS1=ERROR BOGUS"});
    EXPECT_NE(run.out.find("zulrais,"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("Class name not recognized: BOGUS"), std::string::npos);
    // The faulty level applied nothing.
    EXPECT_EQ(run.err, kQuiet);
}

} // namespace
