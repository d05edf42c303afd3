// The header of the log.
#include "logtest.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

// What `body` writes through a formatter whose sink keeps the text.
template <typename Body> std::string Format(Body body)
{
    std::string text;
    ZULSS_format_t *f;
    EXPECT_EQ(BSS1_BeginFormat(&f, &text, +[](void *argument, char *data, uint32_t count) {
        if (data != nullptr)
            static_cast<std::string *>(argument)->append(data, count);
        return 0;
    }), STC1_Success);
    body(f);
    BSS1_EndFormat(f);
    return text;
}

// Spot checks of the header: a short item stands in a column of 38, a long
// one on a line of its own, and the two settings close it.
TEST(Info, HeaderSpotChecks)
{
    static char arg0[] = "prog", arg1[] = "abcdefghijklmnop";
    char *argv[] = {arg0, arg1, nullptr};
    int argc = 2;
    BSS1_Main(&argc, argv, "T2345678901234567890");
    unsetenv("ZUL_RAS1");
    setenv("ZUL_ENVPATH", "/etc/zul", 1);
    std::string text = Format([](ZULSS_format_t *f) { EXPECT_EQ(BSS1_DisplayEnvironment(f), 0); });
    size_t at = text.find("       Task Name: T2345678901234567890");
    ASSERT_NE(at, std::string::npos) << text;
    EXPECT_TRUE((text[at + 38] == '\n' || text.substr(at + 38, 2) == "  ")) << text;
    EXPECT_NE(text.find("\n    Command Line: prog abcdefghijklmnop\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\n        ZUL_RAS1: <not specified>\n     ZUL_ENVPATH: /etc/zul\n"), std::string::npos) << text;
}

} // namespace
