// Environment files: line syntax, definitions, candidates, includes and
// precedence, each in a fresh probe process.
#include <atomic>
#include <thread>

#include <zul/bss1.h>
#include <zul/ras1.h>

#include "envtest.h"

using envtest::Dir;
using envtest::Probe;
using std::nullopt;
using std::optional;
using std::string;

namespace {

struct LineCase {
    const char *what;
    string file;                                  // contents of ./ZULENV
    std::vector<std::pair<string, optional<string>>> expect;
};

// Each case is one ZULENV in the current directory; the process
// environment holds nothing but what the probe needs.
const std::vector<LineCase> &LineCases()
{
    static const std::vector<LineCase> cases = {
        {"redefinition moves, empty value removes", "A=1\nB=2\nA=3\nB=\n",
         {{"A", "3"}, {"B", nullopt}}},
        {"definition after removal comes back", "A=1\nA=\nA=2\n", {{"A", "2"}}},
        {"white space around the name and before the value", "  NAME \t =   value  \n",
         {{"NAME", "value"}}},
        {"only the first token is the name", "TWO WORDS=x\n", {{"TWO", "x"}, {"WORDS", nullopt}}},
        {"carriage return is white space", "W=v\r\nX=w \r\n", {{"W", "v"}, {"X", "w"}}},
        {"blanks stay on a last line without line feed", "A=1\nX=a  ", {{"A", "1"}, {"X", "a  "}}},
        {"backslash on a last line without line feed stays", "X=a\\", {{"X", "a\\"}}},
        {"one backslash joins the next line", "J=one\\\ntwo\nK=3\n", {{"J", "onetwo"}, {"K", "3"}}},
        {"the joined line keeps its leading blanks", "J=one\\\n   two\n", {{"J", "one   two"}}},
        {"two backslashes stay and end the line", "J=two\\\\\nK=3\n", {{"J", "two\\\\"}, {"K", "3"}}},
        {"three backslashes keep two and join", "J=a\\\\\\\nb\n", {{"J", "a\\\\b"}}},
        {"a backslash before blanks still joins", "J=a\\   \n  b\n", {{"J", "a  b"}}},
        {"a joined name", "LO\\\nNG=x\n", {{"LONG", "x"}}},
        {"continuation into end of file", "J=x\\\n", {{"J", "x"}}},
        {"a blank line ends a continued line", "J=a\\\n\nK=1\n", {{"J", "a"}, {"K", "1"}}},
        {"a value keeps quotes, escapes and equals signs", "Q=\"a\\tb\" = $HOME\n",
         {{"Q", "\"a\\tb\" = $HOME"}}},
        {"lines without = are comments", "this is a comment\nA=1\n", {{"A", "1"}}},
        {"a comment with = defines its first word", "# note=x\n", {{"#", "x"}}},
        {"no name before = is ignored", "=value\n  =x\nA=1\n", {{"A", "1"}}},
        {"a one-byte line is ignored", "=\nA=1\n", {{"A", "1"}}},
        {"names match in any mix of case", "myPath=/x\n", {{"MYPATH", "/x"}, {"mypath", "/x"}}},
        {"names of other length never match", "AB=1\n", {{"A", nullopt}, {"ABC", nullopt}}},
        {"an empty file defines nothing", "", {{"A", nullopt}}},
        {"a blank value is no value", "A=1\nA=   \n", {{"A", nullopt}}},
    };
    return cases;
}

TEST(EnvFiles, LineSyntax)
{
    for (const auto &c : LineCases()) {
        SCOPED_TRACE(c.what);
        Dir dir;
        dir.File("ZULENV", c.file);
        std::vector<string> names;
        for (const auto &e : c.expect)
            names.push_back(e.first);
        auto out = Probe(dir.path, {}, names);
        ASSERT_EQ(out.status, 0);
        for (const auto &e : c.expect)
            EXPECT_EQ(out[e.first], e.second) << e.first;
    }
}

TEST(EnvFiles, LongLinesGrowTheBuffer)
{
    // 1,000 bytes in one line, lines around the 256-byte steps, and a long
    // line continued over a shorter one.
    for (size_t length : {1000u, 250u, 251u, 252u, 254u, 255u, 256u, 507u, 508u, 4000u}) {
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

TEST(EnvFiles, AlternativesSeparatedByEquals)
{
    Dir dir;
    dir.File("ZULENV", "A=1\nB=2\n");
    auto out = Probe(dir.path, {}, {"A=B", "NOPE=B", "A=", "NOPE=", "", "=B", "NOPE=NADA=A",
                                    "  A  ", "NOPE=  B  ", "==", "A B=NOPE"});
    EXPECT_EQ(out["A=B"], "1");
    EXPECT_EQ(out["NOPE=B"], "2");
    EXPECT_EQ(out["A="], "1");
    EXPECT_EQ(out["NOPE="], nullopt);
    EXPECT_EQ(out[""], nullopt);
    EXPECT_EQ(out["=B"], "2");
    EXPECT_EQ(out["NOPE=NADA=A"], "1");
    EXPECT_EQ(out["  A  "], "1");
    EXPECT_EQ(out["NOPE=  B  "], "2");
    EXPECT_EQ(out["=="], nullopt);
    EXPECT_EQ(out["A B=NOPE"], "1"); // a part is cut to its first token
}

TEST(EnvFiles, ProcessEnvironmentGoesFirst)
{
    Dir dir;
    dir.File("ZULENV", "SHARED=file\nONLYFILE=f\n");
    auto out = Probe(dir.path, {"SHARED=host", "ONLYHOST=h"}, {"SHARED", "ONLYFILE", "ONLYHOST"});
    EXPECT_EQ(out["SHARED"], "host");
    EXPECT_EQ(out["ONLYFILE"], "f");
    EXPECT_EQ(out["ONLYHOST"], "h");
}

TEST(EnvFiles, IgnoreHostEnvironmentFromAnyFile)
{
    Dir dir;
    dir.File("ZULENV", "SHARED=file\n");
    string extra = dir.File("extra", "ZUL_IGNOREHOSTENVIRONMENT=yes\n");
    auto out = Probe(dir.path, {"SHARED=host", "ONLYHOST=h", "ZUL_ENVFILE=" + extra},
                     {"SHARED", "ONLYHOST"});
    EXPECT_EQ(out["SHARED"], "file");
    EXPECT_EQ(out["ONLYHOST"], nullopt);
}

TEST(EnvFiles, IgnoreHostEnvironmentInTheProcessHasNoEffect)
{
    Dir dir;
    dir.File("ZULENV", "SHARED=file\n");
    auto out = Probe(dir.path, {"SHARED=host", "ZUL_IGNOREHOSTENVIRONMENT=1"}, {"SHARED"});
    EXPECT_EQ(out["SHARED"], "host");
}

TEST(EnvFiles, IgnoreHostEnvironmentRemovedAgainCounts)
{
    // What decides is the list at the end of the reading.
    Dir dir;
    dir.File("ZULENV", "ZUL_IGNOREHOSTENVIRONMENT=1\nZUL_IGNOREHOSTENVIRONMENT=\nSHARED=file\n");
    auto out = Probe(dir.path, {"SHARED=host"}, {"SHARED"});
    EXPECT_EQ(out["SHARED"], "host");
}

TEST(EnvFiles, CandidatesFirstThatOpensOnly)
{
    struct Case {
        const char *what;
        bool envPath, envPathExists, zulenv, vnosdefn;
        const char *expect;
    } cases[] = {
        {"ZUL_ENVPATH first", true, true, true, true, "envpath"},
        {"a missing ZUL_ENVPATH falls to ZULENV", true, false, true, true, "zulenv"},
        {"ZULENV before VNOSDEFN", false, false, true, true, "zulenv"},
        {"VNOSDEFN last", false, false, false, true, "vnosdefn"},
        {"none at all", false, false, false, false, nullptr},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        Dir dir;
        std::vector<string> env;
        if (c.envPath) {
            string p = (dir.path / "chosen").string();
            if (c.envPathExists)
                dir.File("chosen", "FROM=envpath\nENVPATH_ONLY=1\n");
            env.push_back("ZUL_ENVPATH=" + p);
        }
        if (c.zulenv)
            dir.File("ZULENV", "FROM=zulenv\nZULENV_ONLY=1\n");
        if (c.vnosdefn)
            dir.File("VNOSDEFN", "FROM=vnosdefn\nVNOSDEFN_ONLY=1\n");
        auto out = Probe(dir.path, env, {"FROM", "ZULENV_ONLY", "VNOSDEFN_ONLY"});
        EXPECT_EQ(out["FROM"], c.expect ? optional<string>(c.expect) : nullopt);
        // The others are not looked at.
        if (c.expect && string(c.expect) != "zulenv")
            EXPECT_EQ(out["ZULENV_ONLY"], nullopt);
        if (c.expect && string(c.expect) != "vnosdefn")
            EXPECT_EQ(out["VNOSDEFN_ONLY"], nullopt);
    }
}

TEST(EnvFiles, FurtherFilesInOrderLastWins)
{
    Dir dir;
    dir.File("ZULENV", "V=first\nA=first\n");
    string f2 = dir.File("envfile", "V=envfile\nB=envfile\n");
    string f3 = dir.File("serial", "V=serial\nC=serial\n");
    string f4 = dir.File("plain", "V=plain\n");
    auto out = Probe(dir.path,
                     {"ZUL_ENVFILE=" + f2, "ZUL_ENVFILE_0100=" + f3, "ZUL_ENVFILE_=" + f4},
                     {"V", "A", "B", "C", "ZUL_ENVPATH"});
    EXPECT_EQ(out["V"], "plain");
    EXPECT_EQ(out["A"], "first");
    EXPECT_EQ(out["B"], "envfile");
    EXPECT_EQ(out["C"], "serial");
    EXPECT_EQ(out["ZUL_ENVPATH"], "ZULENV " + f2 + " " + f3 + " " + f4);
}

TEST(EnvFiles, EnvPathListsTheFilesRead)
{
    Dir dir;
    dir.File("ZULENV", "A=1\n");
    string second = dir.File("second", "B=2\n");
    auto out = Probe(dir.path, {"ZUL_ENVFILE=" + second, "ZUL_ENVFILE_=/nonexistent/x"},
                     {"ZUL_ENVPATH"});
    EXPECT_EQ(out["ZUL_ENVPATH"], "ZULENV " + second);

    // The process's own ZUL_ENVPATH is what a lookup gives.
    string first = dir.File("first", "A=1\n");
    out = Probe(dir.path, {"ZUL_ENVPATH=" + first, "ZUL_ENVFILE=" + second}, {"ZUL_ENVPATH"});
    EXPECT_EQ(out["ZUL_ENVPATH"], first);
}

TEST(EnvFiles, EnvPathLineIncludesAFile)
{
    Dir dir;
    string inc = dir.File("inc", "X=2\nY=inc\n");
    dir.File("ZULENV", "X=1\nZUL_ENVPATH = " + inc + "\nZ=after\n");
    auto out = Probe(dir.path, {}, {"X", "Y", "Z", "ZUL_ENVPATH"});
    EXPECT_EQ(out["X"], "2"); // the include comes in where its line stands
    EXPECT_EQ(out["Y"], "inc");
    EXPECT_EQ(out["Z"], "after");
    EXPECT_EQ(out["ZUL_ENVPATH"], "ZULENV " + inc);

    // Definitions behind the include override it; a missing file is
    // passed over; the include line defines nothing by itself.
    dir.File("ZULENV", "ZUL_ENVPATH=" + inc + "\nX=3\nzul_envpath=/nonexistent/file\n");
    out = Probe(dir.path, {}, {"X", "ZUL_ENVPATH"});
    EXPECT_EQ(out["X"], "3");
    EXPECT_EQ(out["ZUL_ENVPATH"], "ZULENV " + inc);
}

// ZULENV includes f1, which includes f2, ... up to f<depth>.
static string MakeChain(const Dir &dir, int depth)
{
    string list = "ZULENV";
    for (int i = depth; i >= 1; i--) {
        string next = i < depth ? "ZUL_ENVPATH=" + (dir.path / ("f" + std::to_string(i + 1))).string() + "\n" : "";
        string p = dir.File("f" + std::to_string(i),
                            "L" + std::to_string(i) + "=" + std::to_string(i) + "\n" + next +
                                "BACK" + std::to_string(i) + "=b\n");
    }
    for (int i = 1; i <= depth; i++)
        list += " " + (dir.path / ("f" + std::to_string(i))).string();
    dir.File("ZULENV", "ZUL_ENVPATH=" + (dir.path / "f1").string() + "\nTOP=t\n");
    return list;
}

TEST(EnvFiles, ChainOfEightIncludesWorks)
{
    Dir dir;
    string list = MakeChain(dir, 8);
    auto out = Probe(dir.path, {}, {"L1", "L8", "BACK1", "BACK8", "TOP", "ZUL_ENVPATH"});
    EXPECT_EQ(out["L1"], "1");
    EXPECT_EQ(out["L8"], "8");
    EXPECT_EQ(out["BACK1"], "b");
    EXPECT_EQ(out["BACK8"], "b");
    EXPECT_EQ(out["TOP"], "t");
    EXPECT_EQ(out["ZUL_ENVPATH"], list);
}

TEST(EnvFiles, NinthIncludeIsPassedOverAndReadingGoesOn)
{
    Dir dir;
    MakeChain(dir, 9);
    auto out = Probe(dir.path, {}, {"L8", "L9", "BACK8", "BACK1", "TOP"});
    ASSERT_EQ(out.status, 0);
    EXPECT_EQ(out["L8"], "8");
    EXPECT_EQ(out["L9"], nullopt);
    EXPECT_EQ(out["BACK8"], "b");
    EXPECT_EQ(out["BACK1"], "b");
    EXPECT_EQ(out["TOP"], "t");
}

TEST(EnvFiles, FileThatIncludesItselfEndsSoundly)
{
    Dir dir;
    dir.File("ZULENV", "N=1\nZUL_ENVPATH=ZULENV\nAFTER=yes\n");
    auto out = Probe(dir.path, {}, {"N", "AFTER", "ZUL_ENVPATH"});
    ASSERT_TRUE(WIFEXITED(out.status) && WEXITSTATUS(out.status) == 0);
    EXPECT_EQ(out["N"], "1");
    EXPECT_EQ(out["AFTER"], "yes");
    // Read once at the top and once at each of the 8 levels below it.
    string nine = "ZULENV";
    for (int i = 0; i < 8; i++)
        nine += " ZULENV";
    EXPECT_EQ(out["ZUL_ENVPATH"], nine);
}

TEST(EnvFiles, GetEnvGivesValueOrFallback)
{
    Dir dir;
    dir.File("ZULENV", "SET=v\n");
    auto out = Probe(dir.path, {}, {"@getenv:SET:fb", "@getenv:UNSET:fb", "@getenv:UNSET",
                                    "@getenv:NOPE=SET:fb"});
    EXPECT_EQ(out["@getenv:SET:fb"], "v");
    EXPECT_EQ(out["@getenv:UNSET:fb"], "fb");
    EXPECT_EQ(out["@getenv:UNSET"], nullopt);
    EXPECT_EQ(out["@getenv:NOPE=SET:fb"], "v");
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
    EXPECT_EQ(BSS1_GetEnv("ZUL_TEST_NEVER_SET_ANYWHERE", nullptr), nullptr);
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
                if (v == nullptr || string(v) != "s")
                    wrong++;
                if (BSS1_LocateEnv("ZUL_TEST_NOT_THERE=") != nullptr)
                    wrong++;
                uint32_t index = 0, count = 16;
                RAS1_EnumInfo(RAS1_LIST_UNITS, batch, &index, &count);
            }
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(wrong.load(), 0);
}

} // namespace
