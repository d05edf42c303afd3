// The expression language: each case runs in a process of its own, reads
// one expression and checks the status, the message in the log, the
// default class and the words that some records get.
#include "filttest.h"

#include <zul/ras1.h>

#include <filesystem>

using filt::Traced;

namespace {

struct Probe {
    const char *unit;
    const char *function;
    uint32_t word; // without ANY
};

struct Case {
    const char *name;
    const char *text;
    int status;
    const char *message; // the log's whole text after the opening block
    uint32_t defaultClass;
    std::vector<Probe> probes;
};

constexpr uint32_t kError = 0xFFFFFE80u, kFlow = 0xFFFFFE40u, kDetail = 0xFFFFFE01u;

const Case kCases[] = {
    {"Empty", "", 0, "", 0, {{"zulcr", "f", 0}}},
    {"OnlySeparators", " \t,;./!-=+ ", 0, "", 0, {}},
    {"UnitWithoutValueIsAClassName", "UNIT:", 1, "Class name not recognized: UNIT:", 0, {}},
    {"ColonAtPlaceZero", ":FLOW", 1, "Class name not recognized: :FLOW", 0, {}},
    {"ColonAtPlaceSeven", "METRICS:x", 1, "Class name not recognized: METRICS:x", 0, {}},
    {"UnknownKeyword", "FLOW:x", 1, "Filter keyword not recognized: FLOW", 0, {}},
    {"AbbreviatedKeyword", "ENT:x", 1, "Filter keyword not recognized: ENT", 0, {}},
    {"KeywordsAndClassesAreCaseFree", "unit:ZulCr flow", 0, "", 0,
     {{"zulcr", "CRF1_New", kFlow}, {"zulss", "f", 0}}},
    {"ClassNamesAbbreviate", "er fl", 0, "", 0xFFFFFEC0u, {}},
    {"NoneIsKnown", "NONE", 0, "", 0, {}},
    {"UnclosedGroup", "(ERROR", 6, "Syntax error: ERROR", 0, {}},
    {"EmptyGroup", "() FLOW", 6, "Syntax error: ) FLOW", 0, {}},
    {"ShortParenthesesAreSeparators", "()", 0, "", 0, {}},
    {"ShortGroupIsAClassName", "(A", 1, "Class name not recognized: A", 0, {}},
    {"GroupsDoNotNest", "((UNIT:a) FLOW)", 6, "Syntax error: UNIT:a", 0, {{"a", "f", 0}}},
    {"GroupBeforeTheLevelsOwnClass", "ERROR (UNIT:zulcr FLOW)", 0, "", kError,
     {{"zulcr", "f", kFlow}, {"zulss", "f", kError}}},
    {"TwoGroupsTwoFilters", "ERROR (UNIT:zulcr ALL) (ENTRY:RES1_Use DETAIL)", 0, "", kError,
     {{"zulcr", "f", 0xFFFFFFFFu & ~0x100u}, {"zulre", "RES1_UseCount", kDetail},
      {"zulre", "RES1_Create", kError}}},
    {"GroupWithoutClassTurnsTracingOff", "ERROR (UNIT:zulss)", 0, "", kError,
     {{"zulssge", "f", 0}, {"zulcr", "f", kError}}},
    {"ElementsOfALevelAreAnded", "UNIT:zulcr ENTRY:CRF1_ FLOW", 0, "", 0,
     {{"zulcr", "CRF1_New", kFlow}, {"zulcr", "zulcr_help", 0}, {"zulss", "CRF1_New", 0}}},
    {"LevelAndCompElements", "(LEVEL:1 COMP:BS ERROR)", 0, "", 0, {{"x", "f", 0}}},
    {"FailedGroupStopsTheLevel", "FLOW (BOGUS) ERROR", 1, "Class name not recognized: BOGUS", 0,
     {}},
    {"LaterGroupReplacesAFailedOne", "(BOGUS) (DETAIL)", 0, "Class name not recognized: BOGUS",
     kDetail, {}},
    {"AppliedGroupStaysAfterAFailure", "(UNIT:zulcr FLOW) BOGUS", 1,
     "Class name not recognized: BOGUS", 0, {{"zulcr", "f", kFlow}}},
    {"ClassNameTooLong", "SEVENTEENLETTERSX", 2, "Class name too long: SEVENTEENLETTERSX", 0, {}},
    {"SixteenLettersIsNotTooLong", "SIXTEENLETTERSXX", 1,
     "Class name not recognized: SIXTEENLETTERSXX", 0, {}},
    {"EighthElementIsAnError", "UNIT:a ENTRY:b LEVEL:c COMP:d UNIT:e ENTRY:f LEVEL:g COMP:h FLOW",
     1, "Too many filter elements: COMP:h", 0, {{"a", "b", 0}}},
    {"SevenElementsMakeAFilter", "UNIT:a ENTRY:b LEVEL:c COMP:d UNIT:e ENTRY:f LEVEL:g FLOW", 0,
     "", 0, {}},
    {"MissingInclusionFile", "</nonexistent/zul/filters", 5,
     "Unable to open file: /nonexistent/zul/filters", 0, {}},
    {"LessThanElsewhereIsPunctuation", "ERROR <FLOW", 0, "", 0xFFFFFEC0u, {}},
};

void PrintTo(const Case &c, std::ostream *out)
{
    *out << '"' << c.text << '"';
}

struct Expressions : Traced, ::testing::WithParamInterface<Case> {};

// The message lines of the log, their heads cut off.
std::string Messages(const std::string &log)
{
    std::string out;
    for (const auto &line : SplitLines(log)) {
        size_t at = line.find("\") ");
        if (!out.empty())
            out += "\n";
        out += at == std::string::npos ? line : line.substr(at + 3);
    }
    return out;
}

TEST_P(Expressions, Apply)
{
    const Case &c = GetParam();
    std::string text = c.text;
    EXPECT_EQ(RAS1_InterpretString(text.data(), (uint32_t)text.size()), c.status);
    EXPECT_EQ(Messages(Log()), c.message);
    uint32_t classes = 1;
    RAS1_QueryClass(&classes);
    EXPECT_EQ(classes, c.defaultClass);
    for (const auto &p : c.probes)
        EXPECT_EQ(Word(p.unit, p.function), p.word) << p.unit << " " << p.function;
}

INSTANTIATE_TEST_SUITE_P(Cases, Expressions, ::testing::ValuesIn(kCases),
                         [](const auto &info) { return std::string(info.param.name); });

// The parser's messages carry its own unit and function in the head.
TEST_F(Traced, MessagesComeFromTheParsersRecord)
{
    char text[] = "BOGUS";
    RAS1_InterpretString(text, 5);
    EXPECT_NE(Log().find("zulrais,"), std::string::npos) << Log();
    EXPECT_NE(Log().find(",\"ParseExpression\") Class name not recognized: BOGUS"),
              std::string::npos);
}

struct Inclusion : Traced {
    std::filesystem::path dir;
    void SetUp() override
    {
        Traced::SetUp();
        char pattern[] = "/tmp/zulfiltXXXXXX";
        dir = mkdtemp(pattern);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }
    std::string Write(const char *name, const char *text)
    {
        auto path = (dir / name).string();
        std::ofstream(path) << text;
        return path;
    }
};

TEST_F(Inclusion, EachLineIsALevelAndTheFirstFailureStops)
{
    std::string path = Write("filters", "ERROR\n(UNIT:zulcr FLOW)\nBOGUS\n(UNIT:zulss DETAIL)\n");
    std::string text = "<" + path;
    EXPECT_EQ(RAS1_InterpretString(text.data(), (uint32_t)text.size()), 1);
    EXPECT_EQ(Messages(Log()), "Class name not recognized: BOGUS");
    // The lines before the failing one stay applied; the line after it is
    // not read.
    uint32_t classes = 0;
    RAS1_QueryClass(&classes);
    EXPECT_EQ(classes, kError);
    EXPECT_EQ(Word("zulcr", "f"), kFlow);
    EXPECT_EQ(Word("zulss", "f"), kError);
}

TEST_F(Inclusion, FilesIncludeFilesButNotForever)
{
    std::string inner = Write("inner", "(UNIT:zulcr FLOW)\n");
    // The name is used as it stands, so a line end would be part of it:
    // the inner name is the file's last line, without one.
    std::string outer = Write("outer", ("ERROR\n<" + inner).c_str());
    std::string text = "<" + outer;
    EXPECT_EQ(RAS1_InterpretString(text.data(), (uint32_t)text.size()), 0);
    EXPECT_EQ(Word("zulcr", "f"), kFlow);

    std::string self = (dir / "self").string();
    std::ofstream(self) << "<" << self;
    text = "<" + self;
    EXPECT_EQ(RAS1_InterpretString(text.data(), (uint32_t)text.size()), STC1_ProtocolError);
    EXPECT_NE(Log().find("Inclusion nested too deeply: " + self), std::string::npos);
}

TEST_F(Traced, UnitValuesAreNormalizedInPlace)
{
    char text[] = "(UNIT:ZulCR FLOW) (UNIT:a ENTRY:Q UNIT:B ERROR)";
    EXPECT_EQ(RAS1_InterpretString(text, sizeof text - 1), 0);
    EXPECT_STREQ(text, "(UNIT:zulcr FLOW) (UNIT:a ENTRY:Q UNIT:B ERROR)");
    EXPECT_EQ(Word("ZULCR.CPP", "f"), kFlow); // the unit's name is normalized too
}

} // namespace
