// BSS1_Match and BSS1_Tokenize.
#include <zul/bss1.h>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

int Sign(int v) { return (v > 0) - (v < 0); }

struct MatchCase {
    const char *first;
    const char *second;
    uint32_t length;
    int expected; // exact unless `signOnly`
    bool signOnly;
};

const MatchCase kMatches[] = {
    {"TRACE", "trace", 0, 0, false},
    {"Zul_Ras1", "zUL_rAS1", 0, 0, false},
    {"abc", "abcde", 0, -2, false},        // lengths differ: their difference
    {"zzzzz", "aaa", 0, 2, false},         // whatever the bytes
    {"", "", 0, 0, false},
    {"abX", "abY", 2, 0, false},           // only `length` bytes count
    {"a\0b", "A\0B", 3, 0, false},         // zero bytes do not stop a count
    {"a\0b", "a\0c", 3, 'b' - 'c', false},
    {"abc", "abd", 0, 'c' - 'd', false},
    {"B", "a", 0, 'B' - 'a', false},       // unequal letters: raw difference
    {"@", "`", 0, '@' - '`', false},       // neighbours of the letters
    {"[", "{", 0, '[' - '{', false},
    {"1", "!", 0, '1' - '!', false},       // a digit and punctuation never match
    {"\xe9", "\xc9", 0, -23 - -55, false}, // above 0x7F: no case, signed bytes
    {"\x80", "a", 0, -128 - 'a', false},
    {"a", "\xff", 0, 'a' - -1, false},
};

TEST(Match, Table)
{
    for (const MatchCase &m : kMatches) {
        int got = BSS1_Match(m.first, m.second, m.length);
        if (m.signOnly)
            EXPECT_EQ(Sign(got), Sign(m.expected)) << m.first << " / " << m.second;
        else
            EXPECT_EQ(got, m.expected) << m.first << " / " << m.second;
    }
}

TEST(Match, NullTexts)
{
    EXPECT_EQ(BSS1_Match(nullptr, nullptr, 0), 0);
    EXPECT_LT(BSS1_Match(nullptr, "a", 0), 0);
    EXPECT_GT(BSS1_Match("a", nullptr, 3), 0);
}

// Under a locale whose toupper('i') is not 'I' and whose upper half has
// letters, the comparison must still follow the C classes.
TEST(Match, IgnoresTheHostLocale)
{
    char dir[] = "/tmp/zulfmt-locale-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string build = std::string("localedef -i tr_TR -f ISO-8859-9 ") + dir +
                        "/tr_TR.ISO-8859-9 >/dev/null 2>&1";
    int built = system(build.c_str());
    setenv("LOCPATH", dir, 1);
    const char *set = built == 0 ? setlocale(LC_ALL, "tr_TR.ISO-8859-9") : nullptr;
    std::string cleanup = std::string("rm -rf ") + dir;
    if (set == nullptr) {
        (void)system(cleanup.c_str());
        GTEST_SKIP() << "no Turkish locale could be built here";
    }
    EXPECT_EQ(BSS1_Match("file", "FILE", 0), 0);
    EXPECT_EQ(BSS1_Match("ID", "id", 2), 0);
    EXPECT_NE(BSS1_Match("\xe7", "\xc7", 0), 0); // c-cedilla: a letter only there
    EXPECT_NE(BSS1_Match("i", "\xdd", 0), 0);    // dotted capital I
    setlocale(LC_ALL, "C");
    (void)system(cleanup.c_str());
}

