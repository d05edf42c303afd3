// A program built on the shared library, whose load reads the environment
// files while the trace is held off: what the reading passed over reaches
// the log once the trace runs, and a log whose program chose its own store
// says that ZUL_RAS1 was not read.
#include "envtest.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

namespace {

// Runs the probe in `cwd` with exactly the variables `env`; its output.
std::string RunLoaded(const std::string &cwd, const std::vector<std::string> &env, const std::string &arg = "")
{
    std::string command = "cd '" + cwd + "' && exec env -i", text;
    for (const auto &word : env)
        command += " '" + word + "'";
    command += " '" ZUL_LOADED_PROBE "' " + arg;
    FILE *pipe = popen(command.c_str(), "r");
    char buf[4096];
    for (size_t n; pipe && (n = fread(buf, 1, sizeof buf, pipe)) > 0;)
        text.append(buf, n);
    EXPECT_EQ(pipe ? pclose(pipe) : -1, 0) << text;
    return text;
}

TEST(LoadedEnvironment, FilesPassedOverAreLoggedOnceTheTraceRuns)
{
    envtest::Dir dir;
    const std::string d = dir.path.string();
    ASSERT_EQ(mkdir((d + "/conf.d").c_str(), 0700), 0);
    dir.File("ZULENV", "ZUL_ENVPATH=" + d + "/conf.d\nA=1\n");
    std::string log = RunLoaded(d, {"ZUL_RAS1=ERROR"});
    EXPECT_NE(log.find(":zulssev,"), std::string::npos) << log;
    EXPECT_NE(log.find("\"ReadEnvironment\") Environment file not read, not a regular file: " + d + "/conf.d\n"),
              std::string::npos) << log;
    // Not under a class that leaves ERROR out.
    EXPECT_EQ(RunLoaded(d, {"ZUL_RAS1=FLOW"}).find("not a regular file"), std::string::npos);
}

TEST(LoadedEnvironment, HeaderSaysWhenZulRas1WasNotRead)
{
    envtest::Dir dir;
    const std::string d = dir.path.string();
    const std::string own = RunLoaded(d, {"ZUL_RAS1=ERROR"}, "own-store");
    EXPECT_NE(own.find("        ZUL_RAS1: ERROR (not read: the program registered its own store first)\n"),
              std::string::npos) << own;
    EXPECT_NE(own.find("probe done\n"), std::string::npos) << own;
    const std::string read = RunLoaded(d, {"ZUL_RAS1=ERROR"});
    EXPECT_NE(read.find("        ZUL_RAS1: ERROR\n"), std::string::npos) << read;
}

} // namespace
