// Argument lists: the grammar of a command line, taken through
// LEX1_ArgList and LEX1_Parse with tables of lines and what should come
// of them; the shape of the tree, one-at-a-time parsing, deep nesting and
// failed allocations.
#include "lextest.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::string RenderList(const ZULLX_list_t *list);

// An argument as text: strings in single quotes, a keyword's value list
// in braces, a sublist in parentheses.
std::string Render(const ZULLX_arg_t *arg)
{
    if (arg == nullptr)
        return "-";
    switch (arg->type) {
    case LEX1_ARG_LIST:
        return "(" + RenderList(arg->sublist) + ")";
    case LEX1_ARG_KEYWORD:
        return std::string(arg->text, arg->length) + "={" + RenderList(arg->values) + "}";
    default: {
        std::string text(arg->text, arg->length);
        EXPECT_EQ(arg->text[arg->length], '\0');
        return arg->kind == LEX1_KIND_STRING ? "'" + text + "'" : text;
    }
    }
}

std::string RenderList(const ZULLX_list_t *list)
{
    std::string out;
    uint32_t n = 0;
    for (const ZULLX_arg_t *a = list->first; a != nullptr; a = a->next, ++n)
        out += (out.empty() ? "" : " ") + Render(a);
    EXPECT_EQ(n, list->count);
    return out;
}

// A tree read from `line` by a scanner that is gone by the time the
// tree is used.
struct Tree {
    ZULLX_list_t *root = nullptr;
    int status;
    explicit Tree(const std::string &line)
    {
        ZULLX_handle_t h;
        EXPECT_EQ(LEX1_New(&h, 2, nullptr, nullptr), LEX1_OK);
        EXPECT_EQ(LEX1_String(h, line.data(), static_cast<uint32_t>(line.size())), LEX1_OK);
        status = LEX1_ArgList(h, &root);
        EXPECT_EQ(LEX1_Delete(&h), LEX1_OK);
        EXPECT_EQ(status == LEX1_OK, root != nullptr);
    }
    ~Tree()
    {
        if (root != nullptr)
            EXPECT_EQ(LEX1_FreeArgList(root), LEX1_OK);
    }
};

struct TreeCase {
    const char *name;
    const char *line;
    int status;
    const char *tree;
};
void PrintTo(const TreeCase &c, std::ostream *os) { *os << c.name; }


class Trees : public ::testing::TestWithParam<TreeCase> {};

TEST_P(Trees, BuildAsExpected)
{
    Tree t(GetParam().line);
    ASSERT_EQ(t.status, GetParam().status);
    if (t.root != nullptr)
        EXPECT_EQ(RenderList(t.root), GetParam().tree);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, Trees,
    ::testing::Values(
        TreeCase{"Empty", "", 0, ""},
        TreeCase{"Blank", "  \t ", 0, ""},
        TreeCase{"WordsAndKeyword", "a b=c d", 0, "a b={c} d"},
        TreeCase{"BlanksAroundEquals", "a b = c d", 0, "a b={c} d"},
        TreeCase{"ColonForEquals", "a b:c d", 0, "a b={c} d"},
        TreeCase{"EqualsMinusIsOneOperator", "a=-1", 0, "a 1"},
        TreeCase{"ColonEqualsIsOneOperator", "a:=1", 0, "a 1"},
        TreeCase{"NumberMakesNoKeyword", "1=2", 0, "1 2"},
        TreeCase{"StringMakesNoKeyword", "'a'=2", 0, "'a' 2"},
        TreeCase{"KeywordTakesList", "a=(b c) d", 0, "a={(b c)} d"},
        TreeCase{"KeywordAtEnd", "x a=", 0, "x a={}"},
        TreeCase{"KeywordTakesKeyword", "a=b=c d", 0, "a={b={c}} d"},
        TreeCase{"KeywordTakesString", "msg='hello, world'", 0, "msg={'hello, world'}"},
        TreeCase{"Nesting", "((a) b (c=(d)))", 0, "((a) b (c={(d)}))"},
        TreeCase{"EmptyParentheses", "() x", 0, "() x"},
        TreeCase{"SeparatorsMeanNothing", "x, y; [z] {w} + - ==", 0, "x y z w"},
        TreeCase{"CommandLine", "ras1 set (unit=zulcr FLOW) level:3", 0, "ras1 set (unit={zulcr} FLOW) level={3}"},
        TreeCase{"ClosingWithNoneOpen", "a) b", 7, ""},
        TreeCase{"OpenAtEnd", "(a (b)", 7, ""},
        TreeCase{"KeywordWithoutValueInList", "(a=) b", 7, ""},
        TreeCase{"OpenString", "a 'bc", 6, ""},
        TreeCase{"OpenStringInOpenList", "a ('bc", 6, ""}),
    [](const auto &info) { return std::string(info.param.name); });

