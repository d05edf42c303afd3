// zulctl: runs console commands in running programs built on libzul,
// through the console socket each of them opens (CRF1_Listen or
// ZUL_CONSOLE).
//
//   zulctl list                           the processes that have a console
//   zulctl PID|PROGRAM COMMAND...         one command; exit status is its status
//   zulctl PID|PROGRAM                    a prompt: one command per line
//   zulctl --all PROGRAM COMMAND...       the command in every such process
//
// --dir DIR names the socket directory; otherwise ZUL_CONSOLE when it is a
// path, else $XDG_RUNTIME_DIR/zul, /run/zul for root, /tmp/zul-<uid>.
//
// The client does not link libzul, so that ZUL_CONSOLE in its own
// environment never opens a console in zulctl itself.
#include <dirent.h>
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

// zulctl's own failures: usage, no such process, no connection.  A
// command's status is always below this.
constexpr int kOwnFailure = 125;

struct Target {
    std::string program;
    unsigned pid;
    std::string socket;
};

std::string socket_directory(const char *given)
{
    if (given != nullptr)
        return given;
    const char *setting = getenv("ZUL_CONSOLE");
    if (setting != nullptr && setting[0] == '/')
        return setting;
    const char *runtime = getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] == '/')
        return std::string(runtime) + "/zul";
    if (geteuid() == 0)
        return "/run/zul";
    return "/tmp/zul-" + std::to_string(geteuid());
}

