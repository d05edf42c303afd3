// Environment files that would keep the reading going or change what a
// line means: files that include themselves, endless and special files,
// files beyond the bound, zero bytes inside a line.  Each case runs the
// probe in a fresh process and a prepared directory.
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "envtest.h"

using envtest::Dir;
using envtest::Probe;
using std::nullopt;
using std::optional;
using std::string;

namespace {

// A prepared directory: files by name, where a text "fifo:" makes a FIFO,
// "dir:" a directory and "link:T" a symbolic link to T; then the process
// environment and the lookups expected.  "$D" stands for the directory.
struct Case {
    const char *what;
    std::vector<std::pair<string, string>> files;
    std::vector<string> env;
    std::vector<std::pair<string, optional<string>>> expect;
};

string Sub(string text, const string &dir)
{
    for (size_t at; (at = text.find("$D")) != string::npos;)
        text.replace(at, 2, dir);
    return text;
}

void Prepare(const Dir &dir, const std::vector<std::pair<string, string>> &files)
{
    const string d = dir.path.string();
    for (const auto &[name, text] : files) {
        const string path = d + "/" + name;
        if (text == "fifo:")
            ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        else if (text == "dir:")
            ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
        else if (text.rfind("link:", 0) == 0)
            ASSERT_EQ(symlink(Sub(text.substr(5), d).c_str(), path.c_str()), 0);
        else
            dir.File(name, Sub(text, d));
    }
}

void RunAll(const std::vector<Case> &cases)
{
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        Dir dir;
        Prepare(dir, c.files);
        const string d = dir.path.string();
        std::vector<string> env, names;
        for (const auto &e : c.env)
            env.push_back(Sub(e, d));
        for (const auto &e : c.expect)
            names.push_back(e.first);
        int status;
        auto out = Probe(d, env, names, &status);
        ASSERT_EQ(status, 0);
        for (const auto &e : c.expect)
            EXPECT_EQ(out[e.first], e.second ? optional(Sub(*e.second, d)) : nullopt) << e.first;
    }
}

string Repeat(const string &line, int times)
{
    string out;
    for (int i = 0; i < times; i++)
        out += line;
    return out;
}

TEST(EnvHostileFiles, AFileAlreadyBeingReadIsNotReadAgain)
{
    // A file naming itself K times was read 1 + K + K^2 + ... + K^8 times.
    std::vector<Case> cases;
    for (int k = 1; k <= 6; k++)
        cases.push_back({"K lines naming the file itself",
                         {{"ZULENV", "A=1\n" + Repeat("ZUL_ENVPATH=$D/ZULENV\n", k) + "AFTER=yes\n"}},
                         {},
                         {{"A", "1"}, {"AFTER", "yes"}, {"ZUL_ENVPATH", "ZULENV"}}});
    cases.push_back({"the same file under other names",
                     {{"ZULENV", "ZUL_ENVPATH=./ZULENV\nZUL_ENVPATH=alias\nZUL_ENVPATH=$D/a\nA=1\n"},
                      {"alias", "link:$D/ZULENV"},
                      {"a", "ZUL_ENVPATH=$D/alias\nZUL_ENVPATH=$D/b\n"},
                      {"b", "B=1\nZUL_ENVPATH=$D/a\nZUL_ENVPATH=ZULENV\n"}},
                     {},
                     {{"A", "1"}, {"B", "1"}, {"ZUL_ENVPATH", "ZULENV $D/a $D/b"}}});
    cases.push_back({"a file read again after it ended is read",
                     {{"ZULENV", "ZUL_ENVPATH=$D/c\nX=mid\nZUL_ENVPATH=$D/c\n"}, {"c", "X=c\n"}},
                     {"ZUL_ENVFILE=$D/c"},
                     {{"X", "c"}, {"ZUL_ENVPATH", "ZULENV $D/c $D/c $D/c"}}});
    RunAll(cases);
}

TEST(EnvHostileFiles, TheWholeReadingIsBounded)
{
    // Eight files, each naming the next 20 times: 20^7 readings of the
    // last one without a bound on the files read in all.
    Dir dir;
    std::vector<std::pair<string, string>> files;
    for (int i = 1; i < 8; i++)
        files.push_back({"f" + std::to_string(i), Repeat("ZUL_ENVPATH=$D/f" + std::to_string(i + 1) + "\n", 20)});
    files.push_back({"f8", "X=1\n"});
    files.push_back({"ZULENV", "ZUL_ENVPATH=$D/f1\nAFTER=yes\n"});
    Prepare(dir, files);
    int status;
    auto out = Probe(dir.path, {}, {"X", "AFTER", "ZUL_ENVPATH"}, &status);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(out["X"], "1");
    EXPECT_EQ(out["AFTER"], "yes");
    std::istringstream words(out["ZUL_ENVPATH"].value_or(""));
    size_t count = 0;
    for (string w; words >> w;)
        count++;
    EXPECT_EQ(count, 256u);
}