TEST(ArgList, TreeIsLinkedBothWays)
{
    Tree t("a (b c=d)");
    ASSERT_EQ(t.status, LEX1_OK);
    ZULLX_list_t *root = t.root;
    EXPECT_EQ(root->root, root);
    EXPECT_EQ(root->depth, -1);
    EXPECT_EQ(root->parent, nullptr);
    EXPECT_EQ(root->next, nullptr);
    EXPECT_EQ(root->owner, nullptr);
    ASSERT_EQ(root->count, 2u);

    ZULLX_arg_t *a = root->first, *list = a->next;
    EXPECT_EQ(a->line, 1u);
    EXPECT_EQ(a->column, 0u);
    EXPECT_EQ(a->kind, LEX1_KIND_IDENTIFIER);
    EXPECT_EQ(a->classes, 0x0070);
    ASSERT_EQ(list->type, LEX1_ARG_LIST);
    EXPECT_EQ(list->next, nullptr);
    ZULLX_list_t *sub = list->sublist;
    EXPECT_EQ(sub->parent, root);
    EXPECT_EQ(sub->next, root);
    EXPECT_EQ(sub->owner, list);
    EXPECT_EQ(sub->root, root);
    EXPECT_EQ(sub->depth, 0);

    ZULLX_arg_t *c = sub->first->next;
    ASSERT_EQ(c->type, LEX1_ARG_KEYWORD);
    EXPECT_EQ(c->values->parent, sub);
    EXPECT_EQ(c->values->owner, c);
    EXPECT_EQ(c->values->count, 1u);

    EXPECT_EQ(LEX1_FreeArgList(sub), LEX1_BadHandle);
    EXPECT_EQ(LEX1_FreeArgList(nullptr), LEX1_BadHandle);
}

// One call of LEX1_Parse in a table: -1 for a maximum means no array
// (and no count), so that the maximum is the minimum.
struct ParseCase {
    const char *name;
    const char *line;
    uint32_t flags;
    uint32_t pmin;
    int pmax;
    uint32_t kmin;
    int kmax;
    std::vector<const char *> names;
    int status;
    const char *positionals; // stored positionals, blank-separated
    const char *keywords;    // stored keyword slots, comma-separated, - for empty
    const char *message;
};
void PrintTo(const ParseCase &c, std::ostream *os) { *os << c.name; }


const std::vector<const char *> kNames = {"unit", "entry", "comp", "level"};
constexpr uint32_t W = LEX1_PARSE_WHOLE;

class Parse : public ::testing::TestWithParam<ParseCase> {};

