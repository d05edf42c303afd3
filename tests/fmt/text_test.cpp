// BSS1_Match and BSS1_Tokenize.
#include <zul/bss1.h>

#include <gtest/gtest.h>

#include <string>
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

} // namespace
