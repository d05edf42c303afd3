// The console through its public calls: lines in, fetched text out.
#include <zul/crf1.h>
#include <zul/ras1.h>

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace {

// Everything waiting in a console, fetched in pieces of `piece` bytes.
std::string FetchAll(uint32_t console, uint32_t piece = 4096)
{
    std::string out;
    char buffer[4096];
    uint32_t n = 0;
    while (CRF1_Fetch(console, buffer, piece, &n) == CRF1_OK)
        out.append(buffer, n);
    return out;
}

// Runs a line; the status, and what it wrote.
std::pair<int, std::string> Line(uint32_t console, const std::string &line)
{
    int status = CRF1_Execute(console, line.data(), uint32_t(line.size()), nullptr);
    return {status, FetchAll(console)};
}

struct LineCase { std::string line; int status; std::string out; };
struct Check { const char *what; int got, want; };

void RunLines(uint32_t console, const std::vector<LineCase> &cases)
{
    for (const LineCase &c : cases)
        EXPECT_EQ(Line(console, c.line), std::make_pair(c.status, c.out)) << c.line;
}

// demo's subcommands write their name and words; fail returns 8, quiet is
// hidden from the usage list.
const ZULCR_row_t kRows[] = {{0, "echo", "Echo arguments"}, {1, "fail", "Fail with 8"}, {2, "quiet", ""}};

int DemoHandler(ZULLX_list_t *list, ZULSS_format_t *format, ZULCR_request_t *request)
{
    auto *row = static_cast<const ZULCR_row_t *>(request->subcommandData);
    BSS1_PrintFormat(format, "%s", row->name);
    for (ZULLX_arg_t *arg; LEX1_Parse(format, list, LEX1_PARSE_QUIET, 1, nullptr, &arg, 0, nullptr, nullptr, nullptr) == 0;)
        BSS1_PrintFormat(format, " %s", arg->text);
    BSS1_PrintFormat(format, "\n");
    return row->code == 1 ? 8 : 0;
}

void Register(uint32_t *demo)
{
    ASSERT_EQ(CRF1_Register(demo, nullptr, nullptr, "demo", 0, "Demo command", 0), CRF1_OK);
    for (const ZULCR_row_t &row : kRows)
        ASSERT_EQ(CRF1_Subcommand(*demo, DemoHandler, (void *)&row, row.name, 0, row.description, 0), CRF1_OK);
    auto plain = [](ZULLX_list_t *, ZULSS_format_t *f, ZULCR_request_t *) { return BSS1_PrintFormat(f, "plain\n"), 99; };
    ASSERT_EQ(CRF1_Register(nullptr, plain, nullptr, "plain", 5, "Plain handler", 0), CRF1_OK);
    ASSERT_EQ(CRF1_Register(nullptr, plain, nullptr, "dup", 0, nullptr, 0), CRF1_OK);
    ASSERT_EQ(CRF1_Register(nullptr, plain, nullptr, "duplex", 0, "", 0), CRF1_OK);
}

const char kUsage[] = "\nusage: demo <subcommand> ...\n   or: demo (<subcommand> ...) (<subcommand> ...) ...\n\n"
                      "subcommand list:\n\n                fail: Fail with 8\n                echo: Echo arguments\n";

TEST(Console, LinesGiveTheirStatusAndOutput)
{
    uint32_t demo, console;
    Register(&demo);
    ASSERT_EQ(CRF1_New(&console), CRF1_OK);
    RunLines(console, {
        {" \t ", 2, "LEX1_Token status code 2\n"},
        {"\"open", 6, "LEX1_Token status code 6\n"},
        {"?\?", 0, "LEX1_String status code 0,4,2,'?\?'\n"},
        {"\"demo\" echo", 0, "LEX1_String status code 0,6,4,'demo'\n"},
        {"nosuch x", 10, "Command nosuch not found\n"},
        {"dup", 9, "Command dup is ambiguous\n"},
        {"DEMO echo a b", 0, "echo a b\n"},
        {"de echo a", 0, "echo a\n"},
        {"demo ec", 0, "subcommand ec not recognized\n"},
        {"demo \"ECHO\" x", 0, "echo x\n"},
        {"demo quiet", 0, "quiet\n"},
        {"demo", 16, "Positional argument required" + std::string(kUsage)},
        {"demo ()", 16, "Positional argument required" + std::string(kUsage)},
        {"demo (echo a) (fail)", 8, "echo a\nfail\n"},
        {"demo (fail) (echo b)", 0, "fail\necho b\n"},
        {"demo (echo a) (nope) (echo b)", 0, "echo a\nsubcommand nope not recognized\n"},
        {"demo ((echo a)) (echo b)", 0, "echo a\n"},
        {"plain (x", 7, "LEX1_ArgList(7): plain not found\n"},
        {"pl x y", 0, "plain\n"},
        {"demo a=b", 15, "Keyword argument not allowed: \"a=b\"\n" + std::string(kUsage)},
    });
    // The listing: right-aligned names in order of registration, hidden ones left out.
    auto [status, out] = Line(console, "? whatever");
    EXPECT_EQ(status, 0);
    EXPECT_NE(out.find("            demo: Demo command\n           plain: Plain handler\n"), std::string::npos) << out;
    EXPECT_EQ(out.find("dup"), std::string::npos) << out;
}

TEST(Console, RegistryRefusesWhatItMust)
{
    uint32_t demo, console, h;
    Register(&demo);
    ASSERT_EQ(CRF1_New(&console), CRF1_OK);
    auto own = [](ZULLX_list_t *, ZULSS_format_t *, ZULCR_request_t *) { return 0; };
    ASSERT_EQ(CRF1_Register(&h, own, nullptr, "own", 0, nullptr, 0), CRF1_OK);
    Check cases[] = {
        {"name in another case", CRF1_Register(nullptr, own, nullptr, "DEMO", 0, nullptr, 0), CRF1_Duplicate},
        {"empty name", CRF1_Register(nullptr, own, nullptr, "", 0, nullptr, 0), CRF1_BadArgument},
        {"subcommand twice", CRF1_Subcommand(demo, DemoHandler, nullptr, "Echo", 0, nullptr, 0), CRF1_Duplicate},
        {"subcommand of a handler", CRF1_Subcommand(h, DemoHandler, nullptr, "x", 0, nullptr, 0), CRF1_HasHandler},
        {"subcommand on a console", CRF1_Subcommand(console, DemoHandler, nullptr, "x", 0, nullptr, 0), CRF1_NotCommand},
        {"unregister a console", CRF1_Unregister(console), CRF1_NotCommand},
        {"delete a command", CRF1_Delete(demo), CRF1_NotConsole},
        {"execute on a command", CRF1_Execute(demo, "demo", 4, nullptr), CRF1_NotConsole},
        {"fetch nothing", CRF1_Fetch(console, nullptr, 0, nullptr), CRF1_Empty},
        {"unregister", CRF1_Unregister(h), CRF1_OK},
        {"unregister twice", CRF1_Unregister(h), CRF1_NotCommand},
        {"unregistered is not found", Line(console, "own").first, CRF1_NotFound},
        {"delete", CRF1_Delete(console), CRF1_OK},
        {"deleted console", CRF1_Execute(console, "?", 1, nullptr), CRF1_NotConsole},
    };
    for (const Check &c : cases)
        EXPECT_EQ(c.got, c.want) << c.what;
}

// Output longer than the buffer comes out in order, also when lines are
// added between two fetches; the count tells what waits.
TEST(Console, FetchInPiecesKeepsTheOrder)
{
    uint32_t demo, console, count = 0;
    Register(&demo);
    ASSERT_EQ(CRF1_New(&console), CRF1_OK);
    std::string words;
    for (int i = 0; i < 300; i++)
        words += " w" + std::to_string(i);
    std::string line = "demo echo" + words;
    ASSERT_EQ(CRF1_Execute(console, line.data(), uint32_t(line.size()), &count), CRF1_OK);
    char buffer[100];
    uint32_t n;
    ASSERT_EQ(CRF1_Fetch(console, buffer, sizeof buffer, &n), CRF1_OK);
    std::string got(buffer, n);
    ASSERT_EQ(CRF1_Execute(console, "demo echo tail", 14, &n), CRF1_OK);
    EXPECT_EQ(n, count - 100 + 10);
    got += FetchAll(console, 77);
    // A line longer than a record leaves in pieces, each ended by a line feed.
    std::string flat = got;
    std::erase(flat, '\n');
    EXPECT_EQ(flat, "echo" + words + "echo tail");
    EXPECT_EQ(got.back(), '\n');
}

// Whatever the bytes, a line gets a status and a message.
TEST(Console, AnyLineGetsAStatusAndAMessage)
{
    uint32_t demo, console;
    Register(&demo);
    ASSERT_EQ(CRF1_New(&console), CRF1_OK);
    std::mt19937 random(15);
    const char kAlphabet[] = "demo echo fail ()=\"\\ ?\n\t,;:'\0\x80\xff";
    for (int i = 0; i < 2000; i++) {
        std::string line(random() % (i == 0 ? 200000 : 40), ' ');
        for (char &c : line)
            c = kAlphabet[random() % (sizeof kAlphabet - 1)];
        auto [status, out] = Line(console, line);
        EXPECT_FALSE(out.empty()) << status << " " << line;
    }
    EXPECT_EQ(CRF1_Execute(console, nullptr, 5, nullptr), LEX1_BadArgument);
}

// A command unregistered while its handler runs stays whole until the
// line is over, and is no longer found by other lines meanwhile.
TEST(Console, UnregisteredWhileRunning)
{
    static std::atomic<int> phase{0};
    static const ZULCR_row_t row = {7, "go", "Wait and write"};
    auto slow = [](ZULLX_list_t *, ZULSS_format_t *f, ZULCR_request_t *r) {
        phase = 1;
        while (phase != 2)
            std::this_thread::yield();
        return BSS1_PrintFormat(f, "done %u\n", static_cast<const ZULCR_row_t *>(r->subcommandData)->code), 0;
    };
    uint32_t command, first, second;
    ASSERT_EQ(CRF1_Register(&command, nullptr, nullptr, "slow", 0, "Slow", 0), CRF1_OK);
    ASSERT_EQ(CRF1_Subcommand(command, slow, (void *)&row, row.name, 0, row.description, 0), CRF1_OK);
    ASSERT_EQ(CRF1_New(&first), CRF1_OK);
    ASSERT_EQ(CRF1_New(&second), CRF1_OK);
    std::pair<int, std::string> result;
    std::thread runner([&] { result = Line(first, "slow go"); });
    while (phase != 1)
        std::this_thread::yield();
    EXPECT_EQ(CRF1_Unregister(command), CRF1_OK);
    EXPECT_EQ(Line(second, "slow go"), std::make_pair(10, std::string("Command slow not found\n")));
    EXPECT_EQ(CRF1_Register(nullptr, nullptr, nullptr, "slow", 0, nullptr, 0), CRF1_OK);
    phase = 2;
    runner.join();
    EXPECT_EQ(result, std::make_pair(0, std::string("done 7\n")));
    EXPECT_EQ(CRF1_Subcommand(command, slow, nullptr, "x", 0, nullptr, 0), CRF1_NotCommand);
}

// A variable's handler: refuses values that begin with x, and counts calls.
int calls = 0;
int Refuse(const char *, void *, const char *value, uint32_t length)
{
    return calls++, length != 0 && value[0] == 'x' ? 8 : 0;
}

TEST(Console, Bss1Lines)
{
    setenv("CRF_T_A", "1", 1);
    uint32_t console;
    ASSERT_EQ(CRF1_New(&console), CRF1_OK);
    ASSERT_EQ(BSS1_ConfigRegister("T_LEVEL", "3", Refuse, nullptr), 0);
    ASSERT_EQ(BSS1_ConfigRegister("T_MODE", nullptr, Refuse, nullptr), 0);
    char pid[32];
    std::string self(pid, BSS1_Info(BSS1_INFO_PROCESSID, pid, sizeof pid));
    RunLines(console, {
        {"bss1 getenv CRF_T_A crf_t_b", 16, "CRF_T_A=\"1\"\ncrf_t_b=\"NULL\"\n"},
        {"bss1 getenv", 16, "Positional argument required\n"},
        {"bss1 info extra", 13, "Positional argument not allowed: \"extra\"\n"},
        {"bss1 abend " + self + "0", 0, "Authorization failed\n"},
        {"bss1 abend " + self.substr(1), 0, "Authorization failed\n"},
        {"bss1 config", 2, "Registered configuration variables:\n\n"
                           "Config variable T_MODE = \"NULL\"\nConfig variable T_LEVEL = \"3\"\n"
                           "Config variable RES1_DEBUG = \"NULL\"\n"},
        {"bss1 config NOPE", 2, "Configuration variable NOPE not defined\n"},
        {"bss1 config T_LEVEL T_MODE=fast NOPE", 2,
         "Config variable T_LEVEL = \"3\"\nConfig variable T_MODE = \"fast\"\nConfiguration variable NOPE not defined\n"},
        {"bss1 config T_MODE=xy", 2, "Config variable T_MODE = \"xy\" (Invalid)\n"},
        {"bss1 config t_mode=1", 2, "Unable to set t_mode to 1\n"},
        {"bss1 config T_MODE=(a b)", 14, "Argument list not allowed: \"(a b)\"\n"},
        {"bss1 (getenv CRF_T_A) (config T_MODE)", 2, "CRF_T_A=\"1\"\nConfig variable T_MODE = \"xy\" (Invalid)\n"},
    });
}

// A child that fork made without exec is a process of its own: bss1 info
// shows its ID, and bss1 abend refuses the parent's.
TEST(Console, ForkedChildAnswersForItself)
{
    uint32_t console;
    ASSERT_EQ(CRF1_New(&console), CRF1_OK);
    const std::string parent = std::to_string(getpid());
    ASSERT_NE(Line(console, "bss1 info").second.find(" Process ID: " + parent + "\n"), std::string::npos);
    pid_t child = fork();
    if (child == 0) {
        const std::string self = std::to_string(getpid());
        char pid[32];
        bool ok = std::string(pid, BSS1_Info(BSS1_INFO_PROCESSID, pid, sizeof pid)) == self &&
                  Line(console, "bss1 info").second.find(" Process ID: " + self + "\n") != std::string::npos &&
                  Line(console, "bss1 abend " + parent) == std::make_pair(0, std::string("Authorization failed\n"));
        _exit(ok ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(Console, ConfigVariablesKeepValueAndStatus)
{
    setenv("CRF_ALT_B", "from-b", 1);
    ASSERT_EQ(BSS1_ConfigRegister("CRF_ALT_A=CRF_ALT_B", nullptr, Refuse, nullptr), 0);
    calls = 0;
    ASSERT_EQ(BSS1_ConfigRegister("V", nullptr, Refuse, nullptr), 0);
    EXPECT_EQ(calls, 1);
    const char *value = nullptr, *first = nullptr;
    uint32_t length = 9;
    int32_t status = -1;
    uint32_t cursor = 0;
    const char *name = nullptr;
    Check cases[] = {
        {"same name in another case", BSS1_ConfigRegister("v", nullptr, Refuse, nullptr), STC1_Duplicate},
        {"set in another case", BSS1_ConfigSet("v", "1", 1), STC1_NotThere},
        {"first value of the alternative", BSS1_ConfigQuery("CRF_ALT_A", &value, &length, nullptr) == 0 &&
                                               std::string(value, length) == "from-b", true},
        {"long value", BSS1_ConfigSet("V", std::string(200, 'a').c_str(), 200), 0},
        {"the buffer stays for a shorter value",
         (BSS1_ConfigQuery("V", &first, nullptr, nullptr), BSS1_ConfigSet("V", "xyz", 3)), 8},
        {"refused value is kept", BSS1_ConfigQuery("V", &value, &length, &status) == 0 && value == first &&
                                      std::string(value, length) == "xyz" && status == 8, true},
        {"existence", BSS1_ConfigQuery("V", nullptr, nullptr, nullptr), 0},
        {"newest first", BSS1_ConfigEnum(&cursor, &name) == 0 && std::string(name) == "V", true},
        {"then the older", BSS1_ConfigEnum(&cursor, &name), 0},
        {"then the library's own", BSS1_ConfigEnum(&cursor, &name) == 0 && std::string(name) == "RES1_DEBUG", true},
        {"past the end, counting", BSS1_ConfigEnum(&cursor, &name) == STC1_Warning && cursor == 4, true},
    };
    for (const Check &c : cases)
        EXPECT_EQ(c.got, c.want) << c.what;
}

// The line that turns tracing on: a command sets a filter on the units
// zulcr*, and the next traced call of the console writes its Entry line.
std::string logged;
int SetFilter(ZULLX_list_t *list, ZULSS_format_t *format, ZULCR_request_t *)
{
    static const char *const kUnit[] = {"unit"};
    ZULLX_arg_t *group, *klass, *unit;
    uint32_t one = 1;
    int status = LEX1_Parse(format, list, LEX1_PARSE_WHOLE | LEX1_PARSE_LISTS, 1, nullptr, &group, 0, nullptr, nullptr, nullptr);
    if (status != 0 || group->type != LEX1_ARG_LIST ||
        (status = LEX1_Parse(format, group->sublist, LEX1_PARSE_WHOLE, 1, nullptr, &klass, 1, &one, &unit, kUnit)) != 0)
        return status ? status : 1;
    uint32_t classes;
    ZULRA_elem_t element = {unit->text, unit->length, RAS1_FILTER_UNIT};
    if (RAS1_QueryClassValue(&classes, klass->text, klass->length) != 0 || RAS1_NewFilter(nullptr, classes, &element, 1, 0, 0) % STC1_Warning != 0)
        return 1;
    return BSS1_PrintFormat(format, "OK\n");
}

TEST(Console, OneLineTurnsOnTracing)
{
    auto keep = [](void *, const char *text, uint32_t length, ZULRA_entry_t *, uint32_t) { return logged.append(text, length), 0; };
    ASSERT_EQ(RAS1_RegisterStore("keep", 4, nullptr, keep, RAS1_ANY), 0);
    uint32_t command, console;
    ASSERT_EQ(CRF1_Register(&command, nullptr, nullptr, "trc", 0, nullptr, 0), CRF1_OK);
    ASSERT_EQ(CRF1_Subcommand(command, SetFilter, nullptr, "set", 0, nullptr, 0), CRF1_OK);
    ASSERT_EQ(CRF1_New(&console), CRF1_OK);
    ASSERT_EQ(Line(console, "trc set (unit=zulcr FLOW)"), std::make_pair(0, std::string("OK\n")));
    EXPECT_NE(logged.find("CRF1_Fetch\") Entry"), std::string::npos) << logged;
    EXPECT_EQ(logged.find("CRF1_Execute"), std::string::npos) << logged;
}

} // namespace
