// The scanner: tokens of each kind from texts, lines and columns with the
// learned line end, the look-ahead ring, the stack of inputs, read
// functions, the class table, filters, bad handles and failed allocations.
#include "lextest.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <vector>

extern "C" void *__real_malloc(size_t size);
extern "C" void *__real_calloc(size_t count, size_t size);
extern "C" void *__real_realloc(void *memory, size_t size);
static std::atomic<int> countdown{0};
void FailAllocAfter(int n) { countdown = n; }
static bool fails() { return countdown.load(std::memory_order_relaxed) > 0 && --countdown == 0; }
extern "C" void *__wrap_malloc(size_t size) { return fails() ? nullptr : __real_malloc(size); }
extern "C" void *__wrap_calloc(size_t count, size_t size)
{
    return fails() ? nullptr : __real_calloc(count, size);
}
extern "C" void *__wrap_realloc(void *memory, size_t size)
{
    return fails() ? nullptr : __real_realloc(memory, size);
}

// Lines as the user sees them: a record whose bit 7 is set goes on in the
// next one, any other ends its line.
static int Collect(void *argument, char *data, uint32_t count)
{
    std::string *text = static_cast<std::string *>(argument);
    for (uint32_t i = 0; data != nullptr && i < count; ++i) {
        unsigned head = static_cast<unsigned char>(*data);
        text->append(data + 1, head & ZULSS_RECORD_LENGTH);
        if (!(head & ZULSS_RECORD_CONTINUED))
            *text += '\n';
        data += 1 + (head & ZULSS_RECORD_LENGTH);
    }
    return 0;
}
Capture::Capture() { BSS1_NewFormat(&format, &text, Collect, 0, 0); }
Capture::~Capture() { BSS1_EndFormat(format); }
const std::string &Capture::Take()
{
    // Not the final flush: an open line stays open.
    BSS1_FlushFormat(format);
    return text;
}

