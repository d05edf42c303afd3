// BSS1_Match and BSS1_Tokenize.
#include <zul/bss1.h>

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
    struct Case {
        const char *first, *second;
        uint32_t length;
        int expected;
    } cases[] = {
        {"TRACE", "trace", 0, 0},      {"Zul_Ras1", "zUL_rAS1", 0, 0},
        {"abc", "abcde", 0, -2},       {"zzzzz", "aaa", 0, 2}, // lengths first, bytes unread
        {"", "", 0, 0},                {"abX", "abY", 2, 0},   // only `length` bytes count
        {"a\0b", "A\0B", 3, 0},        {"a\0b", "a\0c", 3, 'b' - 'c'}, // zero bytes don't stop it
        {"B", "a", 0, 'B' - 'a'},      {"@", "`", 0, '@' - '`'},       // neighbours of letters
        {"[", "{", 0, '[' - '{'},      {"1", "!", 0, '1' - '!'},
        {"\xe9", "\xc9", 0, -23 + 55}, {"a", "\xff", 0, 'a' + 1}, // bytes above 0x7F: signed
        {nullptr, nullptr, 0, 0},
    };
    for (const Case &k : cases)
        EXPECT_EQ(BSS1_Match(k.first, k.second, k.length), k.expected)
            << (k.first ? k.first : "null") << " / " << (k.second ? k.second : "null");
    EXPECT_LT(BSS1_Match(nullptr, "a", 0), 0);
    EXPECT_GT(BSS1_Match("a", nullptr, 3), 0);
}

// Under a locale whose toupper('i') is not 'I' and whose upper half has
// letters, names still compare by the C classes.
TEST(Match, IgnoresTheHostLocale)
{
    char dir[] = "/tmp/zulfmt-locale-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string build = std::string("localedef -i tr_TR -f ISO-8859-9 ") + dir + "/tr >/dev/null 2>&1";
    bool built = system(build.c_str()) == 0;
    setenv("LOCPATH", dir, 1);
    bool set = built && setlocale(LC_ALL, "tr") != nullptr;
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

// Tokens of a text, calling until NotThere, which must leave the text at
// its end with a null token.
std::vector<std::string> Tokens(const std::string &text, const char *delimiters)
{
    std::vector<std::string> out;
    const char *at = text.data();
    uint32_t left = static_cast<uint32_t>(text.size());
    const char *token;
    uint32_t length;
    int status;
    while ((status = BSS1_Tokenize(&at, &left, &token, &length, delimiters)) == STC1_Success && out.size() < 50)
        out.emplace_back(token, length);
    EXPECT_EQ(status, STC1_NotThere);
    EXPECT_EQ(token, nullptr);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(left, 0u);
    EXPECT_EQ(at, text.data() + text.size());
    return out;
}

TEST(Tokenize, Table)
{
    using V = std::vector<std::string>;
    struct Case {
        std::string text;
        const char *delimiters;
        V tokens;
    } cases[] = {
        {"   \t\r\n\v\f ", nullptr, {}},
        {"", nullptr, {}},
        {"  alpha\t\tbeta\n", nullptr, {"alpha", "beta"}},
        {"name,value", ", ", {"name", ",", "value"}},
        {"a , b,,c", ", ", {"a", ",", "b", ",", ",", "c"}},
        {"a b=c d", "=", {"a b", "=", "c d"}}, // no white space in the set
        {std::string("ab\0cd", 5), nullptr, {"ab", "cd"}}, // a zero byte ends a token
        {std::string("\0\0ab", 4), ",", {"ab"}},           // and is skipped before one
        {"((a))", "()", {"(", "(", "a", ")", ")"}},
        {"\xe9t\xe9 caf\xe9", nullptr, {"\xe9t\xe9", "caf\xe9"}},
    };
    for (const Case &k : cases)
        EXPECT_EQ(Tokens(k.text, k.delimiters), k.tokens) << "text \"" << k.text << "\"";
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

TEST(Tokenize, InPlaceTrimsAName)
{
    struct Case {
        const char *text, *delimiters;
        int status;
        const char *token;
    } cases[] = {
        {"  TRACE  ", nullptr, STC1_Success, "TRACE"},
        {", x", ", ", STC1_Success, ","},
        {"\t \n", nullptr, STC1_NotThere, nullptr},
        {"", nullptr, STC1_NotThere, nullptr},
    };
    for (const Case &k : cases) {
        const char *pointer = k.text;
        uint32_t length = static_cast<uint32_t>(strlen(k.text));
        EXPECT_EQ(BSS1_Tokenize(&pointer, &length, &pointer, &length, k.delimiters), k.status);
        if (k.token != nullptr)
            EXPECT_EQ(std::string(pointer, length), k.token);
        else
            EXPECT_TRUE(pointer == nullptr && length == 0) << k.text;
    }
}

} // namespace
