// Filters and their expression language through the public calls: which
// filter wins, reuse, suspend and resume, statuses and inclusion files.
#include "log/logtest.h"

#include <zul/ras1.h>

#include <cstdio>
#include <fstream>
#include <thread>

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
    {"UnitWithoutValueIsAClassName", "UNIT:", 1, kUnknown + "UNIT:", 0, {}},
    {"ColonAtPlaceSeven", "METRICS:x", 1, kUnknown + "METRICS:x", 0, {}},
    {"UnknownKeyword", "FLOW:x", 1, "Filter keyword not recognized: FLOW", 0, {}},
    // Unit values take the unit form, as do the units' own names.
    {"KeywordsAndClassesAreCaseFree", "unit:ZulCr flow", 0, "", 0,
     {{"zulcr", "CRF1_New", kFlow}, {"ZULCR.CPP", "f", kFlow}, {"zulss", "f", 0}}},
    {"UnclosedGroup", "(ERROR", 6, "Syntax error: ERROR", 0, {}},
    {"EmptyGroup", "() FLOW", 6, "Syntax error: ) FLOW", 0, {}},
    {"GroupsDoNotNest", "((UNIT:a) FLOW)", 6, "Syntax error: UNIT:a", 0, {{"a", "f", 0}}},
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
    {"LaterGroupReplacesAFailedOne", "(BOGUS) (DETAIL)", 0, kUnknown + "BOGUS", kDetail, {}},
    {"ClassNameTooLong", "SEVENTEENLETTERSX", 2, "Class name too long: SEVENTEENLETTERSX", 0, {}},
    {"EighthElementIsAnError", "UNIT:a ENTRY:b LEVEL:c COMP:d UNIT:e ENTRY:f LEVEL:g COMP:h FLOW",
     1, "Too many filter elements: COMP:h", 0, {{"a", "b", 0}}},
    {"MissingInclusionFile", "</nonexistent/zul/filters", 5, "Unable to open file: /nonexistent/zul/filters", 0, {}},
    // Each line of a file is a level; the lines before a failing one stay
    // applied, the ones after it are not read.
    {"InclusionStopsAtTheFirstFailure", "<%", 1, kUnknown + "BOGUS", kError,
     {{"zulcr", "f", kFlow}, {"zulss", "f", kError}}, "ERROR\n(UNIT:zulcr FLOW)\nBOGUS\n(UNIT:zulss DETAIL)\n"},
    // A last line without a line end names the file itself.
    {"InclusionNestedTooDeeply", "<%", STC1_ProtocolError, "Inclusion nested too deeply: %",
     kError, {{"zulcr", "f", kFlow}}, "ERROR\n(UNIT:zulcr FLOW)\n<%"},
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
    uint32_t older = 0, newer = 0, twin = 0, c = 0; // UNIT:zul and COMP:x both weigh 4
    Add(&older, RAS1_FILTER_UNIT, "zul", RAS1_FLOW);
    Add(&newer, RAS1_FILTER_COMP, "x", RAS1_ERROR);
    EXPECT_EQ(Word("zulcrr", "f"), kError);
    EXPECT_EQ(RAS1_SuspendFilter(newer), 0);
    EXPECT_EQ(RAS1_SuspendFilter(newer), STC1_Warning);
    EXPECT_EQ(Word("zulcrr", "f"), kFlow);
    // Its twin takes the same id and word and leaves it suspended.
    Add(&twin, RAS1_FILTER_COMP, "x", RAS1_ERROR | RAS1_FLOW);
    EXPECT_EQ(twin, newer);
    EXPECT_EQ(RAS1_QueryFilter(newer, &c), 0);
    EXPECT_EQ(c, kError | kFlow);
    EXPECT_EQ(Word("zulcrr", "f"), kFlow);
    EXPECT_EQ(RAS1_SuspendFilter(older), 0);
    EXPECT_EQ(Word("zulcrr", "f"), kDetail); // the default class
    EXPECT_EQ(RAS1_ResumeFilter(newer), 0);
    EXPECT_EQ(RAS1_ResumeFilter(newer), STC1_Warning);
    EXPECT_EQ(Word("zulcrr", "f"), kError | kFlow);
}

