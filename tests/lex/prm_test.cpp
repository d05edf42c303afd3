// Parameter files: logical lines from file contents in a table, standard
// input, and the failures of opening, reading and memory.
#include <zul/prm1.h>
#include "lextest.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

// A file with the given bytes, removed again at the end of the test.
struct TempFile {
    std::string path;
    explicit TempFile(const std::string &content)
    {
        char name[] = "/tmp/zul_prm_XXXXXX";
        int fd = mkstemp(name);
        EXPECT_GE(fd, 0);
        path = name;
        EXPECT_EQ(write(fd, content.data(), content.size()), static_cast<ssize_t>(content.size()));
        close(fd);
    }
    ~TempFile() { unlink(path.c_str()); }
};

// Every read up to the first result of 1, as "result number text" joined
// by " | "; `number` carries over from read to read.
std::string ReadAll(ZULPM_file_t *file)
{
    std::string out;
    uint32_t number = 0;
    for (int i = 0; i < 20; ++i) {
        char *line = nullptr;
        uint32_t length = 77;
        int result = PRM1_ReadFile(file, &line, &length, &number);
        if (!out.empty())
            out += " | ";
        out += std::to_string(result) + " " + std::to_string(number) + " " +
               std::string(line != nullptr ? line : "", length);
        if (line != nullptr)
            EXPECT_EQ(line[length], '\0');
        if (result != 0)
            break;
    }
    return out;
}

struct FileCase {
    const char *name;
    std::string content;
    std::string lines;
};
void PrintTo(const FileCase &c, std::ostream *os) { *os << c.name; }


class Lines : public ::testing::TestWithParam<FileCase> {};

TEST_P(Lines, ReadAsExpected)
{
    TempFile f(GetParam().content);
    ZULPM_file_t *file = nullptr;
    ASSERT_EQ(PRM1_OpenFile(&file, f.path.c_str()), 0);
    EXPECT_EQ(ReadAll(file), GetParam().lines);
    EXPECT_EQ(PRM1_CloseFile(file), 0);
}

const std::string kLong(1000, 'x');

INSTANTIATE_TEST_SUITE_P(
    Files, Lines,
    ::testing::Values(
        FileCase{"Empty", "", "1 0 "},
        FileCase{"BlankLinesSkipped", "\n  \t\nabc\n\nxyz\n", "0 3 abc | 0 5 xyz | 1 5 "},
        FileCase{"TrailingSpaceTrimmed", "a b \t\r\n  c\n", "0 1 a b | 0 2   c | 1 2 "},
        FileCase{"Continued", "a\\\nb\nc\n", "0 1 ab | 0 3 c | 1 3 "},
        FileCase{"ContinuedKeepsLeadingSpace", "a\\\n  b\n", "0 1 a  b | 1 1 "},
        FileCase{"ContinuedPastBlanks", "a\\   \nb\n", "0 1 ab | 1 1 "},
        FileCase{"ContinuedIntoBlank", "a\\\n\nb\n", "0 1 a | 0 3 b | 1 3 "},
        FileCase{"EvenBackslashesStay", "a\\\\\nb\n", "0 1 a\\\\ | 0 2 b | 1 2 "},
        FileCase{"OddBackslashesContinue", "a\\\\\\\nb\n", "0 1 a\\\\b | 1 1 "},
        FileCase{"BackslashInsideIsText", "a\\b\n", "0 1 a\\b | 1 1 "},
        FileCase{"ContinuationAtEnd", "a\\\n", "0 1 a | 1 1 "},
        FileCase{"LastLineUntrimmed", "x\nlast  ", "0 1 x | 0 1 last   | 1 1 "},
        FileCase{"LongLineIsOneLine", kLong + "\nb\n", "0 1 " + kLong + " | 0 2 b | 1 2 "},
        FileCase{"ZeroBytesKept", std::string("a\0b\n", 4), std::string("0 1 a\0b | 1 1 ", 14)}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(ParameterFile, StandardInputStaysOpen)
{
    TempFile f("one\ntwo\n");
    ASSERT_NE(freopen(f.path.c_str(), "r", stdin), nullptr);
    ZULPM_file_t *file = nullptr;
    ASSERT_EQ(PRM1_OpenFile(&file, nullptr), 0);
    char *line;
    uint32_t length;
    ASSERT_EQ(PRM1_ReadFile(file, &line, &length, nullptr), 0);
    EXPECT_EQ(std::string(line, length), "one");
    EXPECT_EQ(PRM1_CloseFile(file), 0);
    char rest[8] = {};
    ASSERT_NE(fgets(rest, sizeof rest, stdin), nullptr);
    EXPECT_STREQ(rest, "two\n");
}

TEST(ParameterFile, FailuresAreNumbers)
{
    ZULPM_file_t *file = reinterpret_cast<ZULPM_file_t *>(1);
    EXPECT_EQ(PRM1_OpenFile(&file, "/nonexistent/zul/params"), 1);
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(PRM1_OpenFile(nullptr, "/dev/null"), 1);
    EXPECT_EQ(PRM1_CloseFile(nullptr), 1);
    char *line;
    uint32_t length;
    EXPECT_EQ(PRM1_ReadFile(nullptr, &line, &length, nullptr), 1);

    TempFile f(std::string(300, 'y') + "\nz\n");
    FailAllocAfter(1);
    EXPECT_EQ(PRM1_OpenFile(&file, f.path.c_str()), 2);
    EXPECT_EQ(file, nullptr);
    FailAllocAfter(0);

    // The first enlargement fails: no text at all.  A later one: what was
    // read so far comes back with result 1.
    ASSERT_EQ(PRM1_OpenFile(&file, f.path.c_str()), 0);
    FailAllocAfter(1);
    EXPECT_EQ(PRM1_ReadFile(file, &line, &length, nullptr), 1);
    EXPECT_EQ(line, nullptr);
    EXPECT_EQ(length, 0u);
    FailAllocAfter(2);
    EXPECT_EQ(PRM1_ReadFile(file, &line, &length, nullptr), 1);
    FailAllocAfter(0);
    EXPECT_EQ(length, 255u);
    EXPECT_EQ(std::string(line, length), std::string(255, 'y'));
    EXPECT_EQ(PRM1_CloseFile(file), 0);
}

} // namespace
