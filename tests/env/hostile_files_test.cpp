// Environment files that would keep the reading going or change what a
// line means: files that include themselves, endless and special files,
// files beyond the bound, zero bytes inside a line, many names.  Each case
// runs the probe in a fresh process and a prepared directory.
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>

#include <gtest/gtest.h>

#include "envtest.h"

using std::nullopt;
using std::optional;
using std::string;

namespace {

// Files by name ("fifo:" makes a FIFO, "dir:" a directory, "link:T" a
// symbolic link to T), the process environment, and the lookups expected;
// "$D" stands for the directory.
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

// Runs each case; gives what the last one found.
envtest::Values RunAll(const std::vector<Case> &cases)
{
    envtest::Values out;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        envtest::Dir dir;
        const string d = dir.path.string();
        for (const auto &[name, text] : c.files) {
            const string path = d + "/" + name;
            if (text == "fifo:" || text == "dir:")
                EXPECT_EQ(text == "dir:" ? mkdir(path.c_str(), 0700) : mkfifo(path.c_str(), 0600), 0);
            else if (text.rfind("link:", 0) == 0)
                EXPECT_EQ(symlink(Sub(text.substr(5), d).c_str(), path.c_str()), 0);
            else
                dir.File(name, Sub(text, d));
        }
        std::vector<string> env, names;
        for (const auto &e : c.env)
            env.push_back(Sub(e, d));
        for (const auto &e : c.expect)
            names.push_back(e.first);
        int status;
        out = envtest::Probe(d, env, names, &status);
        EXPECT_EQ(status, 0);
        for (const auto &[name, value] : c.expect)
            EXPECT_EQ(out[name], value ? optional(Sub(*value, d)) : nullopt) << name;
    }
    return out;
}

string Repeat(const string &line, int times)
{
    string out;
    while (times-- > 0)
        out += line;
    return out;
}

TEST(EnvHostileFiles, AFileAlreadyBeingReadIsNotReadAgain)
{
    // A file naming itself K times was read 1 + K + ... + K^8 times.
    std::vector<Case> cases;
    for (int k = 1; k <= 6; k++)
        cases.push_back({"K lines naming the file itself",
                         {{"ZULENV", "A=1\n" + Repeat("ZUL_ENVPATH=$D/ZULENV\n", k) + "AFTER=yes\n"}}, {},
                         {{"A", "1"}, {"AFTER", "yes"}, {"ZUL_ENVPATH", "ZULENV"}}});
    cases.push_back({"the same file under other names",
                     {{"ZULENV", "ZUL_ENVPATH=./ZULENV\nZUL_ENVPATH=alias\nZUL_ENVPATH=$D/a\nA=1\n"},
                      {"alias", "link:$D/ZULENV"}, {"a", "ZUL_ENVPATH=$D/alias\nZUL_ENVPATH=$D/b\n"},
                      {"b", "B=1\nZUL_ENVPATH=$D/a\nZUL_ENVPATH=ZULENV\n"}}, {},
                     {{"A", "1"}, {"B", "1"}, {"ZUL_ENVPATH", "ZULENV $D/a $D/b"}}});
    cases.push_back({"a file whose reading ended is read again",
                     {{"ZULENV", "ZUL_ENVPATH=$D/c\nX=mid\nZUL_ENVPATH=$D/c\n"}, {"c", "X=c\n"}}, {"ZUL_ENVFILE=$D/c"},
                     {{"X", "c"}, {"ZUL_ENVPATH", "ZULENV $D/c $D/c $D/c"}}});
    RunAll(cases);
}

TEST(EnvHostileFiles, TheWholeReadingIsBounded)
{
    // Eight files, each naming the next 20 times: 20^7 readings of the
    // last one without a bound.  The first 256 files are read, in order.
    Case c{"", {{"ZULENV", "ZUL_ENVPATH=$D/f1\nAFTER=yes\n"}, {"f8", "X=1\n"}}, {}, {{"X", "1"}, {"AFTER", "yes"}}};
    string paths = "ZULENV";
    int count = 1;
    std::function<void(int)> visit = [&](int i) {
        if (count == 256)
            return;
        paths += " $D/f" + std::to_string(i), count++;
        for (int n = 0; i < 8 && n < 20; n++)
            visit(i + 1);
    };
    visit(1);
    c.expect.push_back({"ZUL_ENVPATH", paths});
    for (int i = 1; i < 8; i++)
        c.files.push_back({"f" + std::to_string(i), Repeat("ZUL_ENVPATH=$D/f" + std::to_string(i + 1) + "\n", 20)});
    RunAll({c});
}

