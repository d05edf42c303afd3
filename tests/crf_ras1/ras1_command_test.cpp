// The ras1 console command, driven through CRF1_Execute and CRF1_Fetch:
// a filter set from the console turns on the Entry lines of a traced
// call, each subcommand's output, refused arguments, and the demo's
// console host on piped input.
#include <zul/crf1.h>
#include <zul/lex1.h>

#include <gtest/gtest.h>

#include <regex>
#include <string>

namespace {

struct Console {
    uint32_t handle = 0;
    Console() { EXPECT_EQ(CRF1_New(&handle), 0); }
    ~Console() { CRF1_Delete(handle); }
    // Runs `line`; its status and everything the console wrote.
    std::pair<int, std::string> Run(const std::string &line)
    {
        int status = CRF1_Execute(handle, line.data(), uint32_t(line.size()), nullptr);
        std::string out;
        char buffer[256];
        uint32_t count = 0;
        while (CRF1_Fetch(handle, buffer, sizeof buffer, &count) == 0)
            out.append(buffer, count);
        return {status, out};
    }
};

const std::string kClosing = "\nDefault trace class\\(es\\): ";

TEST(Ras1Command, FilterFromTheConsoleTurnsOnEntryLines)
{
    Console c;
    EXPECT_EQ(c.Run("ras1 set (unit=zulcr FLOW)").second, "OK\n\nDefault trace class(es): \n");
    // The next CRF1 call is traced in a unit that the filter selects; its
    // Entry line reaches the log and so the capture ring.
    std::string log = c.Run("ras1 log").second;
    EXPECT_TRUE(std::regex_search(log, std::regex(R"(:zulcr\w*,\d+,"CRF1_\w+"\) Entry\n)"))) << log;
}

// Lines in order on one console: what each line leaves behind counts for
// the next.
TEST(Ras1Command, SubcommandsAnswerInTheirShape)
{
    const struct {
        const char *line;
        int status;
        std::string output; // a regular expression for the whole answer
    } kCases[] = {
        {"ras1 set", 0, "OK\n" + kClosing + "\n"},
        {"RAS1 SET error", 0, "OK\n" + kClosing + "EVERYE\\+EVERYU\\+ER\n"},
        {"ras1 set XYZ NONE", 0, "RAS1 class not recognized: XYZ\nOK\n" + kClosing + "\n"},
        // Keywords stay pending until a list with a class name ends.
        {"ras1 set (unit=zulcr) (FLOW) (en=RES1_ c=RES1 DETAIL)", 0, "OK\n" + kClosing + "\n"},
        {"ras1 list", 0, "[0-9A-F]{8}, Unit=\"zulcr\", Class=EVERYE\\+EVERYU\\+FL\n"
                         "[0-9A-F]{8}, Entry=\"RES1_\", Comp=\"RES1\", Class=EVERYE\\+EVERYU\\+DE\n" + kClosing + "\n"},
        {"ras1 (set ERROR) (list)", 0, "RAS1 class not recognized: list\nOK\n" + kClosing + "EVERYE\\+EVERYU\\+ER\n"},
        {"ras1 set (FLOW (unit=x)) INPUT", 0, "Argument list not allowed: \"\\(unit=x\\)\"\nOK\n" + kClosing + "EVERYE\\+EVERYU\\+ER\n"},
        {"ras1 list extra", LEX1_TooManyPositionals, "Positional argument not allowed: \"extra\"\n" + kClosing + ".*\n"},
        {"ras1 units", 0, "(\\w+, 185, \\w{3} [ \\d]\\d \\d{4}, \\d\\d:\\d\\d:\\d\\d, 1, [\\w*]+\n)+" + kClosing + ".*\n"},
        {"ras1 qxbld", 0, "\nComponent code: zul\n      Values ...\n( {6,}[a-z ]+: .+\n)+(\n    Comments ...\n( +\\d+: .*\n)+)?" + kClosing + ".*\n"},
        {"ras1 dumpcvt", 0, "(.*\n){2,}" + kClosing + ".*\n"},
    };
    Console c;
    for (const auto &k : kCases) {
        auto [status, out] = c.Run(k.line);
        EXPECT_EQ(status, k.status) << k.line;
        EXPECT_TRUE(std::regex_match(out, std::regex(k.output))) << k.line << "\n" << out;
    }
}

TEST(Ras1Command, DemoRunsPipedCommandsAndEnds)
{
    FILE *demo = popen("printf 'ras1 units\\n?\\n' | " ZUL_DEMO, "r");
    ASSERT_NE(demo, nullptr);
    std::string out;
    char buffer[4096];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, demo)) > 0;)
        out.append(buffer, n);
    EXPECT_EQ(pclose(demo), 0) << out;
    EXPECT_NE(out.find("demo_net.c, 185,"), std::string::npos) << out;
    EXPECT_NE(out.find("            ras1: Manage RAS1"), std::string::npos) << out;
}

} // namespace
