// SIG1C_NewProcess and SIG1C_InitMemory: the process block of the portable
// signals, and the control record that one scan of the host's table and
// one reading of ZUL_SIG1 fill.
//
// The control record is static.  Its names are fixed from the start, so
// that SIG1_SignalName needs nothing built; the scan fills the rest once,
// under once-only construction, and nothing changes it afterwards.
#include "sig/zulsg.h"
#include "internal/zulunits.h"

#include <string.h>

ZULRA_SIG1_UNIT("zulsgnp");

namespace {

// Index 0 and 48 stand for any number outside 1 to 47.
constexpr const char *kNames[ZULSG_TABLE] = {
    "<bad signal>",    "SIG1_SIGABRT",   "SIG1_SIGALL",    "SIG1_SIGALRM",  "SIG1_SIGBREAK",
    "SIG1_SIGBUS",     "SIG1_SIGCHLD",   "SIG1_SIGCONT",   "SIG1_SIGDANGER", "SIG1_SIGDIL",
    "SIG1_SIGEMT",     "SIG1_SIGFPE",    "SIG1_SIGGRANT",  "SIG1_SIGHUP",   "SIG1_SIGILL",
    "SIG1_SIGINFO",    "SIG1_SIGINT",    "SIG1_SIGIO",     "SIG1_SIGKILL",  "SIG1_SIGLOST",
    "SIG1_SIGMIGRATE", "SIG1_SIGOTHER",  "SIG1_SIGPIPE",   "SIG1_SIGPRE",   "SIG1_SIGPROF",
    "SIG1_SIGPWR",     "SIG1_SIGQUIT",   "SIG1_SIGRETRACT", "SIG1_SIGSAK",  "SIG1_SIGSEGV",
    "SIG1_SIGSOUND",   "SIG1_SIGSTOP",   "SIG1_SIGSYS",    "SIG1_SIGTERM",  "SIG1_SIGTRAP",
    "SIG1_SIGTSTP",    "SIG1_SIGTTIN",   "SIG1_SIGTTOU",   "SIG1_SIGURG",   "SIG1_SIGUSR1",
    "SIG1_SIGUSR2",    "SIG1_SIGUSR3",   "SIG1_SIGUSR4",   "SIG1_SIGVIRT",  "SIG1_SIGVTALRM",
    "SIG1_SIGWINCH",   "SIG1_SIGXCPU",   "SIG1_SIGXFSZ",   "<bad signal>",
};

// Signals that belong to the instruction that raised them.
constexpr int kSyncList[] = {SIG1_SIGABRT, SIG1_SIGFPE, SIG1_SIGILL,  SIG1_SIGPIPE, SIG1_SIGSEGV,
                             SIG1_SIGBUS,  SIG1_SIGSYS, SIG1_SIGEMT,  SIG1_SIGTRAP, SIG1_SIGPRE};

// Signals whose default action writes a core dump.
constexpr int kDumpList[] = {SIG1_SIGQUIT, SIG1_SIGILL, SIG1_SIGTRAP, SIG1_SIGABRT, SIG1_SIGEMT,
                             SIG1_SIGFPE,  SIG1_SIGBUS, SIG1_SIGSEGV, SIG1_SIGSYS};

// The tokens of ZUL_SIG1 and the flag each one sets.
struct Token {
    const char *text;
    int32_t SIG1_Control::*flag;
    int32_t value;
};
constexpr Token kTokens[] = {
    {"-dumpon", &SIG1_Control::dumpOff, 0},   {"-dumpoff", &SIG1_Control::dumpOff, 1},
    {"-syncoff", &SIG1_Control::syncOff, 1},  {"-asyncoff", &SIG1_Control::asyncOff, 1},
    {"-trace", &SIG1_Control::trace, 1},
};

constexpr SIG1_Control make_control()
{
    SIG1_Control control{};
    for (int n = 0; n < ZULSG_TABLE; n++)
        control.names[n] = kNames[n];
    return control;
}

template <size_t N>
bool listed(const int (&list)[N], int signal)
{
    for (int member : list)
        if (member == signal)
            return true;
    return false;
}

// A token matches a keyword of exactly its length, letter case aside.
const Token *find_token(const char *text, uint32_t length)
{
    for (const Token &t : kTokens)
        if (strlen(t.text) == length && BSS1_Match(text, t.text, length) == 0)
            return &t;
    return nullptr;
}

constinit int32_t initOnce = 0;

} // namespace