// "<program>.<pid>.sock" of a process that still runs.
bool parse_name(const char *name, Target *t)
{
    std::string s = name;
    const std::string suffix = ".sock";
    if (s.size() <= suffix.size() || s.compare(s.size() - suffix.size(), suffix.size(), suffix) != 0)
        return false;
    s.resize(s.size() - suffix.size());
    size_t dot = s.rfind('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == s.size() || s.size() - dot > 10)
        return false;
    for (size_t i = dot + 1; i < s.size(); ++i)
        if (s[i] < '0' || s[i] > '9')
            return false;
    t->program = s.substr(0, dot);
    t->pid = unsigned(strtoul(s.c_str() + dot + 1, nullptr, 10));
    return t->pid != 0 && (kill(pid_t(t->pid), 0) == 0 || errno == EPERM);
}

std::vector<Target> scan(const std::string &dir)
{
    std::vector<Target> found;
    DIR *d = opendir(dir.c_str());
    if (d == nullptr)
        return found;
    while (struct dirent *e = readdir(d)) {
        Target t;
        if (parse_name(e->d_name, &t)) {
            t.socket = dir + "/" + e->d_name;
            found.push_back(t);
        }
    }
    closedir(d);
    std::sort(found.begin(), found.end(), [](const Target &a, const Target &b) {
        return a.program != b.program ? a.program < b.program : a.pid < b.pid;
    });
    return found;
}

int connect_to(const Target &t)
{
    struct sockaddr_un addr;
    memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    if (t.socket.size() >= sizeof addr.sun_path)
        return -1;
    strcpy(addr.sun_path, t.socket.c_str());
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    if (connect(fd, reinterpret_cast<struct sockaddr *>(&addr), sizeof addr) != 0) {
        close(fd);
        return -1;
    }
    // A server that stops answering does not hold the operator forever.
    struct timeval limit = {120, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    return fd;
}

bool send_all(int fd, const char *p, size_t n)
{
    while (n > 0) {
        ssize_t k = send(fd, p, n, MSG_NOSIGNAL);
        if (k < 0 && errno == EINTR)
            continue;
        if (k <= 0)
            return false;
        p += k;
        n -= size_t(k);
    }
    return true;
}

// Reads one reply: the header "ZUL <status> <length>\n" and the bytes,
// which go to `out`.  Returns the status, -1 when the connection broke,
// or kClosed when the server had closed it before any byte of a reply:
// it never closes a connection between running a line and answering it,
// so the line was not run.
constexpr int kClosed = -2;

int read_reply(int fd, FILE *out)
{
    char head[64];
    size_t n = 0;
    for (;;) {
        if (n + 1 >= sizeof head)
            return -1;
        ssize_t k = recv(fd, head + n, 1, 0);
        if (k < 0 && errno == EINTR)
            continue;
        if (k <= 0)
            return n == 0 && (k == 0 || errno == ECONNRESET) ? kClosed : -1;
        if (head[n++] == '\n')
            break;
    }
    head[n] = '\0';
    unsigned status = 0, length = 0;
    if (sscanf(head, "ZUL %u %u\n", &status, &length) != 2)
        return -1;
    char buffer[8192];
    while (length > 0) {
        ssize_t k = recv(fd, buffer, std::min<size_t>(length, sizeof buffer), 0);
        if (k < 0 && errno == EINTR)
            continue;
        if (k <= 0)
            return -1;
        fwrite(buffer, 1, size_t(k), out);
        length -= unsigned(k);
    }
    fflush(out);
    return int(status);
}

int run_one(const Target &t, const std::string &command)
{
    int fd = connect_to(t);
    if (fd < 0) {
        fprintf(stderr, "zulctl: cannot reach %s (%u): %s\n", t.program.c_str(), t.pid, strerror(errno));
        return kOwnFailure;
    }
    std::string line = command + "\n";
    int status = send_all(fd, line.data(), line.size()) ? read_reply(fd, stdout) : -1;
    close(fd);
    if (status < 0) {
        fprintf(stderr, "zulctl: no answer from %s (%u)\n", t.program.c_str(), t.pid);
        return kOwnFailure;
    }
    return std::min(status, kOwnFailure - 1);
}

int interactive(const Target &t)
{
    int fd = connect_to(t);
    if (fd < 0) {
        fprintf(stderr, "zulctl: cannot reach %s (%u): %s\n", t.program.c_str(), t.pid, strerror(errno));
        return kOwnFailure;
    }
    bool prompt = isatty(0);
    char *line = nullptr;
    size_t room = 0;
    int result = 0;
    for (;;) {
        if (prompt) {
            printf("%s.%u> ", t.program.c_str(), t.pid);
            fflush(stdout);
        }
        ssize_t n = getline(&line, &room, stdin);
        if (n < 0)
            break;
        if (n > 0 && line[n - 1] != '\n')
            line[n++] = '\n';  // getline leaves room for the terminator
        int status = send_all(fd, line, size_t(n)) ? read_reply(fd, stdout) : kClosed;
        if (status == kClosed) {
            // A prompt left idle may have been closed to make room for
            // another client: connect again and send the line once more.
            close(fd);
            fd = connect_to(t);
            status = fd >= 0 && send_all(fd, line, size_t(n)) ? read_reply(fd, stdout) : -1;
        }
        if (status < 0) {
            fprintf(stderr, "zulctl: connection to %s (%u) closed\n", t.program.c_str(), t.pid);
            result = kOwnFailure;
            break;
        }
        if (status != 0 && prompt)
            printf("(status %d)\n", status);
    }
    if (prompt)
        printf("\n");
    free(line);
    close(fd);
    return result;
}

int usage()
{
    fprintf(stderr,
            "usage: zulctl [--dir DIR] list\n"
            "       zulctl [--dir DIR] [--all] PID|PROGRAM [COMMAND...]\n");
    return kOwnFailure;
}

} // namespace

int main(int argc, char **argv)
{
    const char *dirArg = nullptr;
    bool all = false;
    int i = 1;
    for (; i < argc && argv[i][0] == '-' && argv[i][1] == '-'; ++i) {
        if (strcmp(argv[i], "--all") == 0)
            all = true;
        else if (strcmp(argv[i], "--dir") == 0 && i + 1 < argc)
            dirArg = argv[++i];
        else if (strcmp(argv[i], "--") == 0) {
            ++i;
            break;
        } else
            return usage();
    }
    if (i >= argc)
        return usage();
    std::string dir = socket_directory(dirArg);
    std::vector<Target> found = scan(dir);

    if (strcmp(argv[i], "list") == 0 && i + 1 == argc) {
        printf("%-24s %8s  %s\n", "PROGRAM", "PID", "SOCKET");
        for (const Target &t : found)
            printf("%-24s %8u  %s\n", t.program.c_str(), t.pid, t.socket.c_str());
        return 0;
    }

    const char *who = argv[i++];
    bool byPid = who[0] != '\0' && strspn(who, "0123456789") == strlen(who);
    std::vector<Target> chosen;
    for (const Target &t : found)
        if (byPid ? t.pid == strtoul(who, nullptr, 10) : t.program == who)
            chosen.push_back(t);
    if (chosen.empty()) {
        fprintf(stderr, "zulctl: no console for %s in %s\n", who, dir.c_str());
        return kOwnFailure;
    }

    std::string command;
    for (; i < argc; ++i)
        command += (command.empty() ? "" : " ") + std::string(argv[i]);

    if (chosen.size() > 1 && !all) {
        fprintf(stderr, "zulctl: %zu processes are %s; name one by PID, or use --all:\n", chosen.size(), who);
        for (const Target &t : chosen)
            fprintf(stderr, "  %u\n", t.pid);
        return kOwnFailure;
    }
    if (command.empty()) {
        if (all)
            return usage();
        return interactive(chosen[0]);
    }
    if (!all)
        return run_one(chosen[0], command);
    int worst = 0;
    for (const Target &t : chosen) {
        printf("== %s %u ==\n", t.program.c_str(), t.pid);
        fflush(stdout);
        worst = std::max(worst, run_one(t, command));
    }
    return worst;
}
