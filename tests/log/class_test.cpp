// The class vocabulary: completion, names and abbreviations, the default
// class and the class of a store.
#include "logtest.h"

#include <gtest/gtest.h>

namespace {

uint32_t SyncWord()
{
    return __atomic_load_n(&ZULRA_Pcb()->anchor->syncWord, __ATOMIC_ACQUIRE);
}

TEST(LogClass, SetClassCompletesPartialWords)
{
    struct Case {
        uint32_t given, set;
        int status;
    } cases[] = {
        {RAS1_ERROR, 0xFFFFFE80u, STC1_Warning},
        {RAS1_LIBRARY, 0x20001EFFu, STC1_Warning},
        {RAS1_ANY, 0xFFFFFFFFu, STC1_Warning},
        {RAS1_PUBLIC, 0xFFFFE2FFu, STC1_Warning},
        {RAS1_ERROR | RAS1_PUBLIC | RAS1_LIBRARY, 0x20000280u, STC1_Success},
        {RAS1_ERROR | RAS1_ANY | RAS1_LIBRARY, 0x20001F80u, STC1_Warning}, // ANY counts in no test
        {0, 0, STC1_Success},
    };
    for (const Case &c : cases) {
        uint32_t old = 12345, now = 0;
        RAS1_QueryClass(&now);
        EXPECT_EQ(RAS1_SetClass(&old, c.given), c.status) << std::hex << c.given;
        EXPECT_EQ(old, now);
        RAS1_QueryClass(&now);
        EXPECT_EQ(now, c.set) << std::hex << c.given;
    }
}

TEST(LogClass, SetClassMovesTheSyncWordOnlyOnAChange)
{
    uint32_t w = SyncWord();
    EXPECT_EQ(RAS1_SetClass(nullptr, RAS1_ERROR), STC1_Warning);
    EXPECT_EQ(SyncWord(), w + 1);
    EXPECT_EQ(RAS1_SetClass(nullptr, RAS1_ERROR), STC1_Warning); // same word: completed still
    EXPECT_EQ(RAS1_SetClass(nullptr, 0xFFFFFE80u), STC1_Success);
    EXPECT_EQ(SyncWord(), w + 1);
    EXPECT_EQ(RAS1_SetClass(nullptr, 0), STC1_Success);
    EXPECT_EQ(SyncWord(), w + 2);
}

TEST(LogClass, QueryClassValueReadsNamesAndAbbreviations)
{
    struct Case {
        const char *text;
        int status;
        uint32_t classes;
    } cases[] = {
        {"ERROR", 0, RAS1_ERROR}, {"er", 0, RAS1_ERROR}, {"Stat", 0, RAS1_STATE},
        {"ST", 0, RAS1_STATE}, {"STO", 0, RAS1_STORAGE}, // STATE stands before STORAGE
        {"PRI PRE PRO", 0, RAS1_PRIVATE | RAS1_PRESENTATION | RAS1_PROBE},
        {"EVERYT", 0, RAS1_EVERYTRACE}, {"everyunit", 0, RAS1_EVERYUNIT}, {"ALL", 0, 0xFFFFFFFFu},
        {"ANY", 0, RAS1_ANY}, {"ERROR:FLOW_detail,,(metrics)", 0, 0xC3u}, {"  ", 0, 0},
        {"PR", 1, 0}, {"E", 1, 0}, {"AL", 1, 0}, {"AN", 1, 0}, // too short to choose
        {"EVERY", 1, 0}, {"ERRORS", 1, 0}, {"NONE", 1, 0},
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

TEST(LogClass, QueryClassNameWritesShortFormsThatReadBack)
{
    struct Case {
        uint32_t classes;
        const char *text;
    } cases[] = {
        {0xFFFFFE80u, "EVERYE EVERYU ER"}, {0xFFFFFFFFu, "ALL"}, {0x20000280u, "ER PU LI"},
        {0x60008200u, "PU SU LI PRO"},     {RAS1_OUTPUT | RAS1_ANY, "OUT ANY"}, {0, ""},
    };
    for (const Case &c : cases) {
        char buffer[64];
        uint32_t length = sizeof buffer;
        EXPECT_EQ(RAS1_QueryClassName(c.classes, buffer, &length), STC1_Success);
        EXPECT_STREQ(buffer, c.text);
        EXPECT_EQ(length, std::strlen(c.text));
        uint32_t back = 0;
        EXPECT_EQ(RAS1_QueryClassValue(&back, buffer, length), STC1_Success) << buffer;
        EXPECT_EQ(back, c.classes) << buffer;
    }
}

TEST(LogClass, QueryClassNameWithLittleRoom)
{
    struct Case {
        uint32_t classes, size;
        int status;
        const char *text;
    } cases[] = {
        {0xFFFFFE80u, 0, STC1_Shortage, ""},  // no room; the NUL still goes in
        {0, 0, STC1_Success, ""},             // nothing to write
        {0xFFFFFE80u, 7, STC1_Shortage, "EVERYE"}, // 6 fit, the NUL takes the 7th
        {0xFFFFFE80u, 8, STC1_Shortage, "EVERYE"}, // no room for blank and name
        {0xFFFFFE80u, 17, STC1_Success, "EVERYE EVERYU ER"},
        {0xFFFFFE80u, 16, STC1_Shortage, "EVERYE EVERYU"},
    };
    for (const Case &c : cases) {
        char buffer[32];
        std::memset(buffer, 'z', sizeof buffer);
        uint32_t length = c.size;
        EXPECT_EQ(RAS1_QueryClassName(c.classes, buffer, &length), c.status) << c.size;
        EXPECT_STREQ(buffer, c.text);
        EXPECT_EQ(length, std::strlen(c.text));
        EXPECT_EQ(buffer[std::strlen(c.text) + 1], 'z'); // nothing behind the NUL
    }
    uint32_t length = 4;
    EXPECT_EQ(RAS1_QueryClassName(1, nullptr, &length), STC1_BadArgument);
}

TEST(LogClass, StoreClassQueriesAndChanges)
{
    Sink s;
    ASSERT_EQ(RAS1_RegisterStore("def", 3, &s, Sink::Write, RAS1_ANY), STC1_Success);
    ASSERT_EQ(RAS1_RegisterStore("other", 5, &s, Sink::Write, 0x20000280u), STC1_Success);
    uint32_t c = 1;
    EXPECT_EQ(RAS1_QueryStoreClass("DEF", 3, &c), STC1_Success);
    EXPECT_EQ(c, 0u); // the default store keeps no class
    EXPECT_EQ(ZULRA_Pcb()->defaultStore->storeName[0], 'D');

    struct Case {
        const char *name;
        uint32_t length, classes;
        int status;
        uint32_t stored; // read back from `other`
    } cases[] = {
        {"other", 0, 0, STC1_BadArgument, 0}, // length 0 without a default store
        {"", 9, RAS1_ERROR, STC1_BadArgument, 0},
        {"nope", 4, RAS1_ERROR, STC1_NotThere, 0},
        {"Other", 5, RAS1_FLOW, STC1_Warning, 0xFFFFFE40u},
        {"OTHER", 5, 0x20000240u, STC1_Success, 0x20000240u},
    };
    // While "def" is the default store, length 0 acts on it.
    uint32_t w = SyncWord();
    EXPECT_EQ(RAS1_SetStoreClass(nullptr, 0, RAS1_ERROR), STC1_Warning);
    EXPECT_EQ(SyncWord(), w + 1);
    RAS1_QueryStoreClass("def", 3, &c);
    EXPECT_EQ(c, 0xFFFFFE80u);
    // Class 0 on the default store: the process has none any more.
    EXPECT_EQ(RAS1_SetStoreClass("def", 3, 0), STC1_Success);
    EXPECT_EQ(RAS1_SetStoreClass("def", 3, 0), STC1_Success);
    EXPECT_EQ(ZULRA_Pcb()->defaultStore, nullptr);
    for (const Case &k : cases) {
        EXPECT_EQ(RAS1_SetStoreClass(k.name, k.length, k.classes), k.status) << k.name;
        if (k.status <= STC1_Warning && k.stored != 0) {
            RAS1_QueryStoreClass("other", 5, &c);
            EXPECT_EQ(c, k.stored);
        }
    }
    // 256 names a new default store.
    EXPECT_EQ(RAS1_SetStoreClass("other", 5, RAS1_ANY), STC1_Success);
    RAS1_QueryStoreClass("other", 5, &c);
    EXPECT_EQ(c, 0u);
    EXPECT_EQ(ZULRA_Pcb()->defaultStore->storeName[0], 'O');

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
    Record r("zulxx", "fn");
    uint32_t c = RAS1_Sync(&r.entry);
    EXPECT_EQ(c, 0xFFFFFF81u);
    std::string text = AfterOpening(s.Text());
    EXPECT_NE(text.find("zulxx,1,\"fn\") Compiled: x x\n"), std::string::npos) << text;
    EXPECT_NE(text.find("zulxx,1,\"fn\") Active RAS1 Classes: EVERYE EVERYU ER DE\n"),
              std::string::npos)
        << text;
}

} // namespace
