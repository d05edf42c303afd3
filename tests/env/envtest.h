// Runs the probe program in a prepared directory with a prepared
// environment, and collects what it found.
#ifndef ZUL_TESTS_ENV_ENVTEST_H
#define ZUL_TESTS_ENV_ENVTEST_H

#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace envtest {

// A fresh directory, removed at the end of the test.
struct Dir {
    std::filesystem::path path;
    Dir()
    {
        char pattern[] = "/tmp/zulenvXXXXXX";
        path = mkdtemp(pattern) ? pattern : "/tmp";
    }
    ~Dir() { std::filesystem::remove_all(path); }
    std::string File(const std::string &name, const std::string &text) const
    {
        std::ofstream(path / name, std::ios::binary) << text;
        return (path / name).string();
    }
};

using Values = std::map<std::string, std::optional<std::string>>;

// Runs the probe in `cwd` with exactly the variables `env` and looks up
// `names` (no text here holds a single quote).  The probe prints line i as
// "<name>=<value>", or "<name>" alone for no value.
inline Values Probe(const std::string &cwd, const std::vector<std::string> &env,
                    const std::vector<std::string> &names, int *status = nullptr)
{
    std::string command = "cd '" + cwd + "' && exec env -i", text, line;
    for (const auto &word : env)
        command += " '" + word + "'";
    command += " '" ZUL_ENV_PROBE "'";
    for (const auto &word : names)
        command += " '" + word + "'";
    FILE *pipe = popen(command.c_str(), "r");
    char buf[4096];
    for (size_t n; pipe && (n = fread(buf, 1, sizeof buf, pipe)) > 0;)
        text.append(buf, n);
    int st = pipe ? pclose(pipe) : -1;
    if (status)
        *status = st;
    Values out;
    std::istringstream lines(text);
    for (const auto &name : names)
        if (std::getline(lines, line))
            out[name] = line.size() > name.size() ? std::optional(line.substr(name.size() + 1)) : std::nullopt;
    return out;
}

} // namespace envtest

#endif
