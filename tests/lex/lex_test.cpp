// The scanner, argument lists and parameter files: tokens of each kind
// with their lines and columns, the look-ahead ring, the stack of inputs,
// the class table, the grammar of a command line through LEX1_ArgList and
// LEX1_Parse, logical lines of parameter files, bad handles and failed
// allocations.
#include <zul/lex1.h>
#include <zul/prm1.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <unistd.h>

// Linked with --wrap: the n-th allocation after FailAllocAfter(n) fails.
extern "C" void *__real_malloc(size_t), *__real_calloc(size_t, size_t), *__real_realloc(void *, size_t);
static std::atomic<int> countdown{0};
static void FailAllocAfter(int n) { countdown = n; }
static std::atomic<int> allocations{0};
static bool fails() { return ++allocations, countdown.load(std::memory_order_relaxed) > 0 && --countdown == 0; }
extern "C" void *__wrap_malloc(size_t n) { return fails() ? nullptr : __real_malloc(n); }
extern "C" void *__wrap_calloc(size_t c, size_t n) { return fails() ? nullptr : __real_calloc(c, n); }
extern "C" void *__wrap_realloc(void *p, size_t n) { return fails() ? nullptr : __real_realloc(p, n); }

namespace {

struct Scanner {
    ZULLX_handle_t handle{};
    explicit Scanner(const std::string &text = "", ZULLX_filter_t filter = nullptr, void *context = nullptr)
    {
        EXPECT_EQ(LEX1_New(&handle, 2, filter, context), LEX1_OK);
        if (!text.empty())
            Push(text);
    }
    ~Scanner() { LEX1_Delete(&handle); }
    void Push(const std::string &text) { EXPECT_EQ(LEX1_String(handle, text.data(), uint32_t(text.size())), 0); }
};

// Calls LEX1_Token up to `limit` times (stopping at the first 2 unless
// `throughEnd`): each token as "kind:text@line.column", a failure "#status".
std::string Drain(Scanner &s, int limit = 64, bool throughEnd = false)
{
    std::string out;
    for (int i = 0, status = 0; i < limit && (throughEnd || status != LEX1_End); ++i) {
        const ZULLX_token_t *t;
        uint32_t delivered = 99;
        status = LEX1_Token(s.handle, &t, 1, &delivered);
        EXPECT_EQ(delivered, status == LEX1_OK ? 1u : 0u);
        out += (i ? " " : "") + (status ? "#" + std::to_string(status)
                                        : std::to_string(t->kind) + ":" + std::string(t->text, t->length) +
                                              "@" + std::to_string(t->line) + "." + std::to_string(t->column));
    }
    return out;
}

// A token's text is copied a few times however long it is: its buffer
// grows by doubling, not by a fixed step with a copy of all before.
TEST(Scanner, ALongTokenTakesFewAllocations)
{
    Scanner s(std::string(1u << 20, 'a') + " b");
    const ZULLX_token_t *t[2];
    uint32_t delivered = 0;
    allocations = 0;
    ASSERT_EQ(LEX1_Token(s.handle, t, 2, &delivered), LEX1_OK);
    EXPECT_EQ(t[0]->length, 1u << 20);
    EXPECT_EQ(std::string(t[1]->text, t[1]->length), "b");
    EXPECT_LE(allocations.load(), 16);
}

// Kinds: 1 number, 2 word, 3 identifier, 4 operator, 5 punctuation, 6 string.
TEST(Scanner, TokensOfEachKindWithTheirPlaces)
{
    const std::string w(1000, 'w'), s(700, 's');
    const std::pair<std::string, std::string> kCases[] = {
        {"abc=12 a.b==c<=>", "3:abc@1.0 4:=@1.1 1:12@1.2 3:a@1.3 4:.@1.4 3:b@1.5 4:==@1.6 3:c@1.7 4:<=>@1.8 #2"},
        {std::string("a\x80" "b a\0b c", 9), std::string("2:a\x80" "b@1.0 2:a\0b@1.1 3:c@1.2 #2", 30)},
        {"f((x),y);", "3:f@1.0 5:(@1.1 5:(@1.2 3:x@1.3 5:)@1.4 5:,@1.5 3:y@1.6 5:)@1.7 5:;@1.8 #2"},
        {"0x1F #a $b @c _d \\n a\\b", "1:0x1F@1.0 3:#a@1.1 3:$b@1.2 3:@c@1.3 3:_d@1.4 2:\\n@1.5 3:a@1.6 2:\\b@1.7 #2"},
        {"\"\" x", "6:@0.0 3:x@1.0 #2"}, // an empty string has no place
        {"'a \"(b)=c, \\'d'", "6:a \"(b)=c, 'd@1.0 #2"},
        {"\"a\\nb\\\\\"", "6:anb\\@1.0 #2"}, // an escape translates nothing
        {"x \"abc", "3:x@1.0 #6 #2"},
        {"\"abc\\", "#6 #2"},
        {" \t \n ", "#2"},
        {w + " '" + s + "' x", "3:" + w + "@1.0 6:" + s + "@1.1 3:x@1.2 #2"},
        {"a bb\n  c d\n\n'e\nf' g", "3:a@1.0 3:bb@1.1 3:c@2.0 3:d@2.1 6:e\nf@4.0 3:g@5.0 #2"},
        // A CR LF pair read while the first line is still being used gives
        // two line ends; later pairs give one, their LF being dropped.
        {"a\r\nb\r\nc\r\nd\r\ne", "3:a@1.0 3:b@3.0 3:c@5.0 3:d@6.0 3:e@7.0 #2"},
        // A stray form feed in a file of LF lines disappears.
        {"first line\nsecond line\nb\fc\nd", "3:first@1.0 3:line@1.1 3:second@2.0 3:line@2.1 3:bc@3.0 3:d@4.0 #2"},
        {"a\rb\rc", "3:a@1.0 3:b@2.0 3:c@3.0 #2"},
    };
    for (const auto &[text, tokens] : kCases) {
        Scanner scanner(text);
        EXPECT_EQ(Drain(scanner), tokens) << text;
    }
}

// At most lookahead + 2 tokens come at once, the rest of the array holds
// <end-of-scan>, only the first is consumed, and a consumed token stays
// readable through the next call.
TEST(Scanner, LookAheadIsBoundedByTheRing)
{
    Scanner s("a b c d e f");
    const ZULLX_token_t *tokens[8], *next;
    uint32_t delivered = 0;
    ASSERT_EQ(LEX1_Token(s.handle, tokens, 8, &delivered), LEX1_OK);
    EXPECT_TRUE(delivered == 4 && *tokens[3]->text == 'd' && !strcmp(tokens[7]->text, "<end-of-scan>"));
    ASSERT_EQ(LEX1_Token(s.handle, &next, 1, &delivered), LEX1_OK);
    EXPECT_EQ(std::string(tokens[0]->text, tokens[0]->length) + next->text[0], "ab");
    EXPECT_EQ(Drain(s), "3:c@1.2 3:d@1.3 3:e@1.4 3:f@1.5 #2");
}

// Gives its text 3 bytes at a time at most, keeping its place in the user word.
uint32_t ReadFeed(void *context, uint32_t *at, char *buffer, uint32_t capacity)
{
    const std::string &text = *static_cast<const std::string *>(context);
    uint32_t n = std::min({3u, capacity, static_cast<uint32_t>(text.size()) - *at});
    memcpy(buffer, text.data() + *at, n);
    *at += n;
    return n;
}

// The newer input comes first and its end is a 2 of its own; tokens read
// ahead from the older one come before a pushed one; a read function's
// input splits tokens anywhere.
TEST(Scanner, InputsStack)
{
    Scanner s("x y"), t("p q r s"), u;
    s.Push("a b");
    EXPECT_EQ(Drain(s, 7, true), "3:a@1.0 3:b@1.1 #2 3:x@1.0 3:y@1.1 #2 #2");
    Drain(t, 1);
    t.Push("N");
    EXPECT_EQ(Drain(t, 7, true), "3:q@1.1 3:r@1.2 3:s@1.3 3:N@1.0 #2 #2 #2");
    std::string text = "alpha=\"b c\" 12\n(x)";
    ASSERT_EQ(LEX1_Input(u.handle, ReadFeed, &text, 2), LEX1_OK);
    EXPECT_EQ(Drain(u), "3:alpha@1.0 4:=@1.1 6:b c@1.2 1:12@1.3 5:(@2.0 3:x@2.1 5:)@2.2 #2");
    EXPECT_EQ(LEX1_Input(u.handle, nullptr, nullptr, 0), LEX1_BadArgument);
}

// Each scanner has its own table; a byte of no class at all ends any run
// and begins a word; a filter discards tokens, and their slot is scanned again.
TEST(Scanner, ClassTableAndFilterBelongToTheScanner)
{
    int calls = 0;
    Scanner s, t("aqqb"), other("a-b"), f("a skip skip b", [](void *calls, const ZULLX_table_t *, ZULLX_token_t *t) {
        ++*static_cast<int *>(calls);
        return int(t->length == 4 && memcmp(t->text, "skip", 4) == 0);
    }, &calls);
    uint16_t old = 0, ident = LEX1_CLASS_IDENT, none = 0;
    ASSERT_EQ(LEX1_Character(s.handle, '-', &ident, &old), LEX1_OK);
    EXPECT_EQ(old, LEX1_CLASS_OPERATOR);
    EXPECT_EQ(LEX1_Character(s.handle, -1, nullptr, &old), LEX1_BadArgument);
    EXPECT_EQ(LEX1_Character(s.handle, 256, &ident, nullptr), LEX1_BadArgument);
    ASSERT_EQ(LEX1_Character(t.handle, 'q', &none, nullptr), LEX1_OK);
    s.Push("a-b -c");
    EXPECT_EQ(Drain(s) + Drain(other) + Drain(t) + Drain(f), "3:a-b@1.0 3:-c@1.1 #2" "3:a@1.0 4:-@1.1 3:b@1.2 #2"
                                                          "3:a@1.0 2:q@1.1 2:qb@1.2 #2" "3:a@1.0 3:b@1.3 #2");
    EXPECT_EQ(calls, 4);
}

// A damaged check word, and then the handle that LEX1_Delete made bad, are
// refused by every call.
TEST(Scanner, BadHandlesAreRefused)
{
    ZULLX_handle_t h{}, bad;
    ASSERT_EQ(LEX1_New(&h, 2, nullptr, nullptr), LEX1_OK);
    const ZULLX_token_t *tokens[2] = {};
    uint32_t delivered = 5;
    ZULLX_list_t *list = reinterpret_cast<ZULLX_list_t *>(&h);
    EXPECT_EQ(LEX1_Token(h, tokens, 0, &delivered), LEX1_BadArgument);
    bad = {h.address, h.check ^ 0x0100u};
    for (int round = 0; round < 2; ++round) {
        for (int status : {LEX1_String(bad, "a", 1), LEX1_Input(bad, ReadFeed, nullptr, 0),
                           LEX1_Character(bad, 'a', nullptr, nullptr), LEX1_Token(bad, tokens, 2, &delivered),
                           LEX1_ArgList(bad, &list), LEX1_Delete(&bad)})
            EXPECT_EQ(status, LEX1_BadHandle);
        EXPECT_TRUE(delivered == 0 && strcmp(tokens[1]->text, "<end-of-scan>") == 0 && list == nullptr);
        ASSERT_EQ(LEX1_Delete(&h), round ? LEX1_BadHandle : LEX1_OK);
        bad = h; // then the handle that LEX1_Delete made bad
    }
}

// ---- Argument lists ----------------------------------------------------

// An argument as text: strings in single quotes, a keyword's value list in
// braces, a sublist in parentheses.
std::string Render(const ZULLX_arg_t *arg);
std::string RenderList(const ZULLX_list_t *list)
{
    std::string out;
    uint32_t n = 0;
    for (const ZULLX_arg_t *a = list->first; a != nullptr; a = a->next, ++n)
        out += (n ? " " : "") + Render(a);
    EXPECT_EQ(n, list->count);
    return out;
}
std::string Render(const ZULLX_arg_t *arg)
{
    if (arg == nullptr || arg->type == LEX1_ARG_LIST)
        return arg ? "(" + RenderList(arg->sublist) + ")" : "-";
    std::string text(arg->text, arg->length);
    EXPECT_EQ(arg->text[arg->length], '\0');
    if (arg->type == LEX1_ARG_KEYWORD)
        return text + "={" + RenderList(arg->values) + "}";
    return arg->kind == LEX1_KIND_STRING ? "'" + text + "'" : text;
}

// A tree read from `line` by a scanner that is gone before the tree is used.
struct Tree {
    ZULLX_list_t *root = nullptr;
    int status;
    explicit Tree(const std::string &line) : status(LEX1_ArgList(Scanner(line).handle, &root)) {}
    ~Tree() { EXPECT_EQ(root ? LEX1_FreeArgList(root) : 0, LEX1_OK); }
};

TEST(ArgList, TheGrammarOfALine)
{
    const struct { const char *line; int status; const char *tree; } kCases[] = {
        {"a b=c d e = f g:h", 0, "a b={c} d e={f} g={h}"},
        {"a=-1 b:=2", 0, "a 1 b 2"}, // operators of two bytes make no keyword
        {"1=2 'a'=3", 0, "1 2 'a' 3"}, // nor do numbers and strings
        {"a=(b c) d b=c=e f='x, y' g=", 0, "a={(b c)} d b={c={e}} f={'x, y'} g={}"},
        {"((a) b (c=(d))) () x", 0, "((a) b (c={(d)})) () x"},
        {"x, y; [z] {w} + - ==", 0, "x y z w"},
        {"a) b", 7, "-"},
        {"(a (b)", 7, "-"},
        {"(a=) b", 7, "-"},
        {"a 'bc", 6, "-"},
        {"a ('bc", 7, "-"}, // a list left open is 7, whatever stopped the reading
    };
    for (const auto &c : kCases) {
        Tree t(c.line);
        EXPECT_EQ(t.status, c.status) << c.line;
        EXPECT_EQ(t.root ? RenderList(t.root) : "-", c.tree) << c.line; // no tree on failure
        if (t.root && t.root->first && t.root->first->type == LEX1_ARG_LIST)
            EXPECT_EQ(LEX1_FreeArgList(t.root->first->sublist), LEX1_BadHandle); // not a root
    }
    EXPECT_EQ(LEX1_FreeArgList(nullptr), LEX1_BadHandle);
}

// The texts a format object is given, line ends left out.
int Collect(void *text, char *data, uint32_t count)
{
    for (uint32_t i = 0; data != nullptr && i < count; ++i, data += 1 + (*data & ZULSS_RECORD_LENGTH))
        static_cast<std::string *>(text)->append(data + 1, *data & ZULSS_RECORD_LENGTH);
    return 0;
}

// Parses `list` whole; a maximum of -1 means no array (and no count).
// Gives the status, message, positionals and keyword slots (- for empty).
std::string ParseWhole(ZULLX_list_t *list, uint32_t flags, uint32_t pmin, int pmax, uint32_t kmin, int kmax,
                       const std::vector<const char *> &names)
{
    std::vector<ZULLX_arg_t *> pos(pmax > 0 ? pmax : 1), kw(kmax > 0 ? kmax : 1);
    uint32_t pcount = pmax < 0 ? 0 : pmax, kcount = kmax < 0 ? 0 : kmax;
    std::string out;
    ZULSS_format_t *format = nullptr;
    BSS1_NewFormat(&format, &out, Collect, 0, 0);
    int status = LEX1_Parse(format, list, flags | LEX1_PARSE_WHOLE, pmin, pmax < 0 ? nullptr : &pcount,
                            pmax < 0 ? nullptr : pos.data(), kmin, kmax < 0 ? nullptr : &kcount,
                            kmax < 0 ? nullptr : kw.data(), names.empty() ? nullptr : names.data());
    BSS1_EndFormat(format);
    out = std::to_string(status) + " " + out + "|";
    for (uint32_t i = 0; i < pcount; ++i)
        out += (i ? " " : "") + Render(pos[i]);
    out += "|";
    for (int i = 0; i < (names.empty() || status ? int(kcount) : kmax); ++i)
        out += (i ? "," : "") + Render(kw[i]);
    return out;
}

// Every status of LEX1_Parse, each with its message; a failure stores
// counts of 0, and a whole-list parse leaves the tree as it was unless a
// keyword's value list is taken as a list.
TEST(Parse, SortsAndReports)
{
    const std::vector<const char *> kNames = {"unit", "entry", "comp", "level"}, kUnits = {"unit", "units"}, none;
    const uint32_t L = LEX1_PARSE_LISTS, K = LEX1_PARSE_KEYLISTS, Q = LEX1_PARSE_QUIET;
    const struct { const char *line; uint32_t flags, pmin; int pmax; uint32_t kmin; int kmax;
                   const std::vector<const char *> &names; const char *result; } kCases[] = {
        {"LEV=3 e=x u:(a b) c=x=y", 0, 0, 0, 0, 4, kNames, "0 ||(a b),x,x={y},3"},
        {"unit=1", 0, 0, 0, 0, 2, kUnits, "11 Ambiguous keyword argument: \"unit=1\"||"},
        {"levels=1", 0, 0, 0, 0, 4, kNames, "10 Unrecognized keyword argument: \"levels=1\"||"},
        {"l=1 LEVEL=2", 0, 0, 0, 0, 4, kNames, "12 Duplicate keyword argument: \"LEVEL=2\"||"},
        {"unit=", 0, 0, 0, 0, 4, kNames, "14 Argument list not allowed: \"unit=()\"||"},
        {"unit=", K, 0, 0, 0, 4, kNames, "0 ||(),-,-,-"},
        {"a=1 x b=(2 3)", 0, 0, 1, 0, 2, none, "0 |x|a={1},b={(2 3)}"},
        {"a=1 b=2", 0, 0, 0, 0, 1, none, "9 Keyword argument not allowed: \"b=2\"||"},
        {"k=v x", 0, 0, -1, 0, -1, none, "15 Keyword argument not allowed: \"k=v\"||"},
        {"x", 0, 0, -1, 0, -1, none, "13 Positional argument not allowed: \"x\"||"},
        {"a b c", 0, 0, 2, 0, 0, none, "13 Positional argument not allowed: \"c\"||"},
        {"(a b)", 0, 0, 1, 0, 0, none, "14 Argument list not allowed: \"(a b)\"||"},
        {"(a b) c", L, 0, 2, 0, 0, none, "0 |(a b) c|"},
        {"a", 0, 2, 2, 0, 0, none, "16 Positional argument required||"},
        {"a", Q, 2, 2, 0, 0, none, "16 ||"},
        {"a", 0, 0, 1, 1, 1, none, "17 Keyword argument required||"},
        {"", 0, 0, 2, 0, 0, none, "2 ||"},
        {"(a b=(c d) e=f ((g)) 'q r' ())", 0, 0, -1, 0, -1, none,
         "13 Positional argument not allowed: \"(a b=(c d) e=f ((g)) q r ())\"||"},
    };
    for (const auto &c : kCases) {
        Tree t(c.line);
        const std::string before = RenderList(t.root);
        EXPECT_EQ(ParseWhole(t.root, c.flags, c.pmin, c.pmax, c.kmin, c.kmax, c.names), c.result) << c.line;
        if (!(c.flags & K))
            EXPECT_EQ(RenderList(t.root), before);
    }
}

// Nesting far deeper than any stack would allow recursion to follow.
TEST(ArgList, DeepNesting)
{
    const std::string open(100000, '('), close(100000, ')');
    Tree t(open + "x" + close), unbalanced(open);
    EXPECT_EQ(unbalanced.status, LEX1_Unbalanced);
    EXPECT_EQ(ParseWhole(t.root, 0, 0, -1, 0, -1, {}),
              "13 Positional argument not allowed: \"" + open + "x" + close + "\"||");
}

// A token whose text finds no memory is lost and scanning goes on; any
// allocation of a tree may fail, and then the result is null and nothing
// is left behind (the address sanitizer checks for leaks).
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
    s.Push("abc def");
    FailAllocAfter(1);
    EXPECT_EQ(Drain(s), "#1 3:bc@1.0 3:def@1.1 #2");

