// The scanner against GLib's GScanner, set up alike: blanks and line ends
// skipped, identifiers of letters, digits and # $ @ _, decimal and
// hexadecimal numbers, strings in single and double quotes, everything
// else a token of its own.  Both scan the same 1 MiB of command lines:
// once as one text, and once line by line as a console does, one scanner
// per line for LEX1 (as the console makes them) and one reused GScanner.
#include <zul/lex1.h>

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#ifdef ZUL_BENCH_GSCANNER
#include <glib.h>
#endif

namespace {

const std::vector<std::string> &Lines()
{
    static const std::vector<std::string> lines = [] {
        static const char *const kForms[] = {
            "ras1 set (unit=zulcr FLOW) (comp=lex1 ERROR) level:3",
            "bss1 getenv ZUL_ENVPATH",
            "res1 list handle=0x1F2E3D4C verbose",
            "ras1 filter \"unit=zul entry=BSS1_GetEnv\" weight=12",
            "crf1 exec 'echo hello, world' count=42 (a b (c d))",
            "bss1 (getenv HOME) (info) (config name=RES1_DEBUG value=on)",
        };
        std::vector<std::string> out;
        size_t total = 0;
        for (unsigned i = 0; total < (1u << 20); ++i) {
            std::string line = std::string(kForms[i % 6]) + " id=" + std::to_string(i) + "\n";
            total += line.size();
            out.push_back(std::move(line));
        }
        return out;
    }();
    return lines;
}

const std::string &Text()
{
    static const std::string text = [] {
        std::string t;
        for (const auto &line : Lines())
            t += line;
        return t;
    }();
    return text;
}

// Scans everything pushed so far; returns the number of tokens.
size_t LexDrain(ZULLX_handle_t h)
{
    size_t tokens = 0;
    const ZULLX_token_t *token;
    uint32_t delivered;
    while (LEX1_Token(h, &token, 1, &delivered) == LEX1_OK) {
        benchmark::DoNotOptimize(token->text);
        ++tokens;
    }
    return tokens;
}

void LexText(benchmark::State &state)
{
    const std::string &text = Text();
    size_t tokens = 0;
    for (auto _ : state) {
        ZULLX_handle_t h;
        LEX1_New(&h, 2, nullptr, nullptr);
        LEX1_String(h, text.data(), static_cast<uint32_t>(text.size()));
        tokens = LexDrain(h);
        LEX1_Delete(&h);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
    state.counters["tokens"] = static_cast<double>(tokens);
}

void LexLines(benchmark::State &state)
{
    size_t tokens = 0;
    for (auto _ : state) {
        tokens = 0;
        for (const auto &line : Lines()) {
            ZULLX_handle_t h;
            LEX1_New(&h, 2, nullptr, nullptr);
            LEX1_String(h, line.data(), static_cast<uint32_t>(line.size()));
            tokens += LexDrain(h);
            LEX1_Delete(&h);
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Text().size()));
    state.counters["tokens"] = static_cast<double>(tokens);
}

// What the console does with each line after the command word: the whole
// line into an argument tree, then freed.
void LexArgLists(benchmark::State &state)
{
    for (auto _ : state) {
        for (const auto &line : Lines()) {
            ZULLX_handle_t h;
            ZULLX_list_t *list = nullptr;
            LEX1_New(&h, 2, nullptr, nullptr);
            LEX1_String(h, line.data(), static_cast<uint32_t>(line.size()));
            LEX1_ArgList(h, &list);
            benchmark::DoNotOptimize(list);
            LEX1_FreeArgList(list);
            LEX1_Delete(&h);
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Text().size()));
}

// Lines that a careless or hostile client may send: one token of 1 MiB,
// a line of 1 MiB of short words, and a line of 1 MiB of opening
// parentheses.  Each costs time in proportion to its length: the token's
// text grows by doubling, and the argument tree carves its records from
// the newest storage block without walking the older ones.
const std::string &Hostile(int which)
{
    static const std::string lines[] = {
        std::string(1u << 20, 'a'),
        [] {
            std::string t;
            for (unsigned i = 0; t.size() < (1u << 20); ++i)
                t += "w" + std::to_string(i % 1000) + " ";
            return t;
        }(),
        std::string(1u << 20, '('),
    };
    return lines[which];
}

void LexHostileLine(benchmark::State &state)
{
    const std::string &line = Hostile(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        ZULLX_handle_t h;
        ZULLX_list_t *list = nullptr;
        LEX1_New(&h, 2, nullptr, nullptr);
        LEX1_String(h, line.data(), static_cast<uint32_t>(line.size()));
        benchmark::DoNotOptimize(LEX1_ArgList(h, &list));
        LEX1_FreeArgList(list);
        LEX1_Delete(&h);
    }
    state.SetLabel(state.range(0) == 0 ? "one 1 MiB token" : state.range(0) == 1 ? "1 MiB of words" : "1 MiB of (");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * line.size()));
}

