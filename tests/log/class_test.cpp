// The class vocabulary: completion, names and abbreviations, names that
// read back, the default class and the class of a store.
#include "logtest.h"

#include <gtest/gtest.h>

namespace {

// The word given, the word set, the status, and whether records go stale
// (only when the word changed).
TEST(LogClass, SetClassCompletesPartialWordsAndMovesTheSyncWordOnAChange)
{
    struct { uint32_t given, set; int status; bool moved; } cases[] = {
        {RAS1_ERROR, 0xFFFFFE80u, STC1_Warning, 1}, {RAS1_ERROR, 0xFFFFFE80u, STC1_Warning, 0},
        {0xFFFFFE80u, 0xFFFFFE80u, STC1_Success, 0}, {RAS1_LIBRARY, 0x20001EFFu, STC1_Warning, 1},
        {RAS1_PUBLIC, 0xFFFFE2FFu, STC1_Warning, 1}, {RAS1_ERROR | RAS1_PUBLIC | RAS1_LIBRARY, 0x20000280u, STC1_Success, 1},
        {RAS1_ERROR | RAS1_ANY | RAS1_LIBRARY, 0x20001F80u, STC1_Warning, 1}, // ANY counts in no test
        {0, 0, STC1_Success, 1},
    };
    Record &r = Kept("u", "f");
    for (const auto &c : cases) {
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
    struct { const char *text; int status; uint32_t classes; } cases[] = {
        {"er", 0, RAS1_ERROR}, {"ST", 0, RAS1_STATE}, {"STO", 0, RAS1_STORAGE}, // STATE stands before STORAGE
        {"ALL", 0, 0xFFFFFFFFu}, {"ERROR:FLOW_detail,,(metrics)", 0, 0xC3u},
        {"PR", 1, 0}, {"EVERY", 1, 0}, {"ERRORS", 1, 0}, // too short to choose, too long
        {"FLOW ERRORERRORERRORER", 1, RAS1_FLOW}, // 17 letters; what came before stays
    };
    uint32_t v;
    for (const auto &c : cases) {
        v = 0xDEAD;
        EXPECT_EQ(RAS1_QueryClassValue(&v, c.text, 0), c.status) << c.text;
        EXPECT_EQ(v, c.classes) << c.text;
    }
    EXPECT_EQ(RAS1_QueryClassValue(&v, "FLOWXYZ", 4), STC1_Success); // the rest is not read
    EXPECT_EQ(v, RAS1_FLOW);
    EXPECT_EQ(RAS1_QueryClassValue(nullptr, "FLOW", 4), STC1_BadArgument);
}

// What fits when the room is short: never a byte behind the NUL.
TEST(LogClass, QueryClassNameWritesShortFormsWithinItsRoom)
{
    struct { uint32_t classes, size; int status; const char *text; } cases[] = {
        {0x60008200u, 64, STC1_Success, "PU SU LI PRO"}, {0, 64, STC1_Success, ""},
        {0xFFFFFE80u, 0, STC1_Shortage, ""}, // no room: the NUL still goes in
        {0xFFFFFE80u, 8, STC1_Shortage, "EVERYE"}, // no room for blank and name
        {0xFFFFFE80u, 17, STC1_Success, "EVERYE EVERYU ER"}, {0xFFFFFE80u, 16, STC1_Shortage, "EVERYE EVERYU"},
    };
    for (const auto &c : cases) {
        char buffer[80];
        std::memset(buffer, 'z', sizeof buffer);
        uint32_t length = c.size;
        EXPECT_EQ(RAS1_QueryClassName(c.classes, buffer, &length), c.status) << c.text;
        EXPECT_STREQ(buffer, c.text);
        EXPECT_EQ(length, std::strlen(c.text));
        EXPECT_EQ(buffer[std::strlen(c.text) + 1], 'z') << c.text;
    }
}

// Every word prints as names that read back to it; a single bit prints as
// its shortest such form.
TEST(ClassNames, EveryWordReadsBackAndSingleBitsAreShortest)
{
    auto readBack = [](const std::string &text) {
        uint32_t value = 0;
        return RAS1_QueryClassValue(&value, text.c_str(), uint32_t(text.size())) == STC1_Success ? value : 0xBADu;
    };
    for (int bit = 0; bit < 32; bit++)
        for (uint32_t word : {1u << bit, ~(1u << bit), (1u << bit) | RAS1_STORAGE | RAS1_STATE, 0xFFFFFFFFu}) {
            char buffer[256];
            uint32_t length = sizeof buffer;
            ASSERT_EQ(RAS1_QueryClassName(word, buffer, &length), STC1_Success);
            EXPECT_EQ(readBack(buffer), word) << buffer;
            if (word == 1u << bit && length > 1)
                EXPECT_NE(readBack(std::string(buffer, length - 1)), word) << buffer << " has a shorter form";
        }
}

// Each step sets a store's class, then reads `read`'s class back (when
// named); the change makes records stale.
TEST(LogClass, StoreClassQueriesAndChanges)
{
    Sink s;
    ASSERT_EQ(RAS1_RegisterStore("def", 3, &s, Sink::Write, RAS1_ANY), STC1_Success);
    ASSERT_EQ(RAS1_RegisterStore("other", 5, &s, Sink::Write, 0x20000280u), STC1_Success);
    uint32_t c = 1;
    struct { const char *name; uint32_t length, classes; int status; const char *read; uint32_t stored; } cases[] = {
        {nullptr, 0, RAS1_ERROR, STC1_Warning, "def", 0xFFFFFE80u}, // length 0: the default store
        {"def", 3, 0, STC1_Success, "def", 0}, {"other", 0, 0, STC1_BadArgument, nullptr, 0}, // no default store now
        {"nope", 4, RAS1_ERROR, STC1_NotThere, nullptr, 0}, {"Other", 5, RAS1_FLOW, STC1_Warning, "other", 0xFFFFFE40u},
        {"other", 5, RAS1_ANY, STC1_Success, "other", 0}, // a new default store
        {nullptr, 0, 0x20000240u, STC1_Success, "other", 0x20000240u},
    };
    Record &r = Kept("u", "f");
    for (const auto &k : cases) {
        RAS1_Sync(&r.entry);
        EXPECT_EQ(RAS1_SetStoreClass(k.name, k.length, k.classes), k.status) << k.name;
        if (k.read) {
            EXPECT_EQ(RAS1_QueryStoreClass(k.read, uint32_t(std::strlen(k.read)), &c), STC1_Success);
            EXPECT_EQ(c, k.stored) << k.name;
            EXPECT_FALSE(IsCurrent(r.entry)) << k.name;
        }
    }
    EXPECT_EQ(RAS1_QueryStoreClass("abcdefghi", 9, &c), STC1_BadArgument);
    EXPECT_EQ(RAS1_QueryStoreClass("other", 5, nullptr), STC1_BadArgument);
}

TEST(LogClass, SyncWritesTheClassLineUnderDetail)
{
    Sink s;
    RAS1_RegisterStore("s", 1, &s, Sink::Write, RAS1_ANY);
    RAS1_SetClass(nullptr, RAS1_DETAIL | RAS1_ERROR);
    Record &r = Kept("zulxx", "fn");
    EXPECT_EQ(RAS1_Sync(&r.entry), 0xFFFFFF81u);
    EXPECT_NE(s.Text().find("zulxx,1,\"fn\") Active RAS1 Classes: EVERYE EVERYU ER DE\n"), std::string::npos) << s.Text();
}

} // namespace