TEST_P(Parse, SortsAndReports)
{
    const ParseCase &c = GetParam();
    Tree t(c.line);
    ASSERT_EQ(t.status, LEX1_OK);
    std::vector<ZULLX_arg_t *> pos(c.pmax > 0 ? c.pmax : 1, nullptr);
    std::vector<ZULLX_arg_t *> kw(c.kmax > 0 ? c.kmax : 1, reinterpret_cast<ZULLX_arg_t *>(1));
    uint32_t pcount = c.pmax < 0 ? 0 : c.pmax, kcount = c.kmax < 0 ? 0 : c.kmax;
    Capture out;
    int status = LEX1_Parse(out.format, t.root, c.flags, c.pmin, c.pmax < 0 ? nullptr : &pcount,
                            c.pmax < 0 ? nullptr : pos.data(), c.kmin,
                            c.kmax < 0 ? nullptr : &kcount, c.kmax < 0 ? nullptr : kw.data(),
                            c.names.empty() ? nullptr : c.names.data());
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(out.Take(), c.message);
    if (status != LEX1_OK) {
        EXPECT_EQ(pcount, 0u);
        EXPECT_EQ(kcount, 0u);
        return;
    }
    std::string p, k;
    for (uint32_t i = 0; i < pcount; ++i)
        p += (i ? " " : "") + Render(pos[i]);
    for (int i = 0; i < (c.names.empty() ? static_cast<int>(kcount) : c.kmax); ++i)
        k += (i ? "," : "") + Render(kw[i]);
    EXPECT_EQ(p, c.positionals);
    EXPECT_EQ(k, c.keywords);
    // Whole-list mode leaves the list as it was.
    EXPECT_EQ(t.root->first == nullptr, t.root->count == 0);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, Parse,
    ::testing::Values(
        ParseCase{"AbbreviatedName", "l=3", W, 0, 0, 0, 4, kNames, 0, "", "-,-,-,3", ""},
        ParseCase{"NamesIgnoreCase", "LEV=3 e=x", W, 0, 0, 0, 4, kNames, 0, "", "-,x,-,3", ""},
        ParseCase{"ColonKeyword", "u:(a b)", W, 0, 0, 0, 4, kNames, 0, "", "(a b),-,-,-", ""},
        ParseCase{"ValueMayBeKeyword", "c=x=y", W, 0, 0, 0, 4, kNames, 0, "", "-,-,x={y},-", ""},
        ParseCase{"Ambiguous", "unit=1", W, 0, 0, 0, 2, {"unit", "units"}, 11, "", "",
                  "Ambiguous keyword argument: \"unit=1\"\n"},
        ParseCase{"AmbiguousBeginning", "UN=1", W, 0, 0, 0, 2, {"unit", "units"}, 11, "", "",
                  "Ambiguous keyword argument: \"UN=1\"\n"},
        ParseCase{"LongerThanEveryName", "levels=1", W, 0, 0, 0, 4, kNames, 10, "", "",
                  "Unrecognized keyword argument: \"levels=1\"\n"},
        ParseCase{"Duplicate", "l=1 LEVEL=2", W, 0, 0, 0, 4, kNames, 12, "", "",
                  "Duplicate keyword argument: \"LEVEL=2\"\n"},
        ParseCase{"EmptyValueRefused", "unit=", W, 0, 0, 0, 4, kNames, 14, "", "",
                  "Argument list not allowed: \"unit=()\"\n"},
        ParseCase{"EmptyValueAsList", "unit=", W | LEX1_PARSE_KEYLISTS, 0, 0, 0, 4, kNames, 0, "",
                  "(),-,-,-", ""},
        ParseCase{"KeywordsInOrderWithoutNames", "a=1 x b=(2 3)", W, 0, 1, 0, 2, {}, 0, "x",
                  "a={1},b={(2 3)}", ""},
        ParseCase{"TooManyKeywords", "a=1 b=2", W, 0, 0, 0, 1, {}, 9, "", "",
                  "Keyword argument not allowed: \"b=2\"\n"},
        ParseCase{"NoKeywordsAtAll", "k=v x", W, 0, -1, 0, -1, {}, 15, "", "",
                  "Keyword argument not allowed: \"k=v\"\n"},
        ParseCase{"NoPositionalsAtAll", "x", W, 0, -1, 0, -1, {}, 13, "", "",
                  "Positional argument not allowed: \"x\"\n"},
        ParseCase{"NothingWantedNothingGiven", "", W, 0, -1, 0, -1, {}, 0, "", "", ""},
        ParseCase{"TooManyPositionals", "a b c", W, 0, 2, 0, 0, {}, 13, "", "",
                  "Positional argument not allowed: \"c\"\n"},
        ParseCase{"ListRefused", "(a b)", W, 0, 1, 0, 0, {}, 14, "", "",
                  "Argument list not allowed: \"(a b)\"\n"},
        ParseCase{"ListAllowed", "(a b) c", W | LEX1_PARSE_LISTS, 0, 2, 0, 0, {}, 0, "(a b) c", "", ""},
        ParseCase{"PositionalRequired", "a", W, 2, 2, 0, 0, {}, 16, "", "", "Positional argument required"},
        ParseCase{"PositionalRequiredQuietly", "a", W | LEX1_PARSE_QUIET, 2, 2, 0, 0, {}, 16, "", "", ""},
        ParseCase{"KeywordRequired", "a", W, 0, 1, 1, 1, {}, 17, "", "", "Keyword argument required"},
        ParseCase{"PositionalMissedFirst", "", W, 1, 1, 1, 1, {}, 16, "", "", "Positional argument required"},
        ParseCase{"EmptyListWithRoom", "", W, 0, 2, 0, 0, {}, 2, "", "", ""},
        ParseCase{"ArgumentWrittenBack", "(a b=(c d) e=f ((g)) 'q r')", W, 0, -1, 0, -1, {}, 13, "", "",
                  "Positional argument not allowed: \"(a b=(c d) e=f ((g)) q r)\"\n"},
        ParseCase{"EmptyListWrittenBack", "() x", W, 0, -1, 0, -1, {}, 13, "", "",
                  "Positional argument not allowed: \"()\"\n"}),
    [](const auto &info) { return std::string(info.param.name); });

