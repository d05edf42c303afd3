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

// Files by name ("fifo:" and "dir:" make those), the expression ("%" is
// the directory), its status, the parser's one message, and the default
// class that results.
struct Case { const char *name; std::vector<std::pair<std::string, std::string>> files; const char *text;
              int status; const char *message; uint32_t defaultClass; };
void PrintTo(const Case &c, std::ostream *out) { *out << c.name; }

const Case kCases[] = {
    {"NestedNameKeepsNoLineEnd", {{"outer", "<%/inner\nFLOW\n"}, {"inner", "ERROR\n"}}, "<%/outer", 0, "", kFlow},
    {"NestedNameKeepsNoCarriageReturn", {{"outer", "<%/inner\r\n"}, {"inner", "ERROR\n"}}, "<%/outer", 0, "", kError},
    {"DevZero", {}, "</dev/zero", 5, "Not a regular file: /dev/zero", 0},
    {"Fifo", {{"fifo", "fifo:"}}, "<%/fifo", 5, "Not a regular file: %/fifo", 0},
    {"Directory", {{"dir", "dir:"}}, "<%/dir", 5, "Not a regular file: %/dir", 0},
    {"DevZeroNested", {{"outer", "ERROR\n</dev/zero\nFLOW\n"}}, "<%/outer", 5, "Not a regular file: /dev/zero", kError},
    {"FileBeyondTheBound", {{"big", "ERROR\n" + std::string(1 << 20, '\n') + "FLOW\n"}}, "<%/big", STC1_ProtocolError,
     "File cut at 1048576 bytes: %/big", kError},
    // One expression opens 256 files at most, however they nest.
    {"TooManyInclusions", {{"outer", [] { std::string t; for (int i = 0; i < 256; i++) t += "<%/leaf\n"; return t; }()},
                           {"leaf", "ERROR\n"}},
     "<%/outer", STC1_ProtocolError, "Too many inclusions: %/leaf", kError},
};

struct Inclusion : ::testing::TestWithParam<Case> {};

TEST_P(Inclusion, Apply)
{
    const Case &c = GetParam();
    char pattern[] = "/tmp/zulincXXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    auto fill = [&](std::string t) {
        for (size_t at; (at = t.find('%')) != std::string::npos;)
            t.replace(at, 1, pattern);
        return t;
    };
    Sink sink;
    ASSERT_EQ(RAS1_RegisterStore("TEST", 4, &sink, Sink::Write, RAS1_ANY), 0);
    for (const auto &[name, text] : c.files) {
        const std::string path = std::string(pattern) + "/" + name;
        if (text == "fifo:" || text == "dir:")
            ASSERT_EQ(text == "dir:" ? mkdir(path.c_str(), 0700) : mkfifo(path.c_str(), 0600), 0);
        else
            std::ofstream(path, std::ios::binary) << fill(text);
    }
    std::string text = fill(c.text);
    EXPECT_EQ(RAS1_InterpretString(text.data(), uint32_t(text.size())), c.status);
    std::string messages;
    for (const auto &line : SplitLines(AfterOpening(sink.Text())))
        if (size_t at = line.find(",\"ParseExpression\") "); at != std::string::npos)
            messages += (messages.empty() ? "" : "\n") + line.substr(at + 20);
    EXPECT_EQ(messages, fill(c.message));
    EXPECT_EQ(DefaultClass(), c.defaultClass);
    std::filesystem::remove_all(pattern);
}

INSTANTIATE_TEST_SUITE_P(Files, Inclusion, ::testing::ValuesIn(kCases),
                         [](const auto &info) { return std::string(info.param.name); });

} // namespace