// Runs Tokenize over a text until it reports no token.
std::vector<std::string> Tokens(const std::string &text, const char *delimiters)
{
    std::vector<std::string> out;
    const char *at = text.data();
    uint32_t left = static_cast<uint32_t>(text.size());
    for (int guard = 0; guard < 100; ++guard) {
        const char *token = nullptr;
        uint32_t length = 99;
        int status = BSS1_Tokenize(&at, &left, &token, &length, delimiters);
        if (status == STC1_NotThere) {
            EXPECT_EQ(token, nullptr);
            EXPECT_EQ(length, 0u);
            EXPECT_EQ(left, 0u);
            EXPECT_EQ(at, text.data() + text.size());
            return out;
        }
        EXPECT_EQ(status, STC1_Success);
        out.emplace_back(token, length);
    }
    ADD_FAILURE() << "no end";
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
        {"alpha beta", nullptr, {"alpha", "beta"}},
        {"  alpha\t\tbeta\n", nullptr, {"alpha", "beta"}},
        {"name,value", ", ", {"name", ",", "value"}},
        {"a , b,,c", ", ", {"a", ",", "b", ",", ",", "c"}},
        {"a b=c d", "=", {"a b", "=", "c d"}},           // no white space in the set
        {"x=y", "= ", {"x", "=", "y"}},
        {std::string("ab\0cd", 5), nullptr, {"ab", "cd"}}, // a zero byte ends a token
        {std::string("\0\0ab", 4), ",", {"ab"}},           // and is skipped between them
        {"((a))", "()", {"(", "(", "a", ")", ")"}},
        {"\xe9t\xe9 caf\xe9", nullptr, {"\xe9t\xe9", "caf\xe9"}},
    };
    for (const Case &k : cases)
        EXPECT_EQ(Tokens(k.text, k.delimiters), k.tokens) << "text \"" << k.text << "\"";
}

TEST(Tokenize, LeavesTheTextAtTheByteBehindTheToken)
{
    const char *text = "first second";
    const char *at = text;
    uint32_t left = 12;
    const char *token;
    uint32_t length;
    ASSERT_EQ(BSS1_Tokenize(&at, &left, &token, &length, nullptr), STC1_Success);
    EXPECT_EQ(std::string(token, length), "first");
    EXPECT_EQ(at, text + 5); // the blank stays unread
    EXPECT_EQ(left, 7u);
}

TEST(Tokenize, CountBoundsTheText)
{
    // No terminator is needed: the count ends the text.
    const char bytes[] = {'a', 'b', ' ', 'c', 'd'};
    const char *at = bytes;
    uint32_t left = 4;
    const char *token;
    uint32_t length;
    ASSERT_EQ(BSS1_Tokenize(&at, &left, &token, &length, nullptr), STC1_Success);
    ASSERT_EQ(BSS1_Tokenize(&at, &left, &token, &length, nullptr), STC1_Success);
    EXPECT_EQ(std::string(token, length), "c");
    left = 0;
    at = bytes;
    EXPECT_EQ(BSS1_Tokenize(&at, &left, &token, &length, nullptr), STC1_NotThere);
}

TEST(Tokenize, InPlaceTrimsAName)
{
    struct Case {
        const char *text;
        const char *delimiters;
        int status;
        const char *token; // null: none
    } cases[] = {
        {"  TRACE  ", nullptr, STC1_Success, "TRACE"},
        {"name", nullptr, STC1_Success, "name"},
        {"\t \n", nullptr, STC1_NotThere, nullptr},
        {", x", ", ", STC1_Success, ","},
        {"", nullptr, STC1_NotThere, nullptr},
    };
    for (const Case &k : cases) {
        const char *pointer = k.text;
        uint32_t length = static_cast<uint32_t>(strlen(k.text));
        EXPECT_EQ(BSS1_Tokenize(&pointer, &length, &pointer, &length, k.delimiters), k.status)
            << k.text;
        if (k.token == nullptr) {
            EXPECT_EQ(pointer, nullptr) << k.text;
            EXPECT_EQ(length, 0u) << k.text;
        } else {
            ASSERT_NE(pointer, nullptr);
            EXPECT_EQ(std::string(pointer, length), k.token) << k.text;
            EXPECT_GE(pointer, k.text);
        }
    }
}

TEST(Tokenize, NullAddressesAreRefused)
{
    const char *at = "x";
    uint32_t left = 1;
    const char *token;
    uint32_t length;
    EXPECT_EQ(BSS1_Tokenize(nullptr, &left, &token, &length, nullptr), STC1_BadArgument);
    EXPECT_EQ(BSS1_Tokenize(&at, nullptr, &token, &length, nullptr), STC1_BadArgument);
    EXPECT_EQ(BSS1_Tokenize(&at, &left, nullptr, &length, nullptr), STC1_BadArgument);
    EXPECT_EQ(BSS1_Tokenize(&at, &left, &token, nullptr, nullptr), STC1_BadArgument);
    at = nullptr;
    EXPECT_EQ(BSS1_Tokenize(&at, &left, &token, &length, nullptr), STC1_NotThere);
}

} // namespace