    std::string line;
    int status = LEX1_NoMemory;
    for (int i = 0; i < 100; ++i)
        line += "word" + std::to_string(i) + "=(a b) ";
    for (int n = 1; n < 80 && status != LEX1_OK; ++n) {
        Scanner t(line);
        ZULLX_list_t *root = reinterpret_cast<ZULLX_list_t *>(&t);
        FailAllocAfter(n);
        status = LEX1_ArgList(t.handle, &root);
        FailAllocAfter(0);
        // A shortage inside the parentheses leaves a list open: 7.
        EXPECT_TRUE(status == LEX1_OK ? root->count == 100 && LEX1_FreeArgList(root) == 0
                                      : (status == 1 || status == 3 || status == 7) && root == nullptr) << status;
    }
    EXPECT_EQ(status, LEX1_OK);
}

// ---- Parameter files ---------------------------------------------------

// A file of the given bytes, removed again at the end of the test.
struct TempFile {
    std::string path = "/tmp/zul_prm_" + std::to_string(getpid());
    explicit TempFile(const std::string &content) { std::ofstream(path, std::ios::binary) << content; }
    ~TempFile() { unlink(path.c_str()); }
};

// Each read up to the first result of 1, as "result number text"; the
// number carries over from read to read.
TEST(ParameterFile, LogicalLines)
{
    const std::string x(1000, 'x');
    const std::pair<std::string, std::string> kCases[] = {
        {"", "1 0 "},
        {"\n  \t\na b \t\r\n\n  c\n", "0 3 a b | 0 5   c | 1 5 "},
        {"a\\\n  b\nc\\   \nd\ne\\\n\nf\n", "0 1 a  b | 0 3 cd | 0 5 e | 0 7 f | 1 7 "},
        {"a\\b\\\\\nc\\\\\\\nd\n", "0 1 a\\b\\\\ | 0 2 c\\\\d | 1 2 "},
        {"a\\\n", "0 1 a | 1 1 "},
        {"x\nlast  ", "0 1 x | 0 1 last   | 1 1 "},
        {x + "\nb\n", "0 1 " + x + " | 0 2 b | 1 2 "},
        {std::string("a\0b\n", 4), std::string("0 1 a\0b | 1 1 ", 14)},
    };
    for (const auto &[content, lines] : kCases) {
        TempFile f(content);
        ZULPM_file_t *file = nullptr;
        std::string out;
        uint32_t number = 0, length, result = PRM1_OpenFile(&file, f.path.c_str());
        for (int i = 0; i < 20 && result == 0; ++i) {
            char *line = nullptr;
            result = PRM1_ReadFile(file, &line, &length, &number);
            out += (i ? " | " : "") + std::to_string(result) + " " + std::to_string(number) + " " +
                   std::string(line ? line : "", length);
            EXPECT_TRUE(line == nullptr || line[length] == '\0');
        }
        EXPECT_EQ(out, lines) << content;
        EXPECT_EQ(PRM1_CloseFile(file), 0);
    }
}

