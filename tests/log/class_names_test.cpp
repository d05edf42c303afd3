// Every class name that RAS1_QueryClassName prints reads back to the same
// class, and is the shortest text that does.
#include <zul/ras1.h>

#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace {

// Read the text back; nothing for a text that is not a class name.
std::optional<uint32_t> ReadBack(const std::string &text)
{
    uint32_t value = 0;
    if (RAS1_QueryClassValue(&value, text.c_str(), static_cast<uint32_t>(text.size())) != STC1_Success)
        return std::nullopt;
    return value;
}

const struct { const char *name; uint32_t value; } kNames[] = {
    {"ALL", 0xFFFFFFFFu}, {"EVERYTRACE", RAS1_EVERYTRACE}, {"EVERYENTRY", RAS1_EVERYENTRY},
    {"EVERYUNIT", RAS1_EVERYUNIT}, {"ERROR", RAS1_ERROR}, {"FLOW", RAS1_FLOW}, {"TIME", RAS1_TIME},
    {"STATE", RAS1_STATE}, {"INPUT", RAS1_INPUT}, {"OUTPUT", RAS1_OUTPUT}, {"METRICS", RAS1_METRICS},
    {"DETAIL", RAS1_DETAIL}, {"ANY", RAS1_ANY}, {"MINOR", RAS1_MINOR}, {"PRIVATE", RAS1_PRIVATE},
    {"RESTRICTED", RAS1_RESTRICTED}, {"PUBLIC", RAS1_PUBLIC}, {"APPLICATION", RAS1_APPLICATION},
    {"SUBSYSTEM", RAS1_SUBSYSTEM}, {"LIBRARY", RAS1_LIBRARY}, {"KERNEL", RAS1_KERNEL},
    {"DATABASE", RAS1_DATABASE}, {"PRESENTATION", RAS1_PRESENTATION}, {"CLIENT", RAS1_CLIENT},
    {"SERVER", RAS1_SERVER}, {"NETWORK", RAS1_NETWORK}, {"OBJECT", RAS1_OBJECT}, {"FILE", RAS1_FILE},
    {"THREAD", RAS1_THREAD}, {"WINDOW", RAS1_WINDOW}, {"VIEW", RAS1_VIEW}, {"STORAGE", RAS1_STORAGE},
    {"TOOLKIT", RAS1_TOOLKIT}, {"AGENT", RAS1_AGENT}, {"PROBE", RAS1_PROBE}, {"MANAGER", RAS1_MANAGER},
};

} // namespace

TEST(ClassNames, EachNamePrintsAsItsShortestFormThatReadsBack)
{
    for (const auto &n : kNames) {
        char buffer[64];
        uint32_t length = sizeof buffer;
        ASSERT_EQ(RAS1_QueryClassName(n.value, buffer, &length), STC1_Success) << n.name;
        const std::string printed(buffer, length);
        EXPECT_EQ(std::string(n.name).compare(0, printed.size(), printed), 0) << n.name;
        EXPECT_EQ(ReadBack(printed), std::optional<uint32_t>(n.value)) << n.name << " printed as " << printed;
        EXPECT_NE(ReadBack(printed.substr(0, printed.size() - 1)), std::optional<uint32_t>(n.value))
            << n.name << " has a shorter form than " << printed;
    }
}

// Any word reads back whole: each of its bits has a name.
TEST(ClassNames, WordsOfEveryBitReadBack)
{
    for (int bit = 0; bit < 32; bit++)
        for (uint32_t word : {1u << bit, ~(1u << bit), (1u << bit) | RAS1_STORAGE | RAS1_STATE}) {
            char buffer[256];
            uint32_t length = sizeof buffer;
            ASSERT_EQ(RAS1_QueryClassName(word, buffer, &length), STC1_Success);
            EXPECT_EQ(ReadBack(buffer), std::optional<uint32_t>(word)) << buffer;
        }
}
