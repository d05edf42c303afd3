// BSS1_Match, BSS1_Tokenize and the names of reason and status codes.
#include <zul/bss1.h>
#include <zul/rsn1.h>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

TEST(Match, Table)
{
    struct Case { const char *first, *second; uint32_t length; int expected; } cases[] = {
        {"Zul_Ras1", "zUL_rAS1", 0, 0}, {"zzzzz", "aaa", 0, 2},  // lengths first, bytes unread
        {"abX", "abY", 2, 0},           {"a\0b", "a\0c", 3, 'b' - 'c'}, // only `length` bytes; zero bytes don't stop it
        {"@", "`", 0, '@' - '`'},       {"[", "{", 0, '[' - '{'}, // neighbours of letters
        {"a", "\xff", 0, 'a' + 1},      {nullptr, nullptr, 0, 0}, // bytes above 0x7F: signed
    };
    for (const Case &k : cases)
        EXPECT_EQ(BSS1_Match(k.first, k.second, k.length), k.expected)
            << (k.first ? k.first : "null") << " / " << (k.second ? k.second : "null");
    EXPECT_LT(BSS1_Match(nullptr, "a", 0), 0);
}

// Under a locale whose toupper('i') is not 'I' and whose upper half has
// letters, names still compare by the C classes.
TEST(Match, IgnoresTheHostLocale)
{
    char dir[] = "/tmp/zulfmt-locale-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string build = std::string("localedef -i tr_TR -f ISO-8859-9 ") + dir + "/tr >/dev/null 2>&1";
    setenv("LOCPATH", dir, 1);
    bool set = system(build.c_str()) == 0 && setlocale(LC_ALL, "tr") != nullptr;
    if (set) {
        EXPECT_EQ(BSS1_Match("file", "FILE", 0), 0);
        EXPECT_NE(BSS1_Match("\xe7", "\xc7", 0), 0); // c-cedilla, a letter only there
        EXPECT_NE(BSS1_Match("i", "\xdd", 0), 0);    // capital dotted I
        setlocale(LC_ALL, "C");
    }
    (void)system((std::string("rm -rf ") + dir).c_str());
    if (!set)
        GTEST_SKIP() << "no Turkish locale could be built here";
}

// Each text is tokenized by calls until NotThere, which must leave the text
// at its end with a null token; the in-place form (text and token in the
// same two words) must give the first token, or NotThere with a null token.
TEST(Tokenize, Table)
{
    using V = std::vector<std::string>;
    struct Case { std::string text; const char *delimiters; V tokens; } cases[] = {
        {"   \t\r\n\v\f ", nullptr, {}},
        {"  alpha\t\tbeta\n", nullptr, {"alpha", "beta"}},
        {"a , b,,c", ", ", {"a", ",", "b", ",", ",", "c"}},
        {"a b=c d", "=", {"a b", "=", "c d"}}, // no white space in the set
        {std::string("\0\0ab\0cd", 7), ",", {"ab", "cd"}}, // a zero byte ends a token and is skipped
    };
    for (const Case &k : cases) {
        V got;
        const char *at = k.text.data(), *token;
        uint32_t left = static_cast<uint32_t>(k.text.size()), length;
        int status;
        while ((status = BSS1_Tokenize(&at, &left, &token, &length, k.delimiters)) == STC1_Success && got.size() < 50)
            got.emplace_back(token, length);
        EXPECT_EQ(got, k.tokens) << "text \"" << k.text << "\"";
        EXPECT_TRUE(status == STC1_NotThere && token == nullptr && length == 0 && left == 0 &&
                    at == k.text.data() + k.text.size()) << k.text;

        at = k.text.data();
        left = static_cast<uint32_t>(k.text.size());
        status = BSS1_Tokenize(&at, &left, &at, &left, k.delimiters);
        EXPECT_EQ(status, k.tokens.empty() ? STC1_NotThere : STC1_Success) << k.text;
        EXPECT_EQ(at ? std::string(at, left) : "null" + std::to_string(left), k.tokens.empty() ? "null0" : k.tokens[0]);
    }
}

TEST(Tokenize, CountedTextAndWhereItStops)
{
    const char bytes[] = {'f', 'i', 'r', 's', 't', ' ', 's', 'x'}; // no terminator
    const char *at = bytes, *token;
    uint32_t left = 7, length;
    ASSERT_EQ(BSS1_Tokenize(&at, &left, &token, &length, nullptr), STC1_Success);
    EXPECT_TRUE(token == bytes && length == 5 && at == bytes + 5 && left == 2); // blank unread
    ASSERT_EQ(BSS1_Tokenize(&at, &left, &token, &length, nullptr), STC1_Success);
    EXPECT_TRUE(token == bytes + 6 && length == 1); // the count ends it
    EXPECT_EQ(BSS1_Tokenize(nullptr, &left, &token, &length, nullptr), STC1_BadArgument);
}

// Codes past the table answer NotThere and leave the output alone.
TEST(CodeNames, BoundsAndNames)
{
    using Call = int (*)(int32_t, const char **);
    struct Case { Call call; int32_t code; const char *name; } cases[] = { // name null: NotThere
        {RSN1_GetName, 0, "NoError"}, {RSN1_GetName, 63, "Access"}, {RSN1_GetName, 64, nullptr}, {RSN1_GetName, -1, nullptr},
        {STC1_GetName, 10, "Warning"}, {STC1_GetName, 11, nullptr}, {STC1_GetName, INT32_MIN, nullptr},
    };
    for (const Case &k : cases) {
        const char *name = "untouched";
        EXPECT_EQ(k.call(k.code, &name), k.name ? STC1_Success : STC1_NotThere) << k.code;
        EXPECT_STREQ(name, k.name ? k.name : "untouched") << k.code;
    }
    EXPECT_EQ(RSN1_GetName(0, nullptr), STC1_BadArgument);
}

} // namespace
