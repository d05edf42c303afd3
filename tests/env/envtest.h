// Runs the probe program in a prepared directory with a prepared
// environment, and collects what it found.
#ifndef ZUL_TESTS_ENV_ENVTEST_H
#define ZUL_TESTS_ENV_ENVTEST_H

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace envtest {

// A fresh directory, removed at the end of the test.
struct Dir {
    std::filesystem::path path;
    Dir()
    {
        char pattern[] = "/tmp/zulenvXXXXXX";
        const char *made = mkdtemp(pattern);
        path = made ? made : "/tmp";
    }
    ~Dir() { std::filesystem::remove_all(path); }
    std::string File(const std::string &name, const std::string &text) const
    {
        std::filesystem::path p = path / name;
        std::ofstream(p, std::ios::binary) << text;
        return p.string();
    }
};

struct Outcome {
    std::map<std::string, std::optional<std::string>> values;
    int status = -1;
    std::optional<std::string> operator[](const std::string &name) const
    {
        auto it = values.find(name);
        return it == values.end() ? std::nullopt : it->second;
    }
};

// Runs the probe in `cwd` with exactly the variables `env` (plus PATH
// unless `env` names it) and looks up `names`.
inline Outcome Probe(const std::string &cwd, const std::vector<std::string> &env,
                     const std::vector<std::string> &names)
{
    std::vector<std::string> args{ZUL_ENV_PROBE};
    args.insert(args.end(), names.begin(), names.end());
    std::vector<char *> argv;
    for (auto &a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    std::vector<std::string> envCopy = env;
    std::vector<char *> envp;
    for (auto &e : envCopy)
        envp.push_back(e.data());
    envp.push_back(nullptr);

    Outcome out;
    int fds[2];
    if (pipe(fds) != 0)
        return out;
    pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 1);
        close(fds[0]);
        close(fds[1]);
        if (chdir(cwd.c_str()) != 0)
            _exit(126);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(fds[1]);
    std::string text;
    char buf[4096];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof buf)) > 0)
        text.append(buf, static_cast<size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    out.status = status;

    // Each line is "<name>=<value>" or "<name>" for no value; the names
    // are known, so the split is not fooled by "=" in names or values.
    size_t pos = 0;
    for (const auto &name : names) {
        size_t end = text.find('\n', pos);
        if (end == std::string::npos)
            break;
        std::string line = text.substr(pos, end - pos);
        pos = end + 1;
        if (line.size() > name.size() && line.compare(0, name.size(), name) == 0 &&
            line[name.size()] == '=')
            out.values[name] = line.substr(name.size() + 1);
        else
            out.values[name] = std::nullopt;
    }
    return out;
}

} // namespace envtest

#endif
