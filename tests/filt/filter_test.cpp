// Filters and their expression language through the public calls: which
// filter wins, suspend and resume, and inclusion files.
#include "log/logtest.h"

#include <zul/ras1.h>

#include <cstdio>
#include <fstream>

#include <unistd.h>

#include <gtest/gtest.h>

namespace {

constexpr uint32_t kError = 0xFFFFFE80u, kFlow = 0xFFFFFE40u, kDetail = 0xFFFFFE01u;

// The trace started with a store of the test's own, so that ZUL_RAS1 is
// not read and every message of the parser lands in `sink`.
struct Traced : ::testing::Test {
    Sink sink;
    void SetUp() override
    {
        ASSERT_EQ(RAS1_RegisterStore("TEST", 4, &sink, Sink::Write, RAS1_ANY), 0);
        RAS1_Sync(&Kept("starter", "Start").entry);
    }
    // The class word that a record of `unit` and `function` gets now.
    static uint32_t Word(const char *unit, const char *function, uint32_t line = 1)
    {
        Record &r = Kept(unit, function);
        r.entry.line = line;
        return RAS1_Sync(&r.entry) & ~RAS1_ANY;
    }
};

struct Probe { const char *unit, *function; uint32_t word; };

struct Case {
    const char *name, *text;
    int status;
    std::string message; // the parser's message, if any
    uint32_t defaultClass;
    std::vector<Probe> probes;
    const char *file = nullptr; // written first; '%' in any text stands for its name
};

const std::string kUnknown = "Class name not recognized: ";

const Case kCases[] = {
    // Unit values take the unit form, as do the units' own names.
    {"KeywordsAndClassesAreCaseFree", "unit:ZulCr flow", 0, "", 0,
     {{"zulcr", "CRF1_New", kFlow}, {"ZULCR.CPP", "f", kFlow}, {"zulss", "f", 0}}},
    {"UnclosedGroup", "(ERROR", 6, "Syntax error: ERROR", 0, {}},
    // ENTRY:CRF1_ weighs 1 + 5*5 = 26, UNIT:zulcrr 1 + 6 = 7.
    {"HeavierFilterWinsWhateverItsAge", "(ENTRY:CRF1_ ERROR) (UNIT:zulcrr FLOW)", 0, "", 0,
     {{"zulcrr", "CRF1_Register", kError}, {"zulcrr", "zulcr_helper", kFlow}}},
    {"TwoGroupsTwoFilters", "ERROR (UNIT:zulcr ALL) (ENTRY:RES1_Use DETAIL)", 0, "", kError,
     {{"zulcr", "f", ~RAS1_ANY}, {"zulre", "RES1_UseCount", kDetail}, {"zulre", "RES1_Create", kError}}},
    {"GroupWithoutClassTurnsTracingOff", "ERROR (UNIT:zulss)", 0, "", kError, {{"zulssge", "f", 0}}},
    {"ElementsOfALevelAreAnded", "UNIT:zulcr ENTRY:CRF1_ FLOW", 0, "", 0,
     {{"zulcr", "CRF1_New", kFlow}, {"zulcr", "zulcr_help", 0}, {"zulss", "CRF1_New", 0},
      {"zulcr", "crf1_New", 0}}}, // ENTRY values compare exactly in case
    {"FailedGroupStopsTheLevel", "FLOW (BOGUS) ERROR", 1, kUnknown + "BOGUS", 0, {}},
    {"EighthElementIsAnError", "UNIT:a ENTRY:b LEVEL:c COMP:d UNIT:e ENTRY:f LEVEL:g COMP:h FLOW",
     1, "Too many filter elements: COMP:h", 0, {{"a", "b", 0}}},
    // Each line of a file is a level; the lines before a failing one stay
    // applied, the ones after it are not read.
    {"InclusionStopsAtTheFirstFailure", "<%", 1, kUnknown + "BOGUS", kError,
     {{"zulcr", "f", kFlow}, {"zulss", "f", kError}}, "ERROR\n(UNIT:zulcr FLOW)\nBOGUS\n(UNIT:zulss DETAIL)\n"},
};

void PrintTo(const Case &c, std::ostream *out) { *out << '"' << c.text << '"'; }

struct Expressions : Traced, ::testing::WithParamInterface<Case> {};

TEST_P(Expressions, Apply)
{
    const Case &c = GetParam();
    const std::string path = "/tmp/zulfilt" + std::to_string(getpid());
    auto fill = [&](std::string t) {
        for (size_t at; (at = t.find('%')) != std::string::npos;)
            t.replace(at, 1, path);
        return t;
    };
    if (c.file)
        std::ofstream(path) << fill(c.file);
    std::string text = fill(c.text);
    EXPECT_EQ(RAS1_InterpretString(text.data(), uint32_t(text.size())), c.status);
    std::remove(path.c_str());
    std::string log = AfterOpening(sink.Text()), head = ",\"ParseExpression\") ";
    size_t at = log.find(head);
    EXPECT_EQ(at == std::string::npos ? "" : log.substr(at + head.size()), c.message.empty() ? "" : fill(c.message) + "\n");
    EXPECT_EQ(DefaultClass(), c.defaultClass);
    for (const auto &p : c.probes)
        EXPECT_EQ(Word(p.unit, p.function), p.word) << p.unit << " " << p.function;
}

INSTANTIATE_TEST_SUITE_P(Cases, Expressions, ::testing::ValuesIn(kCases),
                         [](const auto &info) { return std::string(info.param.name); });

// A filter of one element; the text is copied, as the unit form is made in place.
int Add(uint32_t *id, int type, const char *text, uint32_t classes, uint32_t low = 0, uint32_t high = 0)
{
    char copy[64];
    std::snprintf(copy, sizeof copy, "%s", text);
    ZULRA_elem_t e{copy, static_cast<uint32_t>(std::strlen(copy)), type};
    return RAS1_NewFilter(id, classes, &e, 1, low, high);
}

using Filters = Traced;

TEST_F(Filters, NewerOfEqualWeightsWinsWhileNotSuspended)
{
    ASSERT_EQ(RAS1_SetClass(nullptr, RAS1_DETAIL), STC1_Warning);
    uint32_t older = 0, newer = 0; // UNIT:zul and COMP:x both weigh 4
    Add(&older, RAS1_FILTER_UNIT, "zul", RAS1_FLOW);
    Add(&newer, RAS1_FILTER_COMP, "x", RAS1_ERROR);
    EXPECT_EQ(Word("zulcrr", "f"), kError);
    EXPECT_EQ(RAS1_SuspendFilter(newer), 0);
    EXPECT_EQ(RAS1_SuspendFilter(newer), STC1_Warning);
    EXPECT_EQ(Word("zulcrr", "f"), kFlow);
    EXPECT_EQ(RAS1_SuspendFilter(older), 0);
    EXPECT_EQ(Word("zulcrr", "f"), kDetail); // the default class
    EXPECT_EQ(RAS1_ResumeFilter(newer), 0);
    EXPECT_EQ(RAS1_ResumeFilter(newer), STC1_Warning);
    EXPECT_EQ(Word("zulcrr", "f"), kError);
}

} // namespace
