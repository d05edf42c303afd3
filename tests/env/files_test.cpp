// Environment files: line syntax, candidates, includes and precedence,
// each case in a fresh probe process.
#include <gtest/gtest.h>

#include <zul/bss1.h>

#include "envtest.h"

using std::nullopt;
using std::optional;
using std::string;

namespace {

// One prepared directory: ./ZULENV (none when null), further files and the
// process environment; "$D" in any text stands for the directory.
struct Case {
    const char *what, *zulenv;
    std::vector<std::pair<string, string>> files;
    std::vector<string> env;
    std::vector<std::pair<string, optional<string>>> expect;
};

void RunCases(const std::vector<Case> &cases)
{
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        envtest::Dir dir;
        const string d = dir.path.string();
        auto sub = [&](string t) {
            for (size_t at; (at = t.find("$D")) != string::npos;)
                t.replace(at, 2, d);
            return t;
        };
        if (c.zulenv)
            dir.File("ZULENV", sub(c.zulenv));
        for (const auto &f : c.files)
            dir.File(f.first, sub(f.second));
        std::vector<string> env, names;
        for (const auto &e : c.env)
            env.push_back(sub(e));
        for (const auto &e : c.expect)
            names.push_back(e.first);
        int status;
        auto out = envtest::Probe(d, env, names, &status);
        ASSERT_EQ(status, 0);
        for (const auto &e : c.expect)
            EXPECT_EQ(out[e.first], e.second ? optional(sub(*e.second)) : nullopt) << e.first;
    }
}

TEST(EnvFiles, LineSyntax)
{
    auto one = [](const char *what, const char *file, decltype(Case::expect) expect) { return Case{what, file, {}, {}, expect}; };
    const string longValue(3995, 'v');
    RunCases({
        one("redefinition moves, empty or blank value removes", "A=1\nB=2\nA=3\nB=  \n", {{"A", "3"}, {"B", nullopt}}),
        one("blanks and CR around; first token names", "  TWO WORDS \t =  v  \r\n", {{"TWO", "v"}, {"WORDS", nullopt}}),
        one("last line without line feed keeps blanks and backslash", "A=1\nX=a \\", {{"A", "1"}, {"X", "a \\"}}),
        one("odd backslashes join, even ones stay", "J=a\\\\\\   \n  b\nK=two\\\\\nL=x\\\n", {{"J", "a\\\\  b"}, {"K", "two\\\\"}, {"L", "x"}}),
        one("names match in any case, only at their length", "myPath=/x\n", {{"MYPATH", "/x"}, {"MYPAT", nullopt}}),
        one("long lines grow the buffer", ("L=" + longValue + "\nN=1\nC=" + longValue + "\\\n" + longValue).c_str(),
            {{"L", longValue}, {"N", "1"}, {"C", longValue + longValue}}),
        // Alternatives: each part is cut to its first token; the first
        // that has a value wins.
        one("A=B alternatives", "A=1\nB=2\n",
            {{"A=B", "1"}, {"NOPE=B", "2"}, {"NOPE=", nullopt}, {"", nullopt}, {"NOPE=NADA=A", "1"}, {"A B=NOPE", "1"}}),
        one("BSS1_GetEnv gives value or fallback", "SET=v\n",
            {{"@getenv:SET:fb", "v"}, {"@getenv:UNSET:fb", "fb"}, {"@getenv:UNSET", nullopt}}),
    });
}

TEST(EnvFiles, CandidatesAndPrecedence)
{
    const char *E = "FROM=envpath\n", *Z = "FROM=zulenv\nZ_ONLY=1\n", *V = "FROM=vnosdefn\nV_ONLY=1\n";
    RunCases({
        {"ZUL_ENVPATH first, the others not looked at", Z, {{"chosen", E}, {"VNOSDEFN", V}},
         {"ZUL_ENVPATH=$D/chosen"}, {{"FROM", "envpath"}, {"Z_ONLY", nullopt}, {"V_ONLY", nullopt}}},
        {"a missing ZUL_ENVPATH falls to ZULENV, before VNOSDEFN", Z, {{"VNOSDEFN", V}},
         {"ZUL_ENVPATH=$D/chosen"}, {{"FROM", "zulenv"}, {"V_ONLY", nullopt}}},
        {"VNOSDEFN last", nullptr, {{"VNOSDEFN", V}}, {}, {{"FROM", "vnosdefn"}}},
        {"the process environment goes first", "SHARED=file\nONLYFILE=f\n", {},
         {"SHARED=host", "ZUL_IGNOREHOSTENVIRONMENT=1"}, {{"SHARED", "host"}, {"ONLYFILE", "f"}}},
        {"ZUL_IGNOREHOSTENVIRONMENT from a file", "SHARED=file\n", {{"extra", "ZUL_IGNOREHOSTENVIRONMENT=yes\n"}},
         {"SHARED=host", "ONLYHOST=h", "ZUL_ENVFILE=$D/extra"}, {{"SHARED", "file"}, {"ONLYHOST", nullopt}}},
        {"further files in order, the last wins; a missing one is not listed", "V=first\nA=first\n",
         {{"envfile", "V=envfile\nB=envfile\n"}, {"serial", "V=serial\n"}},
         {"ZUL_ENVFILE=$D/envfile", "ZUL_ENVFILE_0100=$D/serial", "ZUL_ENVFILE_=/nonexistent"},
         {{"V", "serial"}, {"A", "first"}, {"B", "envfile"}, {"ZUL_ENVPATH", "ZULENV $D/envfile $D/serial"}}},
        {"a ZUL_ENVPATH line includes a file where it stands; later lines override",
         "X=1\nZUL_ENVPATH = $D/inc\nZ=after\nzul_envpath=/nonexistent\nW=3\n", {{"inc", "X=2\nW=2\n"}}, {},
         {{"X", "2"}, {"Z", "after"}, {"W", "3"}, {"ZUL_ENVPATH", "ZULENV $D/inc"}}},
        {"a file that includes itself is passed over", "N=1\nZUL_ENVPATH=ZULENV\nAFTER=yes\n", {}, {},
         {{"N", "1"}, {"AFTER", "yes"}, {"ZUL_ENVPATH", "ZULENV"}}},
    });
}

} // namespace
