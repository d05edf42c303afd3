// Filters through their public calls: which filter wins, reuse, suspend
// and resume, statuses, line ranges, and the pool that keeps their texts.
#include "filttest.h"

#include <zul/ras1.h>

#include <cstdio>
#include <thread>

using filt::Traced;

namespace {

constexpr uint32_t kFlow = 0xFFFFFE40u;
constexpr uint32_t kError = 0xFFFFFE80u;

// A filter of one element.  The text is copied first, since the unit form
// is made in place; the pool keeps its own copy.
int Add(uint32_t *id, int type, const char *text, uint32_t classes, uint32_t low = 0,
        uint32_t high = 0)
{
    char copy[64];
    std::snprintf(copy, sizeof copy, "%s", text);
    ZULRA_elem_t e{copy, static_cast<uint32_t>(std::strlen(copy)), type};
    return RAS1_NewFilter(id, classes, &e, 1, low, high);
}

using Filters = Traced;

TEST_F(Filters, HeavierFilterWinsWhateverItsAge)
{
    // ENTRY:CRF1_ weighs 1 + 5*5 = 26, UNIT:zulcrr 1 + 6 = 7.
    uint32_t heavy = 0, light = 0;
    EXPECT_EQ(Add(&heavy, RAS1_FILTER_ENTRY, "CRF1_", RAS1_ERROR), STC1_Warning);
    EXPECT_EQ(Add(&light, RAS1_FILTER_UNIT, "zulcrr", RAS1_FLOW), STC1_Warning);
    EXPECT_EQ(Word("zulcrr", "CRF1_Register"), kError);
    EXPECT_EQ(Word("zulcrr", "zulcr_helper"), kFlow);
    EXPECT_EQ(RAS1_DestroyFilter(heavy), 0);
    EXPECT_EQ(Word("zulcrr", "CRF1_Register"), kFlow);
}

TEST_F(Filters, NewerOfEqualWeightsWins)
{
    // UNIT:zul and COMP:x both weigh 4.
    uint32_t older = 0, newer = 0;
    Add(&older, RAS1_FILTER_UNIT, "zul", RAS1_FLOW);
    Add(&newer, RAS1_FILTER_COMP, "x", RAS1_ERROR);
    EXPECT_EQ(Word("zulcrr", "f"), kError);
    // Suspended, the newer one steps behind; resumed, it leads again.
    EXPECT_EQ(RAS1_SuspendFilter(newer), 0);
    EXPECT_EQ(Word("zulcrr", "f"), kFlow);
    EXPECT_EQ(RAS1_ResumeFilter(newer), 0);
    EXPECT_EQ(Word("zulcrr", "f"), kError);
}

TEST_F(Filters, SuspendedFilterSelectsNothingUntilResumed)
{
    ASSERT_EQ(RAS1_SetClass(nullptr, RAS1_DETAIL), STC1_Warning);
    uint32_t id = 0;
    Add(&id, RAS1_FILTER_UNIT, "zulss", RAS1_FLOW);
    EXPECT_EQ(Word("zulssge", "BSS1_GetEnv"), kFlow);

    EXPECT_EQ(RAS1_SuspendFilter(id), 0);
    EXPECT_EQ(RAS1_SuspendFilter(id), STC1_Warning);
    EXPECT_EQ(Word("zulssge", "BSS1_GetEnv"), 0xFFFFFE01u); // the default class
    uint32_t c = 0;
    EXPECT_EQ(RAS1_QueryFilter(id, &c), 0); // still there
    EXPECT_EQ(c, kFlow);

    EXPECT_EQ(RAS1_ResumeFilter(id), 0);
    EXPECT_EQ(RAS1_ResumeFilter(id), STC1_Warning);
    EXPECT_EQ(Word("zulssge", "BSS1_GetEnv"), kFlow);
}

TEST_F(Filters, ReusedFilterKeepsItsIdAndTakesTheNewWord)
{
    uint32_t first = 0, again = 0;
    EXPECT_EQ(Add(&first, RAS1_FILTER_UNIT, "zulcr", RAS1_FLOW), STC1_Warning);
    EXPECT_EQ(first % 2, 1u);
    Record r("zulcr", "CRF1_New");
    EXPECT_EQ(RAS1_ReadClass(&r.entry) & ~RAS1_ANY, kFlow);

    // Letter case does not make a different filter.
    EXPECT_EQ(Add(&again, RAS1_FILTER_UNIT, "ZULCR", 0xFFFFFE80u), 0);
    EXPECT_EQ(again, first);
    uint32_t c = 0;
    EXPECT_EQ(RAS1_QueryFilter(first, &c), 0);
    EXPECT_EQ(c, kError);
    // Records that cached the old word see the new one at their next read.
    EXPECT_EQ(RAS1_ReadClass(&r.entry) & ~RAS1_ANY, kError);

    // A filter that names more is another filter.
    char unit[] = "zulcr", entry[] = "CRF1_";
    ZULRA_elem_t two[] = {{unit, 5, RAS1_FILTER_UNIT}, {entry, 5, RAS1_FILTER_ENTRY}};
    uint32_t other = 0;
    EXPECT_EQ(RAS1_NewFilter(&other, RAS1_FLOW, two, 2, 0, 0), STC1_Warning);
    EXPECT_NE(other, first);
}

TEST_F(Filters, SuspendedTwinStaysSuspended)
{
    uint32_t id = 0, again = 0;
    Add(&id, RAS1_FILTER_UNIT, "zulcr", RAS1_FLOW);
    ASSERT_EQ(RAS1_SuspendFilter(id), 0);
    Add(&again, RAS1_FILTER_UNIT, "zulcr", RAS1_ERROR);
    EXPECT_EQ(again, id);
    EXPECT_EQ(Word("zulcrr", "f"), 0u);
    EXPECT_EQ(RAS1_ResumeFilter(id), 0);
    EXPECT_EQ(Word("zulcrr", "f"), kError);
}

TEST_F(Filters, SetFilterChangesTheWordAndGivesTheOldOne)
{
    uint32_t id = 0, old = 0;
    Add(&id, RAS1_FILTER_ENTRY, "RES1_Use", RAS1_FLOW);
    // A value is a prefix: RES1_UseCount is selected too.
    EXPECT_EQ(Word("zulreu", "RES1_UseCount"), kFlow);
    EXPECT_EQ(RAS1_SetFilter(id, &old, RAS1_DETAIL), 0); // completion is not reported
    EXPECT_EQ(old, kFlow);
    EXPECT_EQ(Word("zulreu", "RES1_Use"), 0xFFFFFE01u);
    EXPECT_EQ(RAS1_SetFilter(id, nullptr, 0), 0);
    EXPECT_EQ(Word("zulreu", "RES1_Use"), 0u);
    // ENTRY texts compare exactly in case.
    EXPECT_EQ(RAS1_SetFilter(id, nullptr, RAS1_FLOW), 0);
    EXPECT_EQ(Word("zulreu", "res1_Use"), 0u);
}

TEST_F(Filters, LineRangeIncludesBothBounds)
{
    Add(nullptr, RAS1_FILTER_UNIT, "zulrange", RAS1_FLOW, 10, 20);
    const struct {
        uint32_t line;
        uint32_t word;
    } cases[] = {{9, 0}, {10, kFlow}, {15, kFlow}, {20, kFlow}, {21, 0}};
    for (const auto &c : cases)
        EXPECT_EQ(Word("zulrange", "f", c.line), c.word) << "line " << c.line;
}

TEST_F(Filters, StatusesOfBadCalls)
{
    uint32_t c = 0;
    const uint32_t unknown = 12345;
    EXPECT_EQ(RAS1_DestroyFilter(unknown), STC1_NotThere);
    EXPECT_EQ(RAS1_QueryFilter(unknown, nullptr), STC1_NotThere);
    EXPECT_EQ(RAS1_QueryFilter(unknown, &c), STC1_NotThere);
    EXPECT_EQ(RAS1_SetFilter(unknown, &c, RAS1_FLOW), STC1_NotThere);
    EXPECT_EQ(RAS1_SuspendFilter(unknown), STC1_NotThere);
    EXPECT_EQ(RAS1_ResumeFilter(unknown), STC1_NotThere);

    uint32_t id = 0;
    ASSERT_EQ(Add(&id, RAS1_FILTER_UNIT, "zulx", 0), 0); // 0 is not completed
    EXPECT_EQ(RAS1_QueryFilter(id, nullptr), STC1_BadArgument);
    EXPECT_EQ(RAS1_DestroyFilter(id), 0);
    EXPECT_EQ(RAS1_DestroyFilter(id), STC1_NotThere);

    char text[] = "abc";
    const struct {
        ZULRA_elem_t element;
        uint32_t count;
        int status;
    } cases[] = {
        {{text, 3, 0}, 0, STC1_BadArgument},      // no elements
        {{nullptr, 3, 0}, 1, STC1_BadArgument},   // length without text
        {{text, 0, 0}, 1, STC1_BadArgument},      // text without length
        {{text, 3, 7}, 1, STC1_BadArgument},      // no such type
        {{text, 3, -1}, 1, STC1_BadArgument},
        {{text, 3, 4}, 1, STC1_Warning},          // reserved type: accepted
        {{nullptr, 0, 1}, 1, STC1_Warning},       // an element naming nothing
    };
    for (const auto &k : cases) {
        ZULRA_elem_t e = k.element;
        EXPECT_EQ(RAS1_NewFilter(nullptr, RAS1_FLOW, &e, k.count, 0, 0), k.status)
            << "type " << k.element.type << " length " << k.element.length;
    }
    // A filter that names nothing selects everything.
    EXPECT_EQ(Word("anything", "f"), kFlow);
}

TEST_F(Filters, IdsAreOddAndNeverReused)
{
    std::vector<uint32_t> ids;
    for (const char *u : {"a", "b", "c"}) {
        uint32_t id = 0;
        Add(&id, RAS1_FILTER_UNIT, u, RAS1_FLOW);
        ids.push_back(id);
    }
    RAS1_DestroyFilter(ids[2]);
    uint32_t next = 0;
    Add(&next, RAS1_FILTER_UNIT, "c", RAS1_FLOW);
    ids.push_back(next);
    for (size_t i = 0; i < ids.size(); i++) {
        EXPECT_EQ(ids[i] % 2, 1u);
        for (size_t j = 0; j < i; j++)
            EXPECT_NE(ids[i], ids[j]);
    }
}

TEST_F(Filters, PoolKeepsOneCopyOfEachText)
{
    ZULRA_pcb_t *block = ZULRA_Pcb();
    std::string big(5000, 'q'); // more than a chunk
    std::vector<ZULRA_spe_t *> first;
    const std::string texts[] = {"zulcr", "zulcrr", "ZULCR", "", big, "CRF1_"};
    for (const auto &t : texts)
        first.push_back(ZULRA_InternString(block, t.data(), (uint32_t)t.size()));
    for (size_t i = 0; i < std::size(texts); i++) {
        std::string copy = texts[i]; // another address, the same text
        ZULRA_spe_t *again = ZULRA_InternString(block, copy.data(), (uint32_t)copy.size());
        EXPECT_EQ(again, first[i]) << texts[i].substr(0, 8);
        EXPECT_EQ(std::string(again->text, again->length), texts[i]);
        for (size_t j = 0; j < i; j++)
            EXPECT_NE(first[i], first[j]);
    }

    // Filters that name the same unit share its record.
    Add(nullptr, RAS1_FILTER_UNIT, "zulcr", RAS1_FLOW);
    char unit[] = "zulcr", entry[] = "CRF1_";
    ZULRA_elem_t two[] = {{unit, 5, RAS1_FILTER_UNIT}, {entry, 5, RAS1_FILTER_ENTRY}};
    ASSERT_EQ(RAS1_NewFilter(nullptr, RAS1_FLOW, two, 2, 0, 0), STC1_Warning);
    int sharing = 0;
    for (auto *f = (ZULRA_filter_t *)block->filters.next; f != block->filters.end; f = f->next)
        sharing += f->unitName == first[0];
    EXPECT_EQ(sharing, 2);
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
