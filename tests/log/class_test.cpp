// The class vocabulary: completion, names and abbreviations, names that
// read back and the default class.
#include "logtest.h"

#include <gtest/gtest.h>

namespace {

// The word given, the word set, the status, and whether records go stale
// (only when the word changed).
TEST(LogClass, SetClassCompletesPartialWordsAndMovesTheSyncWordOnAChange)
{
    struct { uint32_t given, set; int status; bool moved; } cases[] = {
        {RAS1_ERROR, 0xFFFFFE80u, STC1_Warning, 1}, {RAS1_ERROR, 0xFFFFFE80u, STC1_Warning, 0},
        {RAS1_LIBRARY, 0x20001EFFu, STC1_Warning, 1}, {RAS1_ERROR | RAS1_PUBLIC | RAS1_LIBRARY, 0x20000280u, STC1_Success, 1},
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

} // namespace