TEST_F(Filters, ReusedOrSetFilterKeepsItsIdAndTakesTheNewWord)
{
    uint32_t first = 0, again = 0, other = 0, old = 0;
    EXPECT_EQ(Add(&first, RAS1_FILTER_UNIT, "zulcr", RAS1_FLOW), STC1_Warning);
    Record &r = Kept("zulcr", "CRF1_New");
    EXPECT_EQ(RAS1_ReadClass(&r.entry) & ~RAS1_ANY, kFlow);
    EXPECT_EQ(Add(&again, RAS1_FILTER_UNIT, "ZULCR", kError), 0); // letter case: the same filter
    EXPECT_EQ(again, first);
    EXPECT_EQ(RAS1_ReadClass(&r.entry) & ~RAS1_ANY, kError); // cached words go stale
    char unit[] = "zulcr", entry[] = "CRF1_";
    ZULRA_elem_t two[] = {{unit, 5, RAS1_FILTER_UNIT}, {entry, 5, RAS1_FILTER_ENTRY}};
    EXPECT_EQ(RAS1_NewFilter(&other, RAS1_FLOW, two, 2, 0, 0), STC1_Warning);
    EXPECT_NE(other, first);
    EXPECT_EQ(RAS1_SetFilter(first, &old, RAS1_DETAIL), 0);
    EXPECT_EQ(old, kError);
    EXPECT_EQ(Word("zulcr", "f"), kDetail);
    EXPECT_EQ(Word("zulcr", "CRF1_New"), kFlow);
    EXPECT_EQ(RAS1_DestroyFilter(other), 0); // the lighter one speaks again
    EXPECT_EQ(Word("zulcr", "CRF1_New"), kDetail);
    Add(nullptr, RAS1_FILTER_UNIT, "zulrange", RAS1_FLOW, 10, 20); // both bounds count
    for (auto [line, word] : {std::pair{9u, 0u}, {10u, kFlow}, {20u, kFlow}, {21u, 0u}})
        EXPECT_EQ(Word("zulrange", "f", line), word) << "line " << line;
}

TEST_F(Filters, StatusesOfBadCallsAndIdsNeverReused)
{
    uint32_t c = 0, id = 0, next = 0;
    for (uint32_t unknown : {12345u, 0u}) // NotThere before a null argument counts
        EXPECT_EQ((std::vector{RAS1_DestroyFilter(unknown), RAS1_QueryFilter(unknown, nullptr),
                               RAS1_SetFilter(unknown, &c, RAS1_FLOW), RAS1_SuspendFilter(unknown), RAS1_ResumeFilter(unknown)}),
                  std::vector<int>(5, STC1_NotThere)) << unknown;
    ASSERT_EQ(Add(&id, RAS1_FILTER_UNIT, "zulx", 0), 0);
    EXPECT_EQ(RAS1_QueryFilter(id, nullptr), STC1_BadArgument);
    EXPECT_EQ(RAS1_DestroyFilter(id), 0);
    EXPECT_EQ(Add(&next, RAS1_FILTER_UNIT, "zulx", 0), 0);
    EXPECT_TRUE(id % 2 == 1 && next % 2 == 1 && next != id);
    EXPECT_EQ(RAS1_QueryFilter(id, &c), STC1_NotThere);
    char text[] = "abc";
    auto add = [](ZULRA_elem_t e, uint32_t count) { return RAS1_NewFilter(nullptr, RAS1_FLOW, &e, count, 0, 0); };
    // No elements, length without text, text without length, no such type;
    // a reserved type and an element naming nothing are accepted.
    EXPECT_EQ((std::vector{add({text, 3, 0}, 0), add({nullptr, 3, 0}, 1), add({text, 0, 0}, 1), add({text, 3, 7}, 1),
                           add({text, 3, -1}, 1), add({text, 3, 4}, 1), add({nullptr, 0, 1}, 1)}),
              (std::vector<int>{1, 1, 1, 1, 1, STC1_Warning, STC1_Warning}));
    EXPECT_EQ(Word("anything", "f"), kFlow); // a filter that names nothing selects everything
}

TEST_F(Filters, ThreadsAddingAndSyncingMeetNoHarm)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([t] {
            for (int i = 0; i < 200; i++) {
                char unit[16];
                snprintf(unit, sizeof unit, "u%d_%d", t, i % 20);
                uint32_t id = 0;
                Add(&id, RAS1_FILTER_UNIT, unit, RAS1_FLOW);
                Word(unit, "f");
                if (i % 3 == 0)
                    RAS1_DestroyFilter(id);
            }
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(Word("u0_19", "f"), kFlow);
}

} // namespace