namespace {

struct Scanner {
    ZULLX_handle_t handle{};
    explicit Scanner(uint32_t lookahead = 2, ZULLX_filter_t filter = nullptr, void *context = nullptr)
    {
        EXPECT_EQ(LEX1_New(&handle, lookahead, filter, context), LEX1_OK);
    }
    ~Scanner() { LEX1_Delete(&handle); }
    void Push(const std::string &text)
    {
        ASSERT_EQ(LEX1_String(handle, text.data(), static_cast<uint32_t>(text.size())), LEX1_OK);
    }
};

// One token as "kind:text@line.column", or "#status" for a failed call.
std::string Show(int status, const ZULLX_token_t *token)
{
    if (status != LEX1_OK)
        return "#" + std::to_string(status);
    return std::to_string(token->kind) + ":" + std::string(token->text, token->length) + "@" +
           std::to_string(token->line) + "." + std::to_string(token->column);
}

// Calls LEX1_Token until it gives 2 (and up to `limit` times), joining
// what each call delivered first.
std::string Drain(Scanner &s, int limit = 64, bool throughEnd = false)
{
    std::string out;
    for (int i = 0; i < limit; ++i) {
        const ZULLX_token_t *token;
        uint32_t delivered = 99;
        int status = LEX1_Token(s.handle, &token, 1, &delivered);
        EXPECT_EQ(delivered, status == LEX1_OK ? 1u : 0u);
        if (!out.empty())
            out += ' ';
        out += Show(status, token);
        if (status == LEX1_End && !throughEnd)
            break;
    }
    return out;
}

std::string ScanText(const std::string &text)
{
    Scanner s;
    s.Push(text);
    return Drain(s);
}

struct TokenCase {
    const char *name;
    std::string text;
    std::string tokens;
};
void PrintTo(const TokenCase &c, std::ostream *os) { *os << c.name; }


class Tokens : public ::testing::TestWithParam<TokenCase> {};

TEST_P(Tokens, ScanAsExpected) { EXPECT_EQ(ScanText(GetParam().text), GetParam().tokens); }

// Kinds: 1 number, 2 word, 3 identifier, 4 operator, 5 punctuation, 6 string.
INSTANTIATE_TEST_SUITE_P(
    Texts, Tokens,
    ::testing::Values(
        TokenCase{"KeywordPieces", "abc=12", "3:abc@1.0 4:=@1.1 1:12@1.2 #2"},
        TokenCase{"FullStopIsOperator", "a.b", "3:a@1.0 4:.@1.1 3:b@1.2 #2"},
        TokenCase{"NumberTakesLetters", "2x 0x1F", "1:2x@1.0 1:0x1F@1.1 #2"},
        TokenCase{"HighByteMakesWord", "a\x80" "b", "2:a\x80" "b@1.0 #2"},
        TokenCase{"ZeroByteMakesWord", std::string("a\0b c", 5), std::string("2:a\0b@1.0 3:c@1.1 #2", 20)},
        TokenCase{"OperatorRun", "a==b <=>", "3:a@1.0 4:==@1.1 3:b@1.2 4:<=>@1.3 #2"},
        TokenCase{"PunctuationAlone", "f((x),y);", "3:f@1.0 5:(@1.1 5:(@1.2 3:x@1.3 5:)@1.4 5:,@1.5 3:y@1.6 5:)@1.7 5:;@1.8 #2"},
        TokenCase{"IdentifierStarts", "#a $b @c _d", "3:#a@1.0 3:$b@1.1 3:@c@1.2 3:_d@1.3 #2"},
        TokenCase{"EmptyStringHasNoPlace", "\"\" x", "6:@0.0 3:x@1.0 #2"},
        TokenCase{"OtherQuoteIsText", "'a\"b'", "6:a\"b@1.0 #2"},
        TokenCase{"EscapedQuoteIsText", "\"a\\\"b\"", "6:a\"b@1.0 #2"},
        TokenCase{"EscapeTranslatesNothing", "\"a\\nb\\\\\"", "6:anb\\@1.0 #2"},
        TokenCase{"StringKeepsEverything", "'a (b)=c, \\'d'", "6:a (b)=c, 'd@1.0 #2"},
        TokenCase{"BackslashOutsideIsWord", "\\n a\\b", "2:\\n@1.0 3:a@1.1 2:\\b@1.2 #2"},
        TokenCase{"OpenString", "x \"abc", "3:x@1.0 #6 #2"},
        TokenCase{"OpenStringAfterEscape", "\"abc\\", "#6 #2"},
        TokenCase{"BlankOnly", " \t \n ", "#2"},
        TokenCase{"Empty", "", "#2"},
        TokenCase{"ColumnsCountTokens", "a bb\n  c d\n\ne", "3:a@1.0 3:bb@1.1 3:c@2.0 3:d@2.1 3:e@4.0 #2"},
        TokenCase{"LineEndInStringCounts", "'a\nb' c", "6:a\nb@1.0 3:c@2.0 #2"},
        // A CR LF pair read while the first line is still being used gives
        // two line ends; later pairs give one, their LF being dropped.
        TokenCase{"LearnedCrLf", "a\r\nb\r\nc\r\nd\r\ne", "3:a@1.0 3:b@3.0 3:c@5.0 3:d@6.0 3:e@7.0 #2"},
        // A stray form feed in a file of LF lines disappears.
        TokenCase{"StrayFormFeedDropped", "first line\nsecond line\nb\fc\nd",
                  "3:first@1.0 3:line@1.1 3:second@2.0 3:line@2.1 3:bc@3.0 3:d@4.0 #2"},
        TokenCase{"CrOnlyLines", "a\rb\rc", "3:a@1.0 3:b@2.0 3:c@3.0 #2"}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(Scanner, LongTokensGrowTheirBuffer)
{
    std::string word(1000, 'w');
    EXPECT_EQ(ScanText(word + " '" + std::string(700, 's') + "' x"),
              "3:" + word + "@1.0 6:" + std::string(700, 's') + "@1.1 3:x@1.2 #2");
}

// At most lookahead + 2 tokens come at once; the rest of the array holds
// <end-of-scan>, and only the first delivered is consumed.
TEST(Scanner, LookAheadIsBoundedByTheRing)
{
    Scanner s(2);
    s.Push("a b c d e f");
    const ZULLX_token_t *tokens[8];
    uint32_t delivered = 0;
    ASSERT_EQ(LEX1_Token(s.handle, tokens, 8, &delivered), LEX1_OK);
    ASSERT_EQ(delivered, 4u);
    std::string seen;
    for (auto *t : tokens)
        seen += std::string(t->text, t->length) + ",";
    EXPECT_EQ(seen, "a,b,c,d,<end-of-scan>,<end-of-scan>,<end-of-scan>,<end-of-scan>,");
    EXPECT_EQ(tokens[7]->line, 0x4000u);
    EXPECT_EQ(tokens[7]->kind, LEX1_KIND_NONE);
    EXPECT_EQ(Drain(s), "3:b@1.1 3:c@1.2 3:d@1.3 3:e@1.4 3:f@1.5 #2");

    // A consumed token stays readable through the next call.
    Scanner t(0);
    t.Push("x y z");
    const ZULLX_token_t *first, *second;
    ASSERT_EQ(LEX1_Token(t.handle, &first, 1, &delivered), LEX1_OK);
    ASSERT_EQ(LEX1_Token(t.handle, &second, 1, &delivered), LEX1_OK);
    EXPECT_EQ(std::string(first->text, first->length), "x");
    EXPECT_EQ(std::string(second->text, second->length), "y");
}

TEST(Scanner, BlankTextGivesEndAtOnce)
{
    Scanner s;
    s.Push("   ");
    const ZULLX_token_t *tokens[3] = {};
    uint32_t delivered = 7;
    EXPECT_EQ(LEX1_Token(s.handle, tokens, 3, &delivered), LEX1_End);
    EXPECT_EQ(delivered, 0u);
    for (auto *t : tokens)
        EXPECT_STREQ(t->text, "<end-of-scan>");
}

TEST(Scanner, InputsStack)
{
    // The newer input comes first, its end is a status 2 of its own, and
    // the older one goes on where it stopped.
    Scanner s;
    s.Push("x y");
    s.Push("a b");
    EXPECT_EQ(Drain(s, 7, true), "3:a@1.0 3:b@1.1 #2 3:x@1.0 3:y@1.1 #2 #2");

    // Tokens already read ahead from the older input come before a pushed one.
    Scanner t;
    t.Push("p q r s");
    const ZULLX_token_t *token;
    uint32_t delivered;
    ASSERT_EQ(LEX1_Token(t.handle, &token, 1, &delivered), LEX1_OK);
    t.Push("N");
    EXPECT_EQ(Drain(t, 9, true), "3:q@1.1 3:r@1.2 3:s@1.3 3:N@1.0 #2 #2 #2 #2 #2");

    // Pushed after the stack ran dry, an input is reached only behind the
    // slots that already hold status 2.
    Scanner u;
    u.Push("a");
    ASSERT_EQ(LEX1_Token(u.handle, &token, 1, &delivered), LEX1_OK);
    u.Push("b");
    EXPECT_EQ(Drain(u, 5, true), "#2 #2 #2 3:b@1.0 #2");
}

// A read function that gives its text a few bytes at a time.
struct Feed {
    std::string text;
    size_t step;
    size_t at = 0;
    std::vector<uint32_t> words;
};
uint32_t ReadFeed(void *context, uint32_t *userWord, char *buffer, uint32_t capacity)
{
    Feed *feed = static_cast<Feed *>(context);
    feed->words.push_back((*userWord)++);
    size_t n = std::min({feed->step, static_cast<size_t>(capacity), feed->text.size() - feed->at});
    memcpy(buffer, feed->text.data() + feed->at, n);
    feed->at += n;
    return static_cast<uint32_t>(n);
}

TEST(Scanner, ReadFunctionsSplitAnywhere)
{
    Feed feed{"alpha=\"b c\" 12\n(x)", 3, 0, {}};
    Scanner s;
    ASSERT_EQ(LEX1_Input(s.handle, ReadFeed, &feed, 2), LEX1_OK);
    EXPECT_EQ(Drain(s), "3:alpha@1.0 4:=@1.1 6:b c@1.2 1:12@1.3 5:(@2.0 3:x@2.1 5:)@2.2 #2");
    // userWord starts at 0 and keeps what the function left there; the
    // buffer of 2 bytes caps each read.
    ASSERT_GE(feed.words.size(), 9u);
    for (size_t i = 0; i < feed.words.size(); ++i)
        EXPECT_EQ(feed.words[i], i);
    EXPECT_EQ(LEX1_Input(s.handle, nullptr, nullptr, 0), LEX1_BadArgument);
}

TEST(Scanner, ClassTableBelongsToTheScanner)
{
    Scanner s;
    uint16_t old = 0, ident = LEX1_CLASS_IDENT;
    ASSERT_EQ(LEX1_Character(s.handle, '-', &ident, &old), LEX1_OK);
    EXPECT_EQ(old, LEX1_CLASS_OPERATOR);
    ASSERT_EQ(LEX1_Character(s.handle, '-', nullptr, &old), LEX1_OK);
    EXPECT_EQ(old, LEX1_CLASS_IDENT);
    s.Push("a-b -c");
    EXPECT_EQ(Drain(s), "3:a-b@1.0 3:-c@1.1 #2");
    EXPECT_EQ(LEX1_Character(s.handle, -1, nullptr, &old), LEX1_BadArgument);
    EXPECT_EQ(LEX1_Character(s.handle, 256, &ident, nullptr), LEX1_BadArgument);

    // Another scanner keeps the default table.
    EXPECT_EQ(ScanText("a-b"), "3:a@1.0 4:-@1.1 3:b@1.2 #2");

    // A byte of no class at all ends any run and begins a word.
    Scanner t;
    uint16_t none = 0;
    ASSERT_EQ(LEX1_Character(t.handle, 'q', &none, nullptr), LEX1_OK);
    t.Push("aqqb");
    EXPECT_EQ(Drain(t), "3:a@1.0 2:q@1.1 2:qb@1.2 #2");
}

int DropSkip(void *context, const ZULLX_table_t *table, ZULLX_token_t *token)
{
    ++*static_cast<int *>(context);
    EXPECT_EQ(table->tableWord, 0u);
    EXPECT_EQ(table->classes[static_cast<unsigned char>('a')], 0x0070);
    return token->length == 4 && memcmp(token->text, "skip", 4) == 0;
}

TEST(Scanner, FilterDiscardsTokens)
{
    int calls = 0;
    Scanner s(2, DropSkip, &calls);
    s.Push("a skip skip b");
    EXPECT_EQ(Drain(s), "3:a@1.0 3:b@1.3 #2");
    EXPECT_EQ(calls, 4);
}

TEST(Scanner, BadHandlesAreRefused)
{
    ZULLX_handle_t h{};
    ASSERT_EQ(LEX1_New(&h, 2, nullptr, nullptr), LEX1_OK);
    ZULLX_handle_t damaged = h;
    damaged.check ^= 0x0100;
    const ZULLX_token_t *tokens[2] = {};
    uint32_t delivered = 5;
    uint16_t cls;
    EXPECT_EQ(LEX1_String(damaged, "a", 1), LEX1_BadHandle);
    EXPECT_EQ(LEX1_Input(damaged, ReadFeed, nullptr, 0), LEX1_BadHandle);
    EXPECT_EQ(LEX1_Character(damaged, 'a', nullptr, &cls), LEX1_BadHandle);
    EXPECT_EQ(LEX1_Token(damaged, tokens, 2, &delivered), LEX1_BadHandle);
    EXPECT_EQ(delivered, 0u);
    EXPECT_STREQ(tokens[0]->text, "<end-of-scan>");
    EXPECT_STREQ(tokens[1]->text, "<end-of-scan>");
    ZULLX_list_t *list = reinterpret_cast<ZULLX_list_t *>(&h);
    EXPECT_EQ(LEX1_ArgList(damaged, &list), LEX1_BadHandle);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(LEX1_Delete(&damaged), LEX1_BadHandle);
    EXPECT_EQ(LEX1_Token(h, tokens, 0, &delivered), LEX1_BadArgument);

    ZULLX_handle_t copy = h;
    EXPECT_EQ(LEX1_Delete(&h), LEX1_OK);
    EXPECT_EQ(h.address, nullptr);
    EXPECT_EQ(h.check & 0xFFFFu, 0xDEADu);
    EXPECT_EQ(LEX1_Delete(&h), LEX1_BadHandle);
    (void)copy;
}

TEST(Scanner, ShortageIsReported)
{
    Scanner s; // builds the family's table first
    ZULLX_handle_t h{};
    FailAllocAfter(1);
    EXPECT_EQ(LEX1_New(&h, 2, nullptr, nullptr), LEX1_NoMemory);

    FailAllocAfter(1);
    EXPECT_EQ(LEX1_String(s.handle, "a", 1), LEX1_NoMemory);
    FailAllocAfter(1);
    EXPECT_EQ(LEX1_Input(s.handle, ReadFeed, nullptr, 0), LEX1_NoMemory);

    // A token whose text finds no memory is lost; scanning goes on with the
    // next character.
    s.Push("abc def");
    FailAllocAfter(1);
    EXPECT_EQ(Drain(s), "#1 3:bc@1.0 3:def@1.1 #2");
    FailAllocAfter(0);
}

} // namespace
