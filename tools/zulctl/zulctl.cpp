// zulctl: runs console commands in running programs built on libzul,
// through the console socket each of them opens (CRF1_Listen or
// ZUL_CONSOLE), and watches their logs.
//
//   zulctl list                           the processes that have a console
//   zulctl PID|PROGRAM COMMAND...         one command; exit status is its status
//   zulctl PID|PROGRAM                    a prompt: one command per line
//   zulctl --all PROGRAM COMMAND...       the command in every such process
//   zulctl tail [--ring] [--all] PID|PROGRAM
//                                         every new line of the log, until
//                                         interrupted
//
// --dir DIR names the socket directory; otherwise ZUL_CONSOLE when it is a
// path, else $XDG_RUNTIME_DIR/zul, /run/zul for root, /tmp/zul-<uid>.
// The manual is zulctl(1) (zulctl.1.in).
//
// The client does not link libzul, so that ZUL_CONSOLE in its own
// environment never opens a console in zulctl itself.
#include <zul/version.h>

#include <dirent.h>
#include <errno.h>
#include <poll.h>
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

#ifdef ZULCTL_LIBEDIT
#include <editline/readline.h>
#endif

namespace {

// zulctl's own failures: usage, no such process, no connection.  A
// command's status is always below this.
constexpr int kOwnFailure = 125;

// The reply that turns a connection into a tail; what follows it is the
// log, line after line.
constexpr unsigned kTailing = 100;

const char kUsage[] =
    "usage: zulctl [--dir DIR] list\n"
    "       zulctl [--dir DIR] [--all] PID|PROGRAM [COMMAND...]\n"
    "       zulctl [--dir DIR] tail [--ring] [--all] PID|PROGRAM\n"
    "       zulctl --help | --version\n";

const char kHelp[] =
    "\n"
    "Runs console commands in running programs built on libzul, through the\n"
    "socket that each opens (ZUL_CONSOLE=1, or CRF1_Listen), and shows their logs.\n"
    "\n"
    "  list                  the processes that have a console\n"
    "  PID|PROGRAM COMMAND   runs one command; the exit status is its status\n"
    "  PID|PROGRAM           a prompt: one command a line\n"
    "  tail PID|PROGRAM      every new line of the process's log, until interrupted\n"
    "\n"
    "  --all        every process of that PROGRAM: each answer follows a line\n"
    "               \"== PROGRAM PID ==\", each line of a tail its \"PID: \"\n"
    "  --ring       tail: the lines that the log holds in memory come first\n"
    "  --dir DIR    the socket directory; by default ZUL_CONSOLE when it is a\n"
    "               path, else $XDG_RUNTIME_DIR/zul, /run/zul for root, or\n"
    "               /tmp/zul-UID\n"
    "  -h, --help   this text\n"
    "  --version    the version of zulctl\n"
    "\n"
    "Exit status: the command's status; 0 for list, tail and the prompt; 125\n"
    "when zulctl itself fails.  The manual: man zulctl.\n";

struct Target {
    std::string program;
    unsigned pid;
    std::string socket;
};

struct Options {
    const char *dir = nullptr;
    bool all = false;
    bool ring = false;
    bool ended = false;  // "--" ended the options: the next word names a program
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

bool by_pid(const char *who)
{
    return who[0] != '\0' && strspn(who, "0123456789") == strlen(who);
}

std::vector<Target> choose(const std::vector<Target> &found, const char *who)
{
    std::vector<Target> chosen;
    for (const Target &t : found)
        if (by_pid(who) ? t.pid == strtoul(who, nullptr, 10) : t.program == who)
            chosen.push_back(t);
    return chosen;
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

int unreachable(const Target &t)
{
    fprintf(stderr, "zulctl: cannot reach %s (%u): %s\n", t.program.c_str(), t.pid, strerror(errno));
    return kOwnFailure;
}

volatile sig_atomic_t interrupted;

// write_all's name for standard output, which no socket can have.
constexpr int kOutput = -1;

void note_signal(int)
{
    interrupted = 1;
}

// Writes all of `n` bytes to a socket (without SIGPIPE) or to standard
// output.  False when the other end is closed, or when a signal ends a
// tail while a reader holds its output up.
bool write_all(int fd, const char *p, size_t n)
{
    bool out = fd == kOutput;
    while (n > 0) {
        ssize_t k = out ? write(1, p, n) : send(fd, p, n, MSG_NOSIGNAL);
        if (k < 0 && errno == EINTR && !interrupted)
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

// A line that would make the connection a tail, which a command's
// connection cannot read: `zulctl tail` is its client.
bool tail_request(const std::string &line)
{
    size_t start = line.find_first_not_of(" \t");
    return start != std::string::npos && line.compare(start, 5, ".tail") == 0 &&
           (line.size() == start + 5 || strchr(" \t\r\n", line[start + 5]) != nullptr);
}

int refuse_tail()
{
    fprintf(stderr, "zulctl: .tail is the request of zulctl tail; run zulctl tail PID|PROGRAM\n");
    return kOwnFailure;
}

int run_one(const Target &t, const std::string &command)
{
    if (tail_request(command))
        return refuse_tail();
    int fd = connect_to(t);
    if (fd < 0)
        return unreachable(t);
    std::string line = command + "\n";
    int status = write_all(fd, line.data(), line.size()) ? read_reply(fd, stdout) : -1;
    close(fd);
    if (status < 0) {
        fprintf(stderr, "zulctl: no answer from %s (%u)\n", t.program.c_str(), t.pid);
        return kOwnFailure;
    }
    return std::min(status, kOwnFailure - 1);
}

// One line of the prompt, its reply to standard output.  A prompt left
// idle may have been closed to make room for another client: then it
// connects again and sends the line once more.  The status, or -1 when
// the connection is lost.
int prompt_line(const Target &t, int *fd, const std::string &line)
{
    int status = write_all(*fd, line.data(), line.size()) ? read_reply(*fd, stdout) : kClosed;
    if (status == kClosed) {
        close(*fd);
        *fd = connect_to(t);
        status = *fd >= 0 && write_all(*fd, line.data(), line.size()) ? read_reply(*fd, stdout) : -1;
    }
    return status;
}

#ifdef ZULCTL_LIBEDIT
// The prompt's history lives in ~/.zulctl_history, the last 1000 lines.
std::string history_file()
{
    const char *home = getenv("HOME");
    return home != nullptr && home[0] == '/' ? std::string(home) + "/.zulctl_history" : std::string();
}
#endif

// Reads the next line of the prompt into `line`, with its LF; false at
// the end of the input.  At a terminal the line is edited with libedit.
bool next_line(const std::string &prompt, std::string *line)
{
#ifdef ZULCTL_LIBEDIT
    if (isatty(0)) {
        char *got = readline(prompt.c_str());
        if (got == nullptr)
            return false;
        if (got[strspn(got, " \t")] != '\0')
            add_history(got);
        *line = std::string(got) + "\n";
        free(got);
        return true;
    }
#endif
    if (isatty(0)) {
        fputs(prompt.c_str(), stdout);
        fflush(stdout);
    }
    char *got = nullptr;
    size_t room = 0;
    ssize_t n = getline(&got, &room, stdin);
    if (n >= 0) {
        line->assign(got, size_t(n));
        if (line->empty() || line->back() != '\n')
            line->push_back('\n');
    }
    free(got);
    return n >= 0;
}

int interactive(const Target &t)
{
    int fd = connect_to(t);
    if (fd < 0)
        return unreachable(t);
    bool terminal = isatty(0);
#ifdef ZULCTL_LIBEDIT
    std::string history = history_file();
    if (terminal) {
        stifle_history(1000);
        if (!history.empty())
            read_history(history.c_str());
    }
#endif
    std::string prompt = t.program + "." + std::to_string(t.pid) + "> ", line;
    int result = 0;
    while (next_line(prompt, &line)) {
        if (tail_request(line)) {
            refuse_tail();
            continue;
        }
        int status = prompt_line(t, &fd, line);
        if (status < 0) {
            fprintf(stderr, "zulctl: connection to %s (%u) closed\n", t.program.c_str(), t.pid);
            result = kOwnFailure;
            break;
        }
        if (status != 0 && terminal)
            printf("(status %d)\n", status);
    }
    if (terminal)
        printf("\n");
#ifdef ZULCTL_LIBEDIT
    if (terminal && !history.empty())
        write_history(history.c_str());
#endif
    if (fd >= 0)
        close(fd);
    return result;
}

// --- tail -------------------------------------------------------------

// One process whose log is watched.
struct Watch {
    Target t;
    int fd = -1;
    std::string head;     // the reply's header line, while it comes
    bool tailing = false; // the header said 100: the rest is the log
    unsigned status = 0;
    size_t left = 0;      // bytes of a refusal's message still to come
    std::string partial;  // the start of a line not yet whole (--all)
};

// Connects and asks for the log.  False when the process cannot be
// reached.
bool attach(Watch *w, bool ring)
{
    w->fd = connect_to(w->t);
    if (w->fd < 0)
        return false;
    // The log may be quiet for long: the limit of a command's reply does
    // not apply.
    struct timeval none = {0, 0};
    setsockopt(w->fd, SOL_SOCKET, SO_RCVTIMEO, &none, sizeof none);
    const char *request = ring ? ".tail ring\n" : ".tail\n";
    if (!write_all(w->fd, request, strlen(request))) {
        close(w->fd);
        w->fd = -1;
        return false;
    }
    return true;
}

// Output of one watch: as it comes, or, with a prefix, whole lines each
// behind "PID: ".  False when standard output is closed.
bool show(Watch *w, const char *p, size_t n, bool prefix)
{
    if (!prefix)
        return write_all(kOutput, p, n);
    w->partial.append(p, n);
    std::string out, tag = std::to_string(w->t.pid) + ": ";
    size_t start = 0;
    for (size_t lf; (lf = w->partial.find('\n', start)) != std::string::npos; start = lf + 1)
        out += tag + w->partial.substr(start, lf + 1 - start);
    w->partial.erase(0, start);
    return write_all(kOutput, out.data(), out.size());
}

enum class Read { More, Ended, Refused, OutputClosed };

// Takes what the connection has: the reply's header, then the log.
Read take(Watch *w, bool prefix)
{
    char buffer[65536];
    ssize_t n = recv(w->fd, buffer, sizeof buffer, 0);
    if (n < 0 && (errno == EINTR || errno == EAGAIN))
        return Read::More;
    if (n <= 0)
        return w->tailing ? Read::Ended : Read::Refused;
    const char *p = buffer;
    size_t left = size_t(n);
    while (!w->tailing && left > 0) {
        if (w->status == 0 && w->head.find('\n') == std::string::npos) {
            const char *lf = static_cast<const char *>(memchr(p, '\n', left));
            size_t k = lf != nullptr ? size_t(lf - p) + 1 : left;
            w->head.append(p, k);
            p += k, left -= k;
            if (lf == nullptr)
                return w->head.size() > 64 ? Read::Refused : Read::More;
            unsigned status = 0, length = 0;
            if (sscanf(w->head.c_str(), "ZUL %u %u", &status, &length) != 2)
                return Read::Refused;
            w->tailing = status == kTailing;
            w->status = status;
            w->left = length;
            w->head.clear();
            continue;
        }
        // A refusal's message: the status and what the server said.
        size_t k = std::min(left, w->left);
        w->head.append(p, k);
        p += k, left -= k, w->left -= k;
        return w->left == 0 ? Read::Refused : Read::More;
    }
    return left == 0 || show(w, p, left, prefix) ? Read::More : Read::OutputClosed;
}

void refused(const Watch &w)
{
    std::string said = w.head;
    while (!said.empty() && said.back() == '\n')
        said.pop_back();
    if (w.status == 0 && said.empty())
        fprintf(stderr, "zulctl: no answer from %s (%u)\n", w.t.program.c_str(), w.t.pid);
    else if (w.status < kTailing || said.empty())
        fprintf(stderr, "zulctl: %s (%u) does not offer its log to zulctl tail (a libzul older than zulctl?)\n",
                w.t.program.c_str(), w.t.pid);
    else
        fprintf(stderr, "zulctl: %s (%u): %s (status %u)\n", w.t.program.c_str(), w.t.pid, said.c_str(), w.status);
}

// Watches the logs of the chosen processes until interrupted.  With
// `all`, processes of the name that start later are watched as well, and
// each line is preceded by its process's ID; without, the tail ends when
// its process closes its console.
int tail(const std::string &dir, const char *who, const std::vector<Target> &chosen, const Options &o)
{
    // Without SA_RESTART, so that a signal ends a write that a full pipe
    // holds up as well as the wait.
    struct sigaction on = {};
    on.sa_handler = note_signal;
    sigset_t blocked, previous;
    sigemptyset(&blocked);
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(sig, &on, nullptr);
        sigaddset(&blocked, sig);
    }
    signal(SIGPIPE, SIG_IGN);

    std::vector<Watch> watches;
    auto add = [&](const Target &t) {
        Watch w;
        w.t = t;
        if (!attach(&w, o.ring))
            return false;
        watches.push_back(w);
        return true;
    };
    for (const Target &t : chosen)
        if (!add(t) && !o.all)
            return unreachable(t);

    for (;;) {
        std::vector<struct pollfd> fds;
        for (const Watch &w : watches)
            fds.push_back({w.fd, POLLIN, 0});
        // The signals are let in only while the wait waits, so that one
        // that comes between the test of `interrupted` and the wait is not
        // lost.
        sigprocmask(SIG_BLOCK, &blocked, &previous);
        if (interrupted || (!o.all && watches.empty())) {
            sigprocmask(SIG_SETMASK, &previous, nullptr);
            break;
        }
        struct timespec second = {1, 0};
        int ready = ppoll(fds.data(), fds.size(), o.all ? &second : nullptr, &previous);
        int error = errno;
        sigprocmask(SIG_SETMASK, &previous, nullptr);
        if (ready < 0 && error != EINTR) {
            fprintf(stderr, "zulctl: %s\n", strerror(error));
            return kOwnFailure;
        }
        for (size_t i = fds.size(); ready > 0 && i-- > 0;) {
            if (fds[i].revents == 0)
                continue;
            Watch &w = watches[i];
            Read r = take(&w, o.all);
            if (r == Read::More)
                continue;
            if (r == Read::OutputClosed)
                return 0;
            if (r == Read::Refused)
                refused(w);
            else
                fprintf(stderr, "zulctl: %s (%u) has closed its console\n", w.t.program.c_str(), w.t.pid);
            close(w.fd);
            watches.erase(watches.begin() + long(i));
            if (r == Read::Refused && !o.all)
                return kOwnFailure;
        }
        // Processes of the name that have started since.
        if (o.all)
            for (const Target &t : choose(scan(dir), who))
                if (std::none_of(watches.begin(), watches.end(), [&](const Watch &w) { return w.t.pid == t.pid; }) &&
                    add(t))
                    fprintf(stderr, "zulctl: watching %s (%u)\n", t.program.c_str(), t.pid);
    }
    for (Watch &w : watches)
        close(w.fd);
    return 0;
}

int usage()
{
    fputs(kUsage, stderr);
    return kOwnFailure;
}

// Takes the options at argv[*i] on; false after a word that is no option.
bool options(int argc, char **argv, int *i, Options *o, bool tailing, int *exit)
{
    for (; *i < argc && argv[*i][0] == '-'; ++*i) {
        const char *a = argv[*i];
        if (strcmp(a, "--") == 0) {
            ++*i;
            o->ended = true;
            return true;
        } else if (strcmp(a, "-h") == 0 || strcmp(a, "--help") == 0) {
            fputs(kUsage, stdout);
            fputs(kHelp, stdout);
            *exit = 0;
        } else if (strcmp(a, "--version") == 0) {
            printf("zulctl (libzul) %s\n", ZUL_VERSION_STRING);
            *exit = 0;
        } else if (strcmp(a, "--all") == 0) {
            o->all = true;
        } else if (tailing && strcmp(a, "--ring") == 0) {
            o->ring = true;
        } else if (strcmp(a, "--dir") == 0 && *i + 1 < argc) {
            o->dir = argv[++*i];
        } else if (strncmp(a, "--dir=", 6) == 0 && a[6] != '\0') {
            o->dir = a + 6;
        } else {
            fprintf(stderr, "zulctl: unknown option %s\n", a);
            *exit = usage();
        }
        if (*exit >= 0)
            return false;
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    Options o;
    int i = 1, exit = -1;
    options(argc, argv, &i, &o, false, &exit);
    if (exit >= 0)
        return exit;
    if (i >= argc)
        return usage();
    // After "--" the word names a program, even "list" or "tail".
    bool word = !o.ended;
    std::string dir;
    if (word && strcmp(argv[i], "list") == 0 && i + 1 == argc) {
        dir = socket_directory(o.dir);
        printf("%-24s %8s  %s\n", "PROGRAM", "PID", "SOCKET");
        for (const Target &t : scan(dir))
            printf("%-24s %8u  %s\n", t.program.c_str(), t.pid, t.socket.c_str());
        return 0;
    }
    bool tailing = word && strcmp(argv[i], "tail") == 0;
    if (tailing) {
        ++i;
        options(argc, argv, &i, &o, true, &exit);
        if (exit >= 0)
            return exit;
        if (i + 1 != argc)
            return usage();
    }
    dir = socket_directory(o.dir);
    const char *who = argv[i++];
    std::vector<Target> chosen = choose(scan(dir), who);
    if (chosen.empty()) {
        fprintf(stderr, "zulctl: no console for %s in %s\n", who, dir.c_str());
        return kOwnFailure;
    }
    if (chosen.size() > 1 && !o.all) {
        fprintf(stderr, "zulctl: %zu processes are %s; name one by PID, or use --all:\n", chosen.size(), who);
        for (const Target &t : chosen)
            fprintf(stderr, "  %u\n", t.pid);
        return kOwnFailure;
    }
    if (tailing)
        return tail(dir, who, chosen, o);

    std::string command;
    for (; i < argc; ++i)
        command += (command.empty() ? "" : " ") + std::string(argv[i]);
    if (command.empty()) {
        if (o.all)
            return usage();
        return interactive(chosen[0]);
    }
    if (!o.all)
        return run_one(chosen[0], command);
    int worst = 0;
    for (const Target &t : chosen) {
        printf("== %s %u ==\n", t.program.c_str(), t.pid);
        fflush(stdout);
        worst = std::max(worst, run_one(t, command));
    }
    return worst;
}
