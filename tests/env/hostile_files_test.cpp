// Environment files that would keep the reading going or change what a
// line means: files that include themselves, endless and special files,
// files beyond the bound, zero bytes inside a line.  Each case
// runs the probe in a fresh process and a prepared directory.
#include <sys/stat.h>
#include <unistd.h>

#include "envtest.h"

#include <gtest/gtest.h>

using std::optional;
using std::string;

namespace {

// Files by name ("fifo:" makes a FIFO, "dir:" a directory, "link:T" a
// symbolic link to T), the process environment, and the lookups expected
// (nullopt: no value, "*": any); "$D" stands for the directory.
struct Case { const char *what; std::vector<std::pair<string, string>> files; std::vector<string> env;
              std::vector<std::pair<string, optional<string>>> expect; };

string Sub(string text, const string &dir)
{
    for (size_t at; (at = text.find("$D")) != string::npos;)
        text.replace(at, 2, dir);
    return text;
}

// Runs each case; gives what the last one found.
envtest::Values RunAll(const std::vector<Case> &cases)
{
    envtest::Values out;
    for (const auto &c : cases) {
        envtest::Dir dir;
        const string d = dir.path.string();
        std::vector<string> env, names;
        int status;
        for (const auto &[name, text] : c.files) {
            const string path = d + "/" + name;
            if (text == "fifo:" || text == "dir:")
                EXPECT_EQ(text == "dir:" ? mkdir(path.c_str(), 0700) : mkfifo(path.c_str(), 0600), 0);
            else if (text.rfind("link:", 0) == 0)
                EXPECT_EQ(symlink(Sub(text.substr(5), d).c_str(), path.c_str()), 0);
            else
                dir.File(name, Sub(text, d));
        }
        for (const auto &e : c.env)
            env.push_back(Sub(e, d));
        for (const auto &e : c.expect)
            names.push_back(e.first);
        out = envtest::Probe(d, env, names, &status);
        EXPECT_EQ(status, 0) << c.what;
        for (const auto &[name, value] : c.expect)
            if (value != "*")
                EXPECT_EQ(out[name], value ? optional(Sub(*value, d)) : std::nullopt) << c.what << ": " << name;
    }
    return out;
}

string Repeat(const string &line, int times) { string out; while (times-- > 0) out += line; return out; }

// A file naming itself 6 times would be read 1 + 6 + ... + 6^8 times; a
// file reached under other names is one file; a file whose reading ended
// may be read again.  Eight files each naming the next 20 times stop at
// the 256th reading, and the reading goes on after it.
TEST(EnvHostileFiles, AFileAlreadyBeingReadIsNotReadAgainAndTheWholeReadingIsBounded)
{
    RunAll({
        {"6 lines naming the file itself", {{"ZULENV", "A=1\n" + Repeat("ZUL_ENVPATH=$D/ZULENV\n", 6) + "AFTER=yes\n"}}, {},
         {{"A", "1"}, {"AFTER", "yes"}, {"ZUL_ENVPATH", "ZULENV"}}},
        {"the same file under other names",
         {{"ZULENV", "ZUL_ENVPATH=./ZULENV\nZUL_ENVPATH=alias\nZUL_ENVPATH=$D/a\nA=1\n"}, {"alias", "link:$D/ZULENV"},
          {"a", "ZUL_ENVPATH=$D/alias\nZUL_ENVPATH=$D/b\n"}, {"b", "B=1\nZUL_ENVPATH=$D/a\nZUL_ENVPATH=ZULENV\n"}},
         {}, {{"A", "1"}, {"B", "1"}, {"ZUL_ENVPATH", "ZULENV $D/a $D/b"}}},
        {"a file whose reading ended is read again", {{"ZULENV", "ZUL_ENVPATH=$D/c\nX=mid\nZUL_ENVPATH=$D/c\n"}, {"c", "X=c\n"}},
         {"ZUL_ENVFILE=$D/c"}, {{"X", "c"}, {"ZUL_ENVPATH", "ZULENV $D/c $D/c $D/c"}}},
    });
    Case bound{"256 readings", {{"ZULENV", "ZUL_ENVPATH=$D/f1\nAFTER=yes\n"}}, {}, {{"AFTER", "yes"}, {"ZUL_ENVPATH", "*"}}};
    for (int i = 1; i < 8; i++)
        bound.files.push_back({"f" + std::to_string(i), Repeat("ZUL_ENVPATH=$D/f" + std::to_string(i + 1) + "\n", 20)});
    const string paths = RunAll({bound})["ZUL_ENVPATH"].value_or("");
    EXPECT_EQ(std::count(paths.begin(), paths.end(), ' '), 255);
}

// /dev/zero, a FIFO and a directory are passed over whether they come
// first, as further files or included.
TEST(EnvHostileFiles, OnlyRegularFilesAreRead)
{
    RunAll({
        {"/dev/zero first, special further files", {{"ZULENV", "FROM=zulenv\n"}, {"p", "fifo:"}, {"d", "dir:"}},
         {"ZUL_ENVPATH=/dev/zero", "ZUL_ENVFILE=$D/p", "ZUL_ENVFILE_=$D/d"}, {{"FROM", "zulenv"}}},
        {"special files included",
         {{"ZULENV", "ZUL_ENVPATH=/dev/zero\nZUL_ENVPATH=$D/p\nZUL_ENVPATH=$D/d\nAFTER=yes\n"}, {"p", "fifo:"},
          {"d", "dir:"}}, {}, {{"AFTER", "yes"}, {"ZUL_ENVPATH", "ZULENV"}}},
    });
}

// What lies behind 1 MiB of a file, and a line across it, is not read;
// the files after it are.
TEST(EnvHostileFiles, OneFileGivesAtMostItsBound)
{
    const string filler = Repeat(string(1023, '#') + "\n", 1024);
    RunAll({
        {"definitions behind the bound", {{"big", "A=1\n" + filler + "B=2\n"}, {"next", "C=3\n"}},
         {"ZUL_ENVFILE=$D/big", "ZUL_ENVFILE_=$D/next"},
         {{"A", "1"}, {"B", std::nullopt}, {"C", "3"}, {"ZUL_ENVPATH", "$D/big $D/next"}}},
        {"a line across the bound", {{"ZULENV", "A=1\n" + filler.substr(0, (1 << 20) - 1024) + "L=" + string(2000, 'x') + "\n"}},
         {}, {{"A", "1"}, {"L", std::nullopt}}},
    });
}

// A zero byte ends its line: the zero and the rest of its physical line are
// dropped, wherever the line crosses the 256-byte reads.
TEST(EnvHostileFiles, AZeroByteNeverStartsALine)
{
    const string z(1, '\0'), rest = "B=evil\nC=ok\n";
    const std::vector<std::pair<string, optional<string>>> none = {{"B", std::nullopt}, {"C", "ok"}};
    RunAll({
        {"across the first read", {{"ZULENV", "A=xxxxxxxxxx" + z + string(242, 'y') + rest}}, {}, none},
        {"across a later read", {{"ZULENV", "A=" + string(300, 'x') + z + string(300, 'y') + rest}}, {}, none},
        {"first in a line, and in a short line", {{"ZULENV", z + "B=evil\nA=x" + z + "D=evil\nC=ok\n"}}, {},
         {{"A", "x"}, {"B", std::nullopt}, {"D", std::nullopt}, {"C", "ok"}}},
    });
}

} // namespace