TEST(EnvHostileFiles, OnlyRegularFilesAreRead)
{
    const string zulenv = "FROM=zulenv\n";
    RunAll({
        {"/dev/zero first", {{"ZULENV", zulenv}}, {"ZUL_ENVPATH=/dev/zero"}, {{"FROM", "zulenv"}}},
        {"a FIFO first", {{"ZULENV", zulenv}, {"p", "fifo:"}}, {"ZUL_ENVPATH=$D/p"}, {{"FROM", "zulenv"}}},
        {"a directory first", {{"ZULENV", zulenv}, {"d", "dir:"}}, {"ZUL_ENVPATH=$D/d"}, {{"FROM", "zulenv"}}},
        {"special further files", {{"ZULENV", zulenv}, {"p", "fifo:"}}, {"ZUL_ENVFILE=/dev/zero", "ZUL_ENVFILE_=$D/p"},
         {{"FROM", "zulenv"}}},
        {"special files included",
         {{"ZULENV", "ZUL_ENVPATH=/dev/zero\nZUL_ENVPATH=$D/p\nZUL_ENVPATH=$D/d\nAFTER=yes\n"}, {"p", "fifo:"},
          {"d", "dir:"}}, {}, {{"AFTER", "yes"}, {"ZUL_ENVPATH", "ZULENV"}}},
    });
}

TEST(EnvHostileFiles, OneFileGivesAtMostItsBound)
{
    // What lies behind 1 MiB of a file, and a line across it, is not read;
    // the files after it are.
    const string filler = Repeat(string(1023, '#') + "\n", 1024);
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
    // The zero and the rest of its physical line are dropped, wherever the
    // line crosses the 256-byte reads.
    const string z(1, '\0'), rest = "B=evil\nC=ok\n";
    const std::vector<std::pair<string, optional<string>>> none = {{"B", nullopt}, {"C", "ok"}};
    RunAll({
        {"across the first read", {{"ZULENV", "A=xxxxxxxxxx" + z + string(242, 'y') + rest}}, {}, none},
        {"across a later read", {{"ZULENV", "A=" + string(300, 'x') + z + string(300, 'y') + rest}}, {}, none},
        {"in a short line", {{"ZULENV", "A=x" + z + rest}}, {}, {{"A", "x"}, {"B", nullopt}}},
        {"first in a line", {{"ZULENV", z + rest}}, {}, none},
    });
}

TEST(EnvHostileFiles, WhatIsPassedOverIsTraced)
{
    envtest::Dir dir;
    const string d = dir.path.string();
    dir.File("ZULENV", "ZUL_ENVPATH=ZULENV\nA=1\n");
    ASSERT_EQ(mkdir((d + "/d").c_str(), 0700), 0);
    int status;
    envtest::Probe(d, {"ZUL_ENVPATH=" + d + "/d", "ZUL_RAS1=ERROR>" + d + "/log"}, {"A"}, &status);
    ASSERT_EQ(status, 0);
    std::stringstream log;
    log << std::ifstream(d + "/log").rdbuf();
    EXPECT_NE(log.str().find("Environment file not read, not a regular file: " + d + "/d\n"), string::npos);
    EXPECT_NE(log.str().find("Environment file not read, already being read: ZULENV\n"), string::npos);
}

TEST(EnvHostileFiles, ManyNamesRedefinedAndRemoved)
{
    // Enough names to make the reading's index grow several times, with
    // removals leaving gravestones that later definitions take up.
    const int n = 3000;
    Case c{"", {{"ZULENV", ""}}, {}, {}};
    for (int i = 0; i < n; i++)
        c.files[0].second += "N" + std::to_string(i) + "=" + std::to_string(i) + "\n";
    for (int i = 0; i < n; i += 3)
        c.files[0].second += "n" + std::to_string(i) + "=\n";
    for (int i = 0; i < n; i += 5)
        c.files[0].second += "N" + std::to_string(i) + "=again\n";
    for (int k = 1; k < n; k += 97)
        c.expect.push_back({"N" + std::to_string(k), k % 5 == 0   ? optional<string>("again")
                                                     : k % 3 == 0 ? nullopt
                                                                  : optional(std::to_string(k))});
    RunAll({c});
}

} // namespace
