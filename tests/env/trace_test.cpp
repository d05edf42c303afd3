// The lines that BSS1_GetEnv writes to the log, by class.
#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>

#include <zul/bss1.h>
#include <zul/ras1.h>

namespace {

std::string captured;

int Capture(void *, const char *text, uint32_t length, ZULRA_entry_t *, uint32_t)
{
    captured.append(text, length);
    return 0;
}

bool Has(const std::string &text) { return captured.find(text) != std::string::npos; }

TEST(GetEnvTrace, MessagesFollowTheClasses)
{
    setenv("ZUL_TEST_FOUND", "v", 1);
    ASSERT_EQ(RAS1_RegisterStore("CAPTURE", 7, nullptr, Capture, RAS1_ANY), 0);

    struct Case {
        const char *classes;
        bool found, fallback, absent, flow;
    } cases[] = {
        {"ERROR", true, false, false, false},
        {"DETAIL", true, true, false, false},
        {"STATE", true, false, false, false},
        {"STATE DETAIL", true, true, true, false},
        {"FLOW", true, false, false, true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.classes);
        uint32_t classes = 0;
        ASSERT_EQ(RAS1_QueryClassValue(&classes, c.classes, 0), 0);
        RAS1_SetClass(nullptr, classes);
        captured.clear();

        EXPECT_STREQ(BSS1_GetEnv("ZUL_TEST_FOUND", "fb"), "v");
        EXPECT_STREQ(BSS1_GetEnv("ZUL_TEST_UNSET", "fb"), "fb");
        EXPECT_EQ(BSS1_GetEnv("ZUL_TEST_UNSET", nullptr), nullptr);

        EXPECT_EQ(Has("ZUL_TEST_FOUND=\"v\"\n"), c.found) << captured;
        EXPECT_EQ(Has("ZUL_TEST_UNSET=\"fb\" (default)\n"), c.fallback) << captured;
        EXPECT_EQ(Has("ZUL_TEST_UNSET=\"\"\n"), c.absent) << captured;
        EXPECT_EQ(Has("Entry\n"), c.flow) << captured;
        EXPECT_EQ(Has("Exit: 0x"), c.flow) << captured;
        if (!captured.empty())
            EXPECT_TRUE(Has("zulssge,")) << captured; // the unit in the line head
    }
}

} // namespace