constinit SIG1_Control ZULSG_control = make_control();
constinit SIG1_Control *ZULSG_controlPointer = nullptr;

constinit ZULSS_descriptor_t ZULSG_processDescriptor = {
    sizeof(SIG1_ProcessBlock), SIG1C_NewProcess, SIG1C_DeleteProcess, 0, 0};

void SIG1C_InitMemory(void *)
{
    RAS1_DECLARE_ENTRY(entry, "SIG1C_InitMemory", RAS1_PRIVATE);
    RAS1_QUICK(entry, classes, flow);
    // This runs while the family's process block is built, which the
    // trace's own start never does, so the record may be synchronised now.
    classes = RAS1_ReadClass(&entry);

    RAS1_LOG(entry, classes, RAS1_ANY, "siginfo:%s, sigaction:%s, per-process handlers:%s", "yes", "yes",
             "yes");

    SIG1_Control *c = &ZULSG_control;
    __atomic_store_n(&ZULSG_controlPointer, c, __ATOMIC_RELEASE);

    for (int n = 1; n < ZULSG_TABLE; n++) {
        const int host = ZULPL_hostSignals[n];
        c->portableToHost[n] = host;
        if (host == 0)
            continue;
        if (c->lowest == 0)
            c->lowest = n;
        c->highest = n;
        SIG1_AddSet(&c->available, n);
        c->hostToPortable[host] = n;
        const char *dumpText = "";
        if (listed(kDumpList, n)) {
            SIG1_AddSet(&c->dump, n);
            dumpText = ", dump";
        }
        const char *asyncText = "";
        if (listed(kSyncList, n)) {
            SIG1_AddSet(&c->sync, n);
        } else {
            SIG1_AddSet(&c->async, n);
            c->asyncCount++;
            asyncText = ", async";
        }
        RAS1_LOG(entry, classes, RAS1_STATE, "Signal %s(%d:%d) available%s%s\n", c->names[n], n, host,
                 asyncText, dumpText);
    }
    c->dumpOff = 1;

    const char *value = BSS1_GetEnv("ZUL_SIG1", nullptr);
    if (value == nullptr)
        return;
    const size_t size = strlen(value);
    uint32_t left = size > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(size);
    const char *token;
    uint32_t length;
    for (int count = 1; BSS1_Tokenize(&value, &left, &token, &length, nullptr) == STC1_Success;
         count++) {
        RAS1_LOG(entry, classes, RAS1_DETAIL, "Token %d: \"%.*s\"\n", count, static_cast<int>(length),
                 token);
        const Token *t = find_token(token, length);
        if (t != nullptr)
            c->*(t->flag) = t->value;
        else
            RAS1_LOG_KIND(entry, classes, RAS1_ANY, RAS1_ERROR, "Syntax error in ZUL_SIG1: \"%.*s\"\n",
                          static_cast<int>(length), token);
    }
}

void SIG1C_NewProcess(void *argument)
{
    RAS1_DECLARE_ENTRY(entry, "SIG1C_NewProcess", RAS1_PUBLIC);
    RAS1_QUICK(entry, classes, flow);
    SIG1_ProcessBlock *block = static_cast<SIG1_ProcessBlock *>(argument);
    BSS1_InitializeOnce(&initOnce, SIG1C_InitMemory, nullptr, __FILE__, __LINE__);
    block->control = &ZULSG_control;
}