#ifdef ZUL_BENCH_GSCANNER
GScannerConfig Config()
{
    static char skip[] = " \t\n\r\f";
    static char first[] = G_CSET_a_2_z G_CSET_A_2_Z "#$@_";
    static char nth[] = G_CSET_a_2_z G_CSET_A_2_Z "#$@_0123456789";
    GScannerConfig c = {};
    c.cset_skip_characters = skip;
    c.cset_identifier_first = first;
    c.cset_identifier_nth = nth;
    c.cpair_comment_single = nullptr;
    c.case_sensitive = TRUE;
    c.scan_identifier = TRUE;
    c.scan_identifier_1char = TRUE;
    c.scan_hex = TRUE;
    c.scan_string_sq = TRUE;
    c.scan_string_dq = TRUE;
    c.numbers_2_int = TRUE;
    c.char_2_token = TRUE;
    return c;
}

size_t GDrain(GScanner *scanner)
{
    size_t tokens = 0;
    for (;;) {
        GTokenType t = g_scanner_get_next_token(scanner);
        if (t == G_TOKEN_EOF || t == G_TOKEN_ERROR)
            break;
        benchmark::DoNotOptimize(scanner->value);
        ++tokens;
    }
    return tokens;
}

void GScannerText(benchmark::State &state)
{
    const std::string &text = Text();
    GScannerConfig config = Config();
    size_t tokens = 0;
    for (auto _ : state) {
        GScanner *scanner = g_scanner_new(&config);
        g_scanner_input_text(scanner, text.data(), static_cast<guint>(text.size()));
        tokens = GDrain(scanner);
        g_scanner_destroy(scanner);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
    state.counters["tokens"] = static_cast<double>(tokens);
}

void GScannerLines(benchmark::State &state)
{
    GScannerConfig config = Config();
    GScanner *scanner = g_scanner_new(&config);
    size_t tokens = 0;
    for (auto _ : state) {
        tokens = 0;
        for (const auto &line : Lines()) {
            g_scanner_input_text(scanner, line.data(), static_cast<guint>(line.size()));
            tokens += GDrain(scanner);
        }
    }
    g_scanner_destroy(scanner);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Text().size()));
    state.counters["tokens"] = static_cast<double>(tokens);
}
#endif

} // namespace

BENCHMARK(LexText)->Unit(benchmark::kMillisecond);
#ifdef ZUL_BENCH_GSCANNER
BENCHMARK(GScannerText)->Unit(benchmark::kMillisecond);
#endif
BENCHMARK(LexLines)->Unit(benchmark::kMillisecond);
#ifdef ZUL_BENCH_GSCANNER
BENCHMARK(GScannerLines)->Unit(benchmark::kMillisecond);
#endif
BENCHMARK(LexArgLists)->Unit(benchmark::kMillisecond);
BENCHMARK(LexHostileLine)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);