TEST(EnvHostileFiles, OnlyRegularFilesAreRead)
{
    const string zulenv = "FROM=zulenv\n";
    RunAll({
        {"/dev/zero as the first candidate", {{"ZULENV", zulenv}}, {"ZUL_ENVPATH=/dev/zero"}, {{"FROM", "zulenv"}}},
        {"a FIFO as the first candidate", {{"ZULENV", zulenv}, {"fifo", "fifo:"}}, {"ZUL_ENVPATH=$D/fifo"},
         {{"FROM", "zulenv"}}},
        {"a directory as the first candidate", {{"ZULENV", zulenv}, {"dir", "dir:"}}, {"ZUL_ENVPATH=$D/dir"},
         {{"FROM", "zulenv"}}},
        {"special files as further files", {{"ZULENV", zulenv}, {"fifo", "fifo:"}},
         {"ZUL_ENVFILE=/dev/zero", "ZUL_ENVFILE_=$D/fifo"}, {{"FROM", "zulenv"}}},
        {"special files included",
         {{"ZULENV", "ZUL_ENVPATH=/dev/zero\nZUL_ENVPATH=$D/fifo\nZUL_ENVPATH=$D/dir\nAFTER=yes\n"},
          {"fifo", "fifo:"}, {"dir", "dir:"}},
         {},
         {{"AFTER", "yes"}, {"ZUL_ENVPATH", "ZULENV"}}},
    });
}

TEST(EnvHostileFiles, OneFileGivesAtMostItsBound)
{
    // 1 MiB and a little: what lies behind the bound, and a line that
    // crosses it, are not read; the files after it are.
    const string filler = Repeat(Repeat("#", 1023) + "\n", 1024);
    RunAll({
        {"definitions behind the bound", {{"big", "A=1\n" + filler + "B=2\n"}, {"next", "C=3\n"}},
         {"ZUL_ENVFILE=$D/big", "ZUL_ENVFILE_=$D/next"},
         {{"A", "1"}, {"B", nullopt}, {"C", "3"}, {"ZUL_ENVPATH", "$D/big $D/next"}}},
        {"a line across the bound", {{"ZULENV", "A=1\n" + filler.substr(0, (1 << 20) - 1024) + "L=" + string(2000, 'x') + "\n"}},
         {}, {{"A", "1"}, {"L", nullopt}}},
    });
}

TEST(EnvHostileFiles, AZeroByteNeverStartsALine)
{
    // The zero and the rest of its physical line are dropped; the line
    // ends at its line feed wherever the zero stands.
    const string z(1, '\0');
    RunAll({
        {"across the first read", {{"ZULENV", "A=xxxxxxxxxx" + z + string(242, 'y') + "B=evil\nC=ok\n"}}, {},
         {{"A", "xxxxxxxxxx"}, {"B", nullopt}, {"C", "ok"}}},
        {"across a later read", {{"ZULENV", "A=" + string(300, 'x') + z + string(300, 'y') + "B=evil\nC=ok\n"}},
         {}, {{"A", string(300, 'x')}, {"B", nullopt}, {"C", "ok"}}},
        {"in a short line", {{"ZULENV", "A=x" + z + "B=evil\nC=ok\n"}}, {}, {{"A", "x"}, {"B", nullopt}, {"C", "ok"}}},
        {"first in a line", {{"ZULENV", z + "B=evil\nC=ok\n"}}, {}, {{"B", nullopt}, {"C", "ok"}}},
    });
}

TEST(EnvHostileFiles, WhatIsPassedOverIsTraced)
{
    Dir dir;
    const string d = dir.path.string();
    Prepare(dir, {{"ZULENV", "ZUL_ENVPATH=ZULENV\nA=1\n"}, {"dir", "dir:"}});
    int status;
    auto out = Probe(d, {"ZUL_ENVPATH=" + d + "/dir", "ZUL_RAS1=ERROR>" + d + "/log"}, {"A"}, &status);
    ASSERT_EQ(status, 0);
    EXPECT_EQ(out["A"], "1");
    std::stringstream log;
    log << std::ifstream(d + "/log").rdbuf();
    EXPECT_NE(log.str().find("Environment file not read, not a regular file: " + d + "/dir\n"), string::npos);
    EXPECT_NE(log.str().find("Environment file not read, already being read: ZULENV\n"), string::npos);
}

TEST(EnvHostileFiles, ManyNamesRedefinedAndRemoved)
{
    // Enough names to make the reading's index grow several times, with
    // removals leaving gravestones that later definitions take up.
    const int n = 3000;
    string text;
    for (int i = 0; i < n; i++)
        text += "N" + std::to_string(i) + "=" + std::to_string(i) + "\n";
    for (int i = 0; i < n; i += 3)
        text += "n" + std::to_string(i) + "=\n";
    for (int i = 0; i < n; i += 5)
        text += "N" + std::to_string(i) + "=again\n";
    Dir dir;
    dir.File("ZULENV", text);
    std::vector<string> names;
    for (int i = 0; i < 30; i++)
        names.push_back("N" + std::to_string(i * 97 + 1));
    auto out = Probe(dir.path, {}, names);
    for (int i = 0; i < 30; i++) {
        int k = i * 97 + 1;
        optional<string> want = k % 5 == 0 ? optional<string>("again")
                                : k % 3 == 0 ? nullopt
                                             : optional(std::to_string(k));
        EXPECT_EQ(out[names[i]], want) << names[i];
    }
}

} // namespace