// Without a format object the status still comes back.
TEST(Parse, NullFormatAndNullList)
{
    Tree t("x");
    EXPECT_EQ(LEX1_Parse(nullptr, t.root, W, 0, nullptr, nullptr, 0, nullptr, nullptr, nullptr), 13);
    uint32_t n = 5;
    EXPECT_EQ(LEX1_Parse(nullptr, nullptr, W, 0, &n, nullptr, 0, nullptr, nullptr, nullptr),
              LEX1_BadHandle);
    EXPECT_EQ(n, 0u);
}

// One argument per call: each is taken out of the list, and the call after
// the last one misses the minimum.
TEST(Parse, OneAtATime)
{
    Tree t("x (y) z");
    ZULLX_arg_t *arg = nullptr;
    std::string taken;
    for (uint32_t left = 3; left > 0; --left) {
        ASSERT_EQ(t.root->count, left);
        ASSERT_EQ(LEX1_Parse(nullptr, t.root, LEX1_PARSE_LISTS, 1, nullptr, &arg, 0, nullptr,
                             nullptr, nullptr),
                  LEX1_OK);
        taken += Render(arg);
    }
    EXPECT_EQ(taken, "x(y)z");
    EXPECT_EQ(t.root->count, 0u);
    EXPECT_EQ(t.root->first, nullptr);
    {
        Capture out;
        EXPECT_EQ(LEX1_Parse(out.format, t.root, 0, 1, nullptr, &arg, 0, nullptr, nullptr, nullptr),
                  LEX1_PositionalRequired);
        EXPECT_EQ(out.Take(), "Positional argument required");
    }
    Capture out;
    EXPECT_EQ(LEX1_Parse(out.format, t.root, LEX1_PARSE_QUIET, 1, nullptr, &arg, 0, nullptr,
                         nullptr, nullptr),
              LEX1_PositionalRequired);
    EXPECT_EQ(out.Take(), "");
}

