// The class vocabulary: completion, names and abbreviations, the default
// class and the class of a store.
#include "logtest.h"

#include <gtest/gtest.h>

namespace {

// In turn: the word given, the word set, the status, and whether records
// go stale (only when the word changed).
TEST(LogClass, SetClassCompletesPartialWordsAndMovesTheSyncWordOnAChange)
{
    struct Case { uint32_t given, set; int status; uint32_t moved; } cases[] = {
        {RAS1_ERROR, 0xFFFFFE80u, STC1_Warning, 1},
        {RAS1_ERROR, 0xFFFFFE80u, STC1_Warning, 0}, // same word: completed still
        {0xFFFFFE80u, 0xFFFFFE80u, STC1_Success, 0},
        {RAS1_LIBRARY, 0x20001EFFu, STC1_Warning, 1},
        {RAS1_ANY, 0xFFFFFFFFu, STC1_Warning, 1},
        {RAS1_PUBLIC, 0xFFFFE2FFu, STC1_Warning, 1},
        {RAS1_ERROR | RAS1_PUBLIC | RAS1_LIBRARY, 0x20000280u, STC1_Success, 1},
        {RAS1_ERROR | RAS1_ANY | RAS1_LIBRARY, 0x20001F80u, STC1_Warning, 1}, // ANY counts in no test
        {0, 0, STC1_Success, 1},
        {0, 0, STC1_Success, 0},
    };
    Record &r = Kept("u", "f");
    for (const Case &c : cases) {
        uint32_t before = DefaultClass(), old = 12345;
        RAS1_Sync(&r.entry);
        EXPECT_EQ(RAS1_SetClass(&old, c.given), c.status) << std::hex << c.given;
        EXPECT_EQ(old, before);
        EXPECT_EQ(DefaultClass(), c.set) << std::hex << c.given;
        EXPECT_EQ(IsCurrent(r.entry), !c.moved) << std::hex << c.given;
    }
}

TEST(LogClass, QueryClassValueReadsNamesAndAbbreviations)
{
    struct Case { const char *text; int status; uint32_t classes; } cases[] = {
        {"er", 0, RAS1_ERROR}, {"ST", 0, RAS1_STATE}, {"STO", 0, RAS1_STORAGE}, // STATE stands before STORAGE
        {"PRI PRE PRO", 0, RAS1_PRIVATE | RAS1_PRESENTATION | RAS1_PROBE}, {"everyunit", 0, RAS1_EVERYUNIT},
        {"ALL", 0, 0xFFFFFFFFu}, {"ANY", 0, RAS1_ANY}, {"ERROR:FLOW_detail,,(metrics)", 0, 0xC3u}, {"  ", 0, 0},
        {"PR", 1, 0}, {"AL", 1, 0}, {"EVERY", 1, 0}, {"ERRORS", 1, 0}, // too short to choose, too long
        {"FLOW ERRORERRORERRORER", 1, RAS1_FLOW}, // 17 letters; what came before stays
        {"FLOW bogus DETAIL", 1, RAS1_FLOW},
    };
    for (const Case &c : cases) {
        uint32_t v = 0xDEAD;
        EXPECT_EQ(RAS1_QueryClassValue(&v, c.text, 0), c.status) << c.text;
        EXPECT_EQ(v, c.classes) << c.text;
    }
    // The length counts: the rest of the text is not read.
    uint32_t v;
    EXPECT_EQ(RAS1_QueryClassValue(&v, "FLOWXYZ", 4), STC1_Success);
    EXPECT_EQ(v, RAS1_FLOW);
    EXPECT_EQ(RAS1_QueryClassValue(nullptr, "FLOW", 4), STC1_BadArgument);
    EXPECT_EQ(RAS1_QueryClassValue(&v, nullptr, 4), STC1_BadArgument);
}

// Short forms that read back to the same word, and what fits when the
// room is short: never a byte behind the NUL.
TEST(LogClass, QueryClassNameWritesShortFormsWithinItsRoom)
{
    struct Case { uint32_t classes, size; int status; const char *text; } cases[] = {
        {0xFFFFFFFFu, 64, STC1_Success, "ALL"}, {0x60008200u, 64, STC1_Success, "PU SU LI PRO"},
        {RAS1_OUTPUT | RAS1_ANY, 64, STC1_Success, "OUT ANY"}, {0, 64, STC1_Success, ""},
        {0xFFFFFE80u, 0, STC1_Shortage, ""}, // no room: the NUL still goes in
        {0xFFFFFE80u, 7, STC1_Shortage, "EVERYE"}, // 6 fit, the NUL takes the 7th
        {0xFFFFFE80u, 8, STC1_Shortage, "EVERYE"}, // no room for blank and name
        {0xFFFFFE80u, 17, STC1_Success, "EVERYE EVERYU ER"}, {0xFFFFFE80u, 16, STC1_Shortage, "EVERYE EVERYU"},
    };
    for (const Case &c : cases) {
        char buffer[80];
        std::memset(buffer, 'z', sizeof buffer);
        uint32_t length = c.size, back = 0;
        EXPECT_EQ(RAS1_QueryClassName(c.classes, buffer, &length), c.status) << c.text;
        EXPECT_STREQ(buffer, c.text);
        EXPECT_EQ(length, std::strlen(c.text));
        EXPECT_EQ(buffer[std::strlen(c.text) + 1], 'z') << c.text;
        if (c.status == STC1_Success) {
            EXPECT_EQ(RAS1_QueryClassValue(&back, buffer, length), STC1_Success) << buffer;
            EXPECT_EQ(back, c.classes) << buffer;
        }
    }
    uint32_t length = 4;
    EXPECT_EQ(RAS1_QueryClassName(1, nullptr, &length), STC1_BadArgument);
}

// Each step sets a store's class, then reads `read`'s class back (when
// named); the change makes records stale.
TEST(LogClass, StoreClassQueriesAndChanges)
{
    Sink s;
    ASSERT_EQ(RAS1_RegisterStore("def", 3, &s, Sink::Write, RAS1_ANY), STC1_Success);
    ASSERT_EQ(RAS1_RegisterStore("other", 5, &s, Sink::Write, 0x20000280u), STC1_Success);
    uint32_t c = 1;
    EXPECT_EQ(RAS1_QueryStoreClass("DEF", 3, &c), STC1_Success);
    EXPECT_EQ(c, 0u); // the default store keeps no class
    struct Case { const char *name; uint32_t length, classes; int status; const char *read; uint32_t stored; } cases[] = {
        {nullptr, 0, RAS1_ERROR, STC1_Warning, "def", 0xFFFFFE80u}, // length 0: the default store
        {"def", 3, 0, STC1_Success, "def", 0}, {"def", 3, 0, STC1_Success, nullptr, 0}, // none now
        {"other", 0, 0, STC1_BadArgument, nullptr, 0}, // length 0 without a default store
        {"", 9, RAS1_ERROR, STC1_BadArgument, nullptr, 0}, {"nope", 4, RAS1_ERROR, STC1_NotThere, nullptr, 0},
        {"Other", 5, RAS1_FLOW, STC1_Warning, "other", 0xFFFFFE40u},
        {"other", 5, RAS1_ANY, STC1_Success, "other", 0}, // a new default store
        {nullptr, 0, 0x20000240u, STC1_Success, "other", 0x20000240u},
    };
    Record &r = Kept("u", "f");
    for (const Case &k : cases) {
        RAS1_Sync(&r.entry);
        EXPECT_EQ(RAS1_SetStoreClass(k.name, k.length, k.classes), k.status) << k.name;
        if (k.read) {
            EXPECT_EQ(RAS1_QueryStoreClass(k.read, uint32_t(std::strlen(k.read)), &c), STC1_Success);
            EXPECT_EQ(c, k.stored) << k.name;
            EXPECT_FALSE(IsCurrent(r.entry)) << k.name;
        }
    }
    EXPECT_EQ(RAS1_QueryStoreClass("x", 0, &c), STC1_BadArgument);
    EXPECT_EQ(RAS1_QueryStoreClass("abcdefghi", 9, &c), STC1_BadArgument);
    EXPECT_EQ(RAS1_QueryStoreClass("nope", 4, &c), STC1_NotThere);
    EXPECT_EQ(RAS1_QueryStoreClass("other", 5, nullptr), STC1_BadArgument);
}

TEST(LogClass, SyncPicksAStoreAndWritesTheClassLineUnderDetail)
{
    Sink s;
    RAS1_RegisterStore("s", 1, &s, Sink::Write, RAS1_ANY);
    RAS1_SetClass(nullptr, RAS1_DETAIL | RAS1_ERROR);
    Record &r = Kept("zulxx", "fn");
    EXPECT_EQ(RAS1_Sync(&r.entry), 0xFFFFFF81u);
    std::string text = AfterOpening(s.Text());
    EXPECT_NE(text.find("zulxx,1,\"fn\") Compiled: x x\n"), std::string::npos) << text;
    EXPECT_NE(text.find("zulxx,1,\"fn\") Active RAS1 Classes: EVERYE EVERYU ER DE\n"), std::string::npos)
        << text;
}

} // namespace