// A program that the process starts while a parameter file is open does
// not inherit its descriptor.
TEST(ParameterFile, AProgramStartedMeanwhileDoesNotInheritIt)
{
    TempFile f("a\n");
    ZULPM_file_t *file = nullptr;
    ASSERT_EQ(PRM1_OpenFile(&file, f.path.c_str()), 0);
    std::string descriptors;
    FILE *ls = popen("ls -l /proc/self/fd", "r");
    ASSERT_NE(ls, nullptr);
    for (char buffer[512]; fgets(buffer, sizeof buffer, ls) != nullptr;)
        descriptors += buffer;
    pclose(ls);
    EXPECT_NE(descriptors.find("pipe:"), std::string::npos) << descriptors;
    EXPECT_EQ(descriptors.find(f.path), std::string::npos) << descriptors;
    EXPECT_EQ(PRM1_CloseFile(file), 0);
}

// Bad arguments and a missing file give 1, no memory for the file 2; when
// the first enlargement of the line fails there is no text at all, when a
// later one fails what was read so far comes back with result 1.
TEST(ParameterFile, FailuresAreNumbers)
{
    ZULPM_file_t *file = reinterpret_cast<ZULPM_file_t *>(1);
    char *line;
    uint32_t length;
    TempFile f(std::string(300, 'y') + "\nz\n");
    EXPECT_TRUE(PRM1_OpenFile(&file, "/nonexistent/zul/params") == 1 && file == nullptr);
    EXPECT_EQ(PRM1_OpenFile(nullptr, "/dev/null") + PRM1_CloseFile(nullptr), 2);
    EXPECT_EQ(PRM1_ReadFile(nullptr, &line, &length, nullptr), 1);
    FailAllocAfter(1);
    EXPECT_TRUE(PRM1_OpenFile(&file, f.path.c_str()) == 2 && file == nullptr);
    FailAllocAfter(0);
    ASSERT_EQ(PRM1_OpenFile(&file, f.path.c_str()), 0);
    FailAllocAfter(1);
    EXPECT_TRUE(PRM1_ReadFile(file, &line, &length, nullptr) == 1 && line == nullptr && length == 0);
    FailAllocAfter(2);
    EXPECT_EQ(PRM1_ReadFile(file, &line, &length, nullptr), 1);
    FailAllocAfter(0);
    EXPECT_EQ(std::string(line, length), std::string(255, 'y'));
    EXPECT_EQ(PRM1_CloseFile(file), 0);
}

} // namespace
