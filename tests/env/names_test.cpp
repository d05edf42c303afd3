// The program's short name and the system table that names a program's
// environment file.
#include <string>

#include <gtest/gtest.h>

#include "bss/zulssenv.h"
#include "envtest.h"

namespace {

TEST(EnvNames, ProgramStemCutsAtLastDotThenSeparators)
{
    struct Case {
        const char *path, *stem;
    } cases[] = {
        {"/usr/bin/server", "server"},
        {"/opt/agent/bin/agent.bin", "agent"},
        {"/opt/app.d/bin/server", "app"}, // the last "." wherever it stands
        {"C:\\prog\\srv.exe", "srv"},
        {"/mixed\\dir/name.x", "name"},
        {"plain", "plain"},
        {"trailing/", ""},
        {"", ""},
        {"/a/.hidden", ""},
    };
    for (const auto &c : cases) {
        char out[256];
        EXPECT_EQ(ZULSS_ProgramStem(c.path, out, sizeof out), strlen(c.stem)) << c.path;
        EXPECT_STREQ(out, c.stem) << c.path;
    }
    char small[4];
    EXPECT_EQ(ZULSS_ProgramStem("/bin/longname", small, sizeof small), 3u);
    EXPECT_STREQ(small, "lon");
}

TEST(EnvNames, SystemTableGivesOnePathPerProgram)
{
    envtest::Dir dir;
    std::string tooLong(256, 'p');
    std::string table = dir.File(
        "table", "# server = /wrong\n"
                 "server = /etc/srv.env  \n"
                 "AGENT=/a.env\n"
                 "empty =\n"
                 "long=" + tooLong + "\n"
                 "noequals\n"
                 "  spaced   name = /x\n"
                 "server=/second\n");
    struct Case {
        const char *program, *path;
    } cases[] = {
        {"server", "/etc/srv.env"},
        {"agent", "/a.env"}, // names compare without regard to case
        {"empty", ""},
        {"long", ""},
        {"noequals", ""},
        {"spaced", "/x"},
        {"missing", ""},
        {"", ""},
    };
    for (const auto &c : cases) {
        char out[256] = "unchanged";
        size_t n = ZULSS_SystemEnvPath(table.c_str(), c.program, out, sizeof out);
        EXPECT_EQ(n, strlen(c.path)) << c.program;
        if (n)
            EXPECT_STREQ(out, c.path) << c.program;
    }
    char out[256];
    EXPECT_EQ(ZULSS_SystemEnvPath((dir.path / "none").c_str(), "server", out, sizeof out), 0u);
}

} // namespace
