// Names of reason and status codes.
#include <zul/rsn1.h>

#include <gtest/gtest.h>

#include <cstring>

namespace {

using Call = int (*)(int32_t, const char **);

TEST(CodeNames, BoundsAndNames)
{
    struct Case {
        Call call;
        int32_t code;
        const char *name; // null: NotThere, output left alone
    } cases[] = {
        {RSN1_GetName, 0, "NoError"},   {RSN1_GetName, 26, "NoReason"}, {RSN1_GetName, 41, "Storage"},
        {RSN1_GetName, 63, "Access"},   {RSN1_GetName, 64, nullptr},    {RSN1_GetName, -1, nullptr},
        {RSN1_GetName, INT32_MIN, nullptr},
        {STC1_GetName, 0, "Success"},   {STC1_GetName, 6, "ProtocolError"}, {STC1_GetName, 10, "Warning"},
        {STC1_GetName, 11, nullptr},    {STC1_GetName, -1, nullptr},    {STC1_GetName, INT32_MAX, nullptr},
    };
    for (const Case &k : cases) {
        const char *name = "untouched";
        EXPECT_EQ(k.call(k.code, &name), k.name ? STC1_Success : STC1_NotThere) << k.code;
        EXPECT_STREQ(name, k.name ? k.name : "untouched") << k.code;
    }
    EXPECT_EQ(RSN1_GetName(0, nullptr), STC1_BadArgument);
    EXPECT_EQ(STC1_GetName(0, nullptr), STC1_BadArgument);
}

TEST(CodeNames, CellsOfTwentyZeroFilledBytes)
{
    for (auto [call, bound] : {std::pair<Call, int32_t>{RSN1_GetName, 64}, {STC1_GetName, 11}}) {
        const char *first = nullptr;
        for (int32_t code = 0; code < bound; ++code) {
            const char *name = nullptr;
            ASSERT_EQ(call(code, &name), STC1_Success);
            first = first ? first : name;
            EXPECT_EQ(name - first, 20 * code);
            size_t length = strlen(name);
            EXPECT_TRUE(length > 0 && length <= 13) << code;
            for (size_t i = length; i < 20; ++i)
                EXPECT_EQ(name[i], '\0') << code;
        }
    }
}

} // namespace
