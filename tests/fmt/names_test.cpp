// Names of reason and status codes.
#include <zul/rsn1.h>
#include <zul/stc1.h>

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(CodeNames, BoundsAndNames)
{
    struct Case {
        int (*call)(int32_t, const char **);
        int32_t code;
        int status;
        const char *name;
    } cases[] = {
        {RSN1_GetName, RSN1_NoError, STC1_Success, "NoError"},
        {RSN1_GetName, RSN1_NoReason, STC1_Success, "NoReason"},
        {RSN1_GetName, RSN1_Communication, STC1_Success, "Communication"},
        {RSN1_GetName, RSN1_Storage, STC1_Success, "Storage"},
        {RSN1_GetName, RSN1_Access, STC1_Success, "Access"},
        {RSN1_GetName, RSN1_User, STC1_NotThere, nullptr}, // 64: past the bound
        {RSN1_GetName, -1, STC1_NotThere, nullptr},
        {RSN1_GetName, INT32_MIN, STC1_NotThere, nullptr},
        {STC1_GetName, STC1_Success, STC1_Success, "Success"},
        {STC1_GetName, STC1_ProtocolError, STC1_Success, "ProtocolError"},
        {STC1_GetName, STC1_Warning, STC1_Success, "Warning"},
        {STC1_GetName, STC1_Authority, STC1_NotThere, nullptr}, // 11: past the bound
        {STC1_GetName, -1, STC1_NotThere, nullptr},
        {STC1_GetName, INT32_MAX, STC1_NotThere, nullptr},
    };
    for (const Case &k : cases) {
        const char *sentinel = "untouched";
        const char *name = sentinel;
        EXPECT_EQ(k.call(k.code, &name), k.status) << k.code;
        if (k.name != nullptr)
            EXPECT_STREQ(name, k.name) << k.code;
        else
            EXPECT_EQ(name, sentinel) << k.code; // left alone
    }
}

TEST(CodeNames, EveryCellIsAZeroFilledTwentyByteCell)
{
    struct Table {
        int (*call)(int32_t, const char **);
        int32_t bound;
    } tables[] = {{RSN1_GetName, 64}, {STC1_GetName, 11}};
    for (const Table &t : tables) {
        const char *previous = nullptr;
        for (int32_t code = 0; code < t.bound; ++code) {
            const char *name = nullptr;
            ASSERT_EQ(t.call(code, &name), STC1_Success) << code;
            size_t length = strlen(name);
            EXPECT_GT(length, 0u) << code;
            EXPECT_LE(length, 13u) << code;
            for (size_t i = length; i < 20; ++i)
                EXPECT_EQ(name[i], '\0') << code;
            if (previous != nullptr)
                EXPECT_EQ(name - previous, 20) << code;
            previous = name;
        }
    }
}

TEST(CodeNames, NullOutputIsRefused)
{
    EXPECT_EQ(RSN1_GetName(0, nullptr), STC1_BadArgument);
    EXPECT_EQ(STC1_GetName(0, nullptr), STC1_BadArgument);
}

} // namespace
