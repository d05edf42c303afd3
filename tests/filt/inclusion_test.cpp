// Filter expressions that include files: nested names with their line
// ends, files that never end or are not regular files, and the bound of
// what one file gives.
#include "log/logtest.h"

#include <zul/ras1.h>

#include <filesystem>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

constexpr uint32_t kError = 0xFFFFFE80u, kFlow = 0xFFFFFE40u;

struct Case {
    const char *name;
    std::vector<std::pair<std::string, std::string>> files; // "fifo:" and "dir:" make those
    const char *text;
    int status;
    const char *message; // the parser's one message, or ""
    uint32_t defaultClass;
};

const std::string kLong = std::string(1 << 20, '\n');

const Case kCases[] = {
    {"NestedNameKeepsNoLineEnd", {{"outer", "<%/inner\nFLOW\n"}, {"inner", "ERROR\n"}}, "<%/outer", 0, "",
     kFlow},
    {"NestedNameKeepsNoCarriageReturn", {{"outer", "<%/inner\r\n"}, {"inner", "ERROR\n"}}, "<%/outer", 0, "",
     kError},
    {"DevZero", {}, "</dev/zero", 5, "Not a regular file: /dev/zero", 0},
    {"Fifo", {{"fifo", "fifo:"}}, "<%/fifo", 5, "Not a regular file: %/fifo", 0},
    {"Directory", {{"dir", "dir:"}}, "<%/dir", 5, "Not a regular file: %/dir", 0},
    {"DevZeroNested", {{"outer", "ERROR\n</dev/zero\nFLOW\n"}}, "<%/outer", 5,
     "Not a regular file: /dev/zero", kError},
    {"FileBeyondTheBound", {{"big", "ERROR\n" + kLong + "FLOW\n"}}, "<%/big", STC1_ProtocolError,
     "File cut at 1048576 bytes: %/big", kError},
};

void PrintTo(const Case &c, std::ostream *out) { *out << c.name; }

struct Inclusion : ::testing::TestWithParam<Case> {
    Sink sink;
    std::filesystem::path dir;
    void SetUp() override
    {
        char pattern[] = "/tmp/zulincXXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        ASSERT_EQ(RAS1_RegisterStore("TEST", 4, &sink, Sink::Write, RAS1_ANY), 0);
        Record starter("starter", "Start");
        RAS1_Sync(&starter.entry);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }
    std::string Fill(std::string t) const
    {
        for (size_t at; (at = t.find('%')) != std::string::npos;)
            t.replace(at, 1, dir.string());
        return t;
    }
};

TEST_P(Inclusion, Apply)
{
    const Case &c = GetParam();
    for (const auto &[name, text] : c.files) {
        const std::string path = (dir / name).string();
        if (text == "fifo:")
            ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        else if (text == "dir:")
            ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
        else
            std::ofstream(path, std::ios::binary) << Fill(text);
    }
    std::string text = Fill(c.text);
    EXPECT_EQ(RAS1_InterpretString(text.data(), (uint32_t)text.size()), c.status);

    std::string messages;
    for (const auto &line : SplitLines(AfterOpening(sink.Text())))
        if (size_t at = line.find(",\"ParseExpression\") "); at != std::string::npos)
            messages += (messages.empty() ? "" : "\n") + line.substr(at + 20);
    EXPECT_EQ(messages, Fill(c.message));
    uint32_t classes = 1;
    RAS1_QueryClass(&classes);
    EXPECT_EQ(classes, c.defaultClass);
}

INSTANTIATE_TEST_SUITE_P(Files, Inclusion, ::testing::ValuesIn(kCases),
                         [](const auto &info) { return std::string(info.param.name); });

} // namespace
