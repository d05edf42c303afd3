// Each line reaches its store with its trace kind in the flags: the
// macros give the highest kind they test, the fixed lines theirs, plain
// RAS1_Printf and the opening block none; the flags the store has always
// had keep their values.
#include "log/logtest.h"

#include <gtest/gtest.h>

namespace {

// A store that keeps, for each call of its write routine, the kind, the
// other flags and the message of the call's first line.
struct Kinds {
    struct Call { uint32_t kind, flags; std::string text; };
    std::vector<Call> calls;
    static int Write(void *data, const char *text, uint32_t length, ZULRA_entry_t *, uint32_t flags)
    {
        std::string lines(text, length);
        size_t head = lines.find(") ");
        static_cast<Kinds *>(data)->calls.push_back(
            {RAS1_WRITE_KIND(flags), flags & ~RAS1_WRITE_KIND_MASK,
             head == std::string::npos || lines[0] != '(' ? lines : lines.substr(head + 2)});
        return 0;
    }
};

const char kBytes[4] = {'a', 'b', 'c', 'd'};

} // namespace

TEST(LogKind, EachLineCarriesItsKindToTheStore)
{
    Kinds s;
    ASSERT_EQ(RAS1_RegisterStore("kinds", 5, &s, Kinds::Write, RAS1_ANY), STC1_Success);
    Record &r = Kept("kinds", "k");
    const uint32_t classes = RAS1_EVERYTRACE | RAS1_ANY;
    struct Case { const char *what; void (*write)(Record &, uint32_t); uint32_t kind, flags; } cases[] = {
        {"error", [](Record &r, uint32_t c) { RAS1_LOG(r.entry, c, RAS1_ERROR, "error %zu", size_t{1}); },
         RAS1_ERROR, RAS1_WRITE_FORMAT},
        {"state", [](Record &r, uint32_t c) { RAS1_LOG(r.entry, c, RAS1_STATE | RAS1_DETAIL, "state"); },
         RAS1_STATE, RAS1_WRITE_FORMAT},
        {"input", [](Record &r, uint32_t c) { RAS1_LOG(r.entry, c, RAS1_DETAIL | RAS1_INPUT, "input"); },
         RAS1_INPUT, RAS1_WRITE_FORMAT},
        {"any", [](Record &r, uint32_t c) { RAS1_LOG(r.entry, c, RAS1_ANY, "any"); }, 0, RAS1_WRITE_FORMAT},
        {"failed", [](Record &r, uint32_t c) { RAS1_LOG_KIND(r.entry, c, RAS1_ANY, RAS1_ERROR, "failed"); },
         RAS1_ERROR, RAS1_WRITE_FORMAT},
        {"time", [](Record &r, uint32_t) { RAS1_Log(&r.entry, 1, RAS1_TIME | RAS1_METRICS | RAS1_ANY, "time"); },
         RAS1_TIME, RAS1_WRITE_FORMAT},
        {"<0x", [](Record &r, uint32_t c) { RAS1_DUMP(r.entry, c, RAS1_OUTPUT, kBytes, 4, "dump"); },
         RAS1_OUTPUT, RAS1_WRITE_DUMP},
        {"plain", [](Record &r, uint32_t) { RAS1_Printf(&r.entry, 1, "plain"); }, 0, RAS1_WRITE_FORMAT},
        {"<0x", [](Record &r, uint32_t) { RAS1_Dump(&r.entry, 1, kBytes, 4, "plain dump"); }, 0,
         RAS1_WRITE_DUMP},
        {"Entry", [](Record &r, uint32_t) { RAS1_Event(&r.entry, 1, RAS1_EVENT_ENTRY); }, RAS1_FLOW,
         RAS1_WRITE_FORMAT},
        {"Exit: 0x7", [](Record &r, uint32_t) { RAS1_Event(&r.entry, 1, RAS1_EVENT_EXITVALUE, 7ull); },
         RAS1_FLOW, RAS1_WRITE_FORMAT},
        {"Active RAS1 Classes: FL",
         [](Record &r, uint32_t) { RAS1_Event(&r.entry, 1, RAS1_EVENT_CLASSES, 2, 2, "FL"); }, RAS1_DETAIL,
         RAS1_WRITE_FORMAT},
        {"begun", [](Record &r, uint32_t) {
             ZULSS_format_t *format = nullptr;
             ASSERT_EQ(RAS1_BeginFormat(&r.entry, 1, RAS1_WRITE_FORMAT | RAS1_WRITE_AS(RAS1_METRICS), &format), 0);
             BSS1_PrintFormat(format, "begun");
             BSS1_EndFormat(format);
         }, RAS1_METRICS, RAS1_WRITE_FORMAT},
    };
    for (const Case &k : cases) {
        size_t before = s.calls.size();
        k.write(r, classes);
        before += before == 0; // the opening block came first (below)
        ASSERT_GT(s.calls.size(), before) << k.what;
        EXPECT_EQ(s.calls[before].text.substr(0, strlen(k.what)), k.what);
        for (size_t i = before; i < s.calls.size(); i++) { // a dump may take two
            EXPECT_EQ(s.calls[i].kind, k.kind) << k.what;
            EXPECT_EQ(s.calls[i].flags, k.flags | RAS1_WRITE_UNCONFIGURED) << k.what; // no class, no filter: 1
        }
    }
    // The first line's opening block came in a flush of its own, of no kind.
    ASSERT_GE(s.calls.size(), 2u);
    EXPECT_EQ(s.calls[0].text.substr(0, kTitle.size()), kTitle);
    EXPECT_EQ(s.calls[0].kind, 0u);
    EXPECT_EQ(s.calls[1].kind, RAS1_ERROR);

    // The library's own error lines are ERROR lines.
    char expression[] = "NOSUCHCLASS";
    RAS1_InterpretString(expression, sizeof expression - 1);
    EXPECT_EQ(s.calls.back().text, "Class name not recognized: NOSUCHCLASS\n");
    EXPECT_EQ(s.calls.back().kind, RAS1_ERROR);

    // The macros write only when the class word has every bit tested.
    size_t before = s.calls.size();
    RAS1_LOG(r.entry, RAS1_STATE, RAS1_STATE | RAS1_DETAIL, "not written");
    RAS1_DUMP(r.entry, RAS1_DETAIL, RAS1_OUTPUT, kBytes, 4, "not written");
    RAS1_LOG_KIND(r.entry, RAS1_ERROR, RAS1_ANY, RAS1_ERROR, "not written");
    EXPECT_EQ(s.calls.size(), before);
}
