// Environment files: line syntax, definitions, candidates, includes and
// precedence, each case in a fresh probe process; the program's short name
// and the system table that names a program's environment file.
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <zul/bss1.h>
#include <zul/ras1.h>

#include "bss/zulssenv.h" // the system table's reader: its file is fixed at build time
#include "envtest.h"

using envtest::Dir;
using envtest::Probe;
using std::nullopt;
using std::optional;
using std::string;

namespace {

// One prepared directory: ./ZULENV (none when null), further files and the
// process environment; "$D" in any text stands for the directory.
struct Case {
    const char *what;
    const char *zulenv;
    std::vector<std::pair<string, string>> files;
    std::vector<string> env;
    std::vector<std::pair<string, optional<string>>> expect;
};
using Expect = decltype(Case::expect);

string Sub(string text, const string &dir)
{
    for (size_t at; (at = text.find("$D")) != string::npos;)
        text.replace(at, 2, dir);
    return text;
}

void RunCases(const std::vector<Case> &cases)
{
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        Dir dir;
        const string d = dir.path.string();
        if (c.zulenv)
            dir.File("ZULENV", Sub(c.zulenv, d));
        for (const auto &f : c.files)
            dir.File(f.first, Sub(f.second, d));
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

TEST(EnvFiles, LineSyntax)
{
    auto one = [](const char *what, const char *file, Expect expect) { return Case{what, file, {}, {}, expect}; };
    RunCases({
        one("redefinition moves, empty value removes", "A=1\nB=2\nA=3\nB=\n", {{"A", "3"}, {"B", nullopt}}),
        one("white space around name and value", "  NAME \t =   value  \n", {{"NAME", "value"}}),
        one("only the first token is the name", "TWO WORDS=x\n", {{"TWO", "x"}, {"WORDS", nullopt}}),
        one("carriage return is white space", "W=v\r\nX=w \r\n", {{"W", "v"}, {"X", "w"}}),
        one("blanks stay on a last line without line feed", "A=1\nX=a  ", {{"A", "1"}, {"X", "a  "}}),
        one("backslash on a last line without line feed stays", "X=a\\", {{"X", "a\\"}}),
        one("one backslash joins the next line", "J=one\\\ntwo\nK=3\n", {{"J", "onetwo"}, {"K", "3"}}),
        one("two backslashes stay and end the line", "J=two\\\\\nK=3\n", {{"J", "two\\\\"}, {"K", "3"}}),
        one("three backslashes keep two and join", "J=a\\\\\\\nb\n", {{"J", "a\\\\b"}}),
        one("a backslash before blanks still joins", "J=a\\   \n  b\n", {{"J", "a  b"}}),
        one("continuation into end of file", "J=x\\\n", {{"J", "x"}}),
        one("a blank line ends a continued line", "J=a\\\n\nK=1\n", {{"J", "a"}, {"K", "1"}}),
        one("a value keeps quotes, escapes and =", "Q=\"a\\tb\" = $HOME\n", {{"Q", "\"a\\tb\" = $HOME"}}),
        one("a comment with = defines its first word", "# note=x\n", {{"#", "x"}}),
        one("no name before = is ignored", "=value\n  =x\n=\nA=1\n", {{"A", "1"}}),
        one("names match in any mix of case", "myPath=/x\n", {{"MYPATH", "/x"}, {"mypath", "/x"}}),
        one("names of other length never match", "AB=1\n", {{"A", nullopt}, {"ABC", nullopt}}),
        one("a blank value is no value", "A=1\nA=   \n", {{"A", nullopt}}),
        // Alternatives: each part is cut to its first token; the first
        // that has a value wins.
        one("A=B alternatives", "A=1\nB=2\n",
            {{"A=B", "1"}, {"NOPE=B", "2"}, {"A=", "1"}, {"NOPE=", nullopt}, {"", nullopt}, {"=B", "2"},
             {"NOPE=NADA=A", "1"}, {"  A  ", "1"}, {"NOPE=  B  ", "2"}, {"==", nullopt}, {"A B=NOPE", "1"}}),
        one("BSS1_GetEnv gives value or fallback", "SET=v\n",
            {{"@getenv:SET:fb", "v"}, {"@getenv:UNSET:fb", "fb"}, {"@getenv:UNSET", nullopt},
             {"@getenv:NOPE=SET:fb", "v"}}),
    });
}

TEST(EnvFiles, LongLinesGrowTheBuffer)
{
    // Lines longer than a small buffer, and a long line continued over one
    // as long.
    for (size_t length : {255u, 256u, 257u, 1000u, 4000u}) {
        SCOPED_TRACE(length);
        Dir dir;
        string value(length - 5, 'v');
        value.back() = 'z';
        dir.File("ZULENV", "LONG=" + value + "\nNEXT=1\nLAST=" + value + "\\\n" + value);
        auto out = Probe(dir.path, {}, {"LONG", "NEXT", "LAST"});
        EXPECT_EQ(out["LONG"], value);
        EXPECT_EQ(out["NEXT"], "1");
        EXPECT_EQ(out["LAST"], value + value);
    }
}

TEST(EnvFiles, CandidatesAndPrecedence)
{
    const char *E = "FROM=envpath\n", *Z = "FROM=zulenv\nZULENV_ONLY=1\n", *V = "FROM=vnosdefn\nVNOSDEFN_ONLY=1\n";
    RunCases({
        {"ZUL_ENVPATH first, the others not looked at", Z, {{"chosen", E}, {"VNOSDEFN", V}},
         {"ZUL_ENVPATH=$D/chosen"}, {{"FROM", "envpath"}, {"ZULENV_ONLY", nullopt}, {"VNOSDEFN_ONLY", nullopt}}},
        {"a missing ZUL_ENVPATH falls to ZULENV, before VNOSDEFN", Z, {{"VNOSDEFN", V}},
         {"ZUL_ENVPATH=$D/chosen"}, {{"FROM", "zulenv"}, {"VNOSDEFN_ONLY", nullopt}}},
        {"VNOSDEFN last", nullptr, {{"VNOSDEFN", V}}, {}, {{"FROM", "vnosdefn"}}},
        {"none at all", nullptr, {}, {}, {{"FROM", nullopt}}},
        {"the process environment goes first", "SHARED=file\nONLYFILE=f\n", {},
         {"SHARED=host", "ONLYHOST=h"}, {{"SHARED", "host"}, {"ONLYFILE", "f"}, {"ONLYHOST", "h"}}},
        {"ZUL_IGNOREHOSTENVIRONMENT from any file", "SHARED=file\n",
         {{"extra", "ZUL_IGNOREHOSTENVIRONMENT=yes\n"}},
         {"SHARED=host", "ONLYHOST=h", "ZUL_ENVFILE=$D/extra"}, {{"SHARED", "file"}, {"ONLYHOST", nullopt}}},
        {"ZUL_IGNOREHOSTENVIRONMENT in the process has no effect", "SHARED=file\n", {},
         {"SHARED=host", "ZUL_IGNOREHOSTENVIRONMENT=1"}, {{"SHARED", "host"}}},
        {"ZUL_IGNOREHOSTENVIRONMENT removed again does not count",
         "ZUL_IGNOREHOSTENVIRONMENT=1\nZUL_IGNOREHOSTENVIRONMENT=\nSHARED=file\n", {},
         {"SHARED=host"}, {{"SHARED", "host"}}},
        {"further files in order, the last wins", "V=first\nA=first\n",
         {{"envfile", "V=envfile\nB=envfile\n"}, {"serial", "V=serial\nC=serial\n"}, {"plain", "V=plain\n"}},
         {"ZUL_ENVFILE=$D/envfile", "ZUL_ENVFILE_0100=$D/serial", "ZUL_ENVFILE_=$D/plain"},
         {{"V", "plain"}, {"A", "first"}, {"B", "envfile"}, {"C", "serial"},
          {"ZUL_ENVPATH", "ZULENV $D/envfile $D/serial $D/plain"}}},
        {"ZUL_ENVPATH lists the two files read, not a missing one", "A=1\n", {{"second", "B=2\n"}},
         {"ZUL_ENVFILE=$D/second", "ZUL_ENVFILE_=/nonexistent/x"}, {{"ZUL_ENVPATH", "ZULENV $D/second"}}},
        {"the process's own ZUL_ENVPATH is what a lookup gives", nullptr,
         {{"first", "A=1\n"}, {"second", "B=2\n"}}, {"ZUL_ENVPATH=$D/first", "ZUL_ENVFILE=$D/second"},
         {{"ZUL_ENVPATH", "$D/first"}}},
        {"a ZUL_ENVPATH line includes a file where it stands", "X=1\nZUL_ENVPATH = $D/inc\nZ=after\n",
         {{"inc", "X=2\nY=inc\n"}}, {},
         {{"X", "2"}, {"Y", "inc"}, {"Z", "after"}, {"ZUL_ENVPATH", "ZULENV $D/inc"}}},
        {"definitions behind an include override it; a missing one is passed over",
         "ZUL_ENVPATH=$D/inc\nX=3\nzul_envpath=/nonexistent/file\n", {{"inc", "X=2\n"}}, {},
         {{"X", "3"}, {"ZUL_ENVPATH", "ZULENV $D/inc"}}},
        // The inclusion of a file already being read is passed over.
        {"a file that includes itself", "N=1\nZUL_ENVPATH=ZULENV\nAFTER=yes\n", {}, {},
         {{"N", "1"}, {"AFTER", "yes"}, {"ZUL_ENVPATH", "ZULENV"}}},
    });
}

TEST(EnvFiles, ChainOfEightIncludesAndANinthPassedOver)
{
    // ZULENV includes f1, which includes f2, ... up to f<depth>; each file
    // defines L<i> before its include and BACK<i> behind it.
    for (int depth : {8, 9}) {
        Case c{"chain", "ZUL_ENVPATH=$D/f1\nTOP=t\n", {}, {}, {{"TOP", "t"}, {"ZUL_ENVPATH", "ZULENV"}}};
        for (int i = 1; i <= depth; i++) {
            string n = std::to_string(i), next = "ZUL_ENVPATH=$D/f" + std::to_string(i + 1) + "\n";
            c.files.push_back({"f" + n, "L" + n + "=" + n + "\n" + (i < depth ? next : "") + "BACK" + n + "=b\n"});
            c.expect.push_back({"L" + n, i <= 8 ? optional(n) : nullopt});
            c.expect.push_back({"BACK" + n, i <= 8 ? optional<string>("b") : nullopt});
            *c.expect[1].second += i <= 8 ? " $D/f" + n : "";
        }
        SCOPED_TRACE(depth);
        RunCases({c});
    }
}

TEST(EnvFiles, HostChangesAreSeenAtEachLookup)
{
    // In this process: the block is built at the first lookup, and the
    // process environment is asked anew every time.
    setenv("ZUL_TEST_CHANGING", "one", 1);
    EXPECT_STREQ(BSS1_LocateEnv("ZUL_TEST_CHANGING"), "one");
    setenv("ZUL_TEST_CHANGING", "two", 1);
    EXPECT_STREQ(BSS1_LocateEnv("ZUL_TEST_CHANGING"), "two");
    static const char fallback[] = "fb";
    EXPECT_EQ(BSS1_GetEnv("ZUL_TEST_NEVER_SET_ANYWHERE", fallback), fallback);
    EXPECT_EQ(BSS1_LocateEnv(nullptr), nullptr);
    // A name of 128 bytes and more is looked up through the heap.
    string longName(300, 'N');
    setenv(longName.c_str(), "long", 1);
    EXPECT_STREQ(BSS1_LocateEnv(longName.c_str()), "long");
}

TEST(EnvFiles, ConcurrentLookupsFromTheFirstOn)
{
    // Threads race into the first lookup, which builds the block, and go
    // on looking up and walking the lists while others register.
    setenv("ZUL_TEST_SHARED", "s", 1);
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; t++)
        threads.emplace_back([&wrong] {
            void *batch[16];
            for (int i = 0; i < 500; i++) {
                const char *v = BSS1_GetEnv("ZUL_TEST_SHARED", nullptr);
                wrong += v == nullptr || string(v) != "s";
                wrong += BSS1_LocateEnv("ZUL_TEST_NOT_THERE=") != nullptr;
                uint32_t index = 0, count = 16;
                RAS1_EnumInfo(RAS1_LIST_UNITS, batch, &index, &count);
            }
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(wrong.load(), 0);
}

TEST(EnvNames, ProgramStemCutsAtLastDotThenSeparators)
{
    struct Case {
        const char *path, *stem;
        size_t size = 256;
    } cases[] = {
        {"/opt/agent/bin/agent.bin", "agent"}, {"/opt/app.d/bin/server", "app"}, // the last "." anywhere
        {"/mixed\\dir/name.x", "name"}, {"plain", "plain"}, {"trailing/", ""}, {"/bin/longname", "lon", 4},
    };
    for (const auto &c : cases) {
        char out[256];
        EXPECT_EQ(ZULSS_ProgramStem(c.path, out, c.size), strlen(c.stem)) << c.path;
        EXPECT_STREQ(out, c.stem) << c.path;
    }
}

TEST(EnvNames, SystemTableGivesOnePathPerProgram)
{
    envtest::Dir dir;
    std::string table = dir.File("table", "# server = /wrong\nserver = /etc/srv.env  \n"
                                          "AGENT=/a.env\nempty =\nlong=" + std::string(256, 'p') +
                                          "\nnoequals\n  spaced   name = /x\nserver=/second\n");
    struct Case {
        const char *program, *path;
    } cases[] = {
        {"server", "/etc/srv.env"}, {"agent", "/a.env"}, // names compare without regard to case
        {"empty", ""}, {"long", ""}, {"noequals", ""}, {"spaced", "/x"}, {"missing", ""},
    };
    for (const auto &c : cases) {
        char out[256] = "unchanged";
        size_t n = ZULSS_SystemEnvPath(table.c_str(), c.program, out, sizeof out);
        EXPECT_EQ(n, strlen(c.path)) << c.program;
        if (n)
            EXPECT_STREQ(out, c.path) << c.program;
    }
    char out[256];
    EXPECT_EQ(ZULSS_SystemEnvPath((dir.path / "none").c_str(), "server", out, sizeof out), 0u);
}

} // namespace