TEST(Parse, OneAtATimeStopsAtWhatIsNotWanted)
{
    // A keyword where none may come is reported and left in the list.
    Tree t("k=v x");
    ZULLX_arg_t *arg = nullptr;
    Capture out;
    EXPECT_EQ(LEX1_Parse(out.format, t.root, 0, 1, nullptr, &arg, 0, nullptr, nullptr, nullptr),
              LEX1_NoKeywords);
    EXPECT_EQ(out.Take(), "Keyword argument not allowed: \"k=v\"\n");
    EXPECT_EQ(t.root->count, 2u);

    // A positional when only keywords are wanted ends the call quietly
    // with 2, and nothing is taken.
    Tree u("x");
    uint32_t kcount = 1;
    EXPECT_EQ(LEX1_Parse(nullptr, u.root, 0, 0, nullptr, nullptr, 0, &kcount, &arg, nullptr),
              LEX1_End);
    EXPECT_EQ(kcount, 0u);
    EXPECT_EQ(u.root->count, 1u);
}

// A keyword value taken as a list turns the keyword into a list argument;
// a whole-list parse otherwise leaves the tree as it found it.
TEST(Parse, WholeListParseRepeats)
{
    Tree t("a=1 b c=2");
    const char *names[] = {"a", "c"};
    for (int round = 0; round < 2; ++round) {
        ZULLX_arg_t *pos[2], *kw[2];
        uint32_t pcount = 2, kcount = 2;
        ASSERT_EQ(LEX1_Parse(nullptr, t.root, W, 1, &pcount, pos, 2, &kcount, kw, names), LEX1_OK);
        EXPECT_EQ(pcount, 1u);
        EXPECT_EQ(kcount, 2u);
        EXPECT_EQ(Render(pos[0]) + Render(kw[0]) + Render(kw[1]), "b12");
    }
    EXPECT_EQ(RenderList(t.root), "a={1} b c={2}");
}

// Nesting far deeper than any stack would allow recursion to follow.
TEST(ArgList, DeepNesting)
{
    const size_t depth = 100000;
    Tree t(std::string(depth, '(') + "x" + std::string(depth, ')'));
    ASSERT_EQ(t.status, LEX1_OK);
    Capture out;
    EXPECT_EQ(LEX1_Parse(out.format, t.root, W, 0, nullptr, nullptr, 0, nullptr, nullptr, nullptr),
              LEX1_TooManyPositionals);
    EXPECT_EQ(out.Take(), "Positional argument not allowed: \"" + std::string(depth, '(') + "x" +
                              std::string(depth, ')') + "\"\n");

    Tree open(std::string(depth, '('));
    EXPECT_EQ(open.status, LEX1_Unbalanced);
}

// Every allocation of the building may fail: the result is then null and
// nothing is left behind (the address sanitizer checks for leaks).
TEST(ArgList, ShortageFreesWhatWasBuilt)
{
    std::string line;
    for (int i = 0; i < 100; ++i)
        line += "word" + std::to_string(i) + "=(a b) ";
    bool built = false;
    for (int n = 1; n < 80 && !built; ++n) {
        ZULLX_handle_t h;
        ASSERT_EQ(LEX1_New(&h, 2, nullptr, nullptr), LEX1_OK);
        ASSERT_EQ(LEX1_String(h, line.data(), static_cast<uint32_t>(line.size())), LEX1_OK);
        ZULLX_list_t *root = reinterpret_cast<ZULLX_list_t *>(&h);
        FailAllocAfter(n);
        int status = LEX1_ArgList(h, &root);
        FailAllocAfter(0);
        if (status == LEX1_OK) {
            EXPECT_EQ(root->count, 100u);
            EXPECT_EQ(LEX1_FreeArgList(root), LEX1_OK);
            built = true;
        } else {
            EXPECT_TRUE(status == LEX1_NoMemory || status == LEX1_NoTokenMemory) << status;
            EXPECT_EQ(root, nullptr);
        }
        LEX1_Delete(&h);
    }
    EXPECT_TRUE(built);
}

} // namespace
