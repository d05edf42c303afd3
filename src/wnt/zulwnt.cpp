// ZULWN_Fatal: the failure report of a process that a fatal signal ends,
// and the end of the process as it would have come without the library.
//
// The report is appended to the program's report file in three stretches.
// The first needs nothing but system calls: the signal, the machine and
// the process, the registers, the module list with build IDs and the call
// stack as the frame pointers give it, each address as module and offset.
// It is on disk before the second stretch, the symbol section, loads the
// symbol library and allocates.  The third, again without allocation,
// gives the build records and the newest lines of the log's capture ring.
//
// Before any of it, the lines that the log holds for a large write go to
// its file (internal/zullogout.h), and again after it, for lines that other
// threads wrote meanwhile.
//
// One thread writes at a time: a thread that fails while another writes
// waits for it.  A fault inside the report (the symbol library reading a
// bad debug file, say) comes back here on the same thread: the stretch it
// broke is cut short and the report goes on with the next one.  A symbol
// section that does not finish within kWatchSeconds (a lock held by the
// thread that failed) is cut short the same way, from an alarm.  At the
// end the handler that was there before the library's runs, or else the
// signal's default action: the parent sees the same termination signal,
// and a core is dumped where the system would have dumped one.
#include "internal/zulfatal.h"
#include "internal/zullogout.h"
#include "internal/zulring.h"
#include "internal/zulbuild.h"
#include "platform/zulplat.h"
#include "platform/zulplrp.h"
#include "platform/zulplsg.h"
#include "platform/zulplsi.h"
#include "wnt/zulwn.h"

#include <atomic>
#include <errno.h>
#include <string.h>
#include <ucontext.h>

namespace {

// How long the symbol section and the build records may take.
constexpr unsigned kWatchSeconds = 10;
// Frames of the raw stack, and lines of the ring, written at most.
constexpr int kRawFrames = 256;
constexpr uint32_t kRingLines = 50;
// How far above the stack pointer a frame of the same stack may lie.
constexpr uintptr_t kStackReach = 64 * 1024 * 1024;

// What is being written, so that a fault inside the report knows where
// to go on.
enum Stage { kIdle, kHead, kSymbols, kComponents, kRing, kEnding };

constinit std::atomic<pid_t> holder{0};   // the thread writing, 0 for none
constinit std::atomic<int> stage{kIdle};
constinit std::atomic<int> firstSignal{0};
constinit std::atomic<int> nesting{0};
constinit ZULWN_out_t out = {};
constinit ZULWN_out_t errorOut = {}; // the word on standard error
constinit ZULWN_module_t modules[ZULWN_MODULES] = {};
constinit uint32_t moduleCount = 0;
// The signal's context, copied off the signal stack: a fault during the
// symbol section is taken on that stack, over the first signal's frame.
constinit ucontext_t savedContext = {};

// The symbol section runs on a stack of its own, mapped at load: the
// symbol library needs more stack than a signal stack has.
constexpr size_t kSymbolStack = 1024 * 1024;
constinit void *symbolStack = nullptr;

pid_t thread_id()
{
    return (pid_t)ZULPL_RawThreadId();
}

struct Code {
    int signal;
    int code;
    const char *name;
    const char *text;
};

// What si_code says, where it helps the reader.
constexpr Code kCodes[] = {
    {SIGSEGV, SEGV_MAPERR, "SEGV_MAPERR", "address not mapped to object"},
    {SIGSEGV, SEGV_ACCERR, "SEGV_ACCERR", "invalid permissions for mapped object"},
    {SIGBUS, BUS_ADRALN, "BUS_ADRALN", "invalid address alignment"},
    {SIGBUS, BUS_ADRERR, "BUS_ADRERR", "nonexistent physical address"},
    {SIGBUS, BUS_OBJERR, "BUS_OBJERR", "object-specific hardware error"},
    {SIGILL, ILL_ILLOPC, "ILL_ILLOPC", "illegal opcode"},
    {SIGILL, ILL_ILLOPN, "ILL_ILLOPN", "illegal operand"},
    {SIGILL, ILL_ILLADR, "ILL_ILLADR", "illegal addressing mode"},
    {SIGILL, ILL_ILLTRP, "ILL_ILLTRP", "illegal trap"},
    {SIGILL, ILL_PRVOPC, "ILL_PRVOPC", "privileged opcode"},
    {SIGILL, ILL_PRVREG, "ILL_PRVREG", "privileged register"},
    {SIGILL, ILL_COPROC, "ILL_COPROC", "coprocessor error"},
    {SIGILL, ILL_BADSTK, "ILL_BADSTK", "internal stack error"},
    {SIGFPE, FPE_INTDIV, "FPE_INTDIV", "integer divide by zero"},
    {SIGFPE, FPE_INTOVF, "FPE_INTOVF", "integer overflow"},
    {SIGFPE, FPE_FLTDIV, "FPE_FLTDIV", "floating-point divide by zero"},
    {SIGFPE, FPE_FLTOVF, "FPE_FLTOVF", "floating-point overflow"},
    {SIGFPE, FPE_FLTUND, "FPE_FLTUND", "floating-point underflow"},
    {SIGFPE, FPE_FLTRES, "FPE_FLTRES", "floating-point inexact result"},
    {SIGFPE, FPE_FLTINV, "FPE_FLTINV", "floating-point invalid operation"},
    {SIGFPE, FPE_FLTSUB, "FPE_FLTSUB", "subscript out of range"},
    {SIGTRAP, TRAP_BRKPT, "TRAP_BRKPT", "breakpoint"},
    {SIGTRAP, TRAP_TRACE, "TRAP_TRACE", "trace trap"},
    {SIGSYS, 1, "SYS_SECCOMP", "system call refused by seccomp"},
    {0, SI_USER, "SI_USER", "sent by kill"},
    {0, SI_TKILL, "SI_TKILL", "sent by tkill or raise"},
    {0, SI_QUEUE, "SI_QUEUE", "sent by sigqueue"},
    {0, SI_KERNEL, "SI_KERNEL", "sent by the kernel"},
};

const char *signal_name(int host)
{
    switch (host) {
    case SIGSEGV: return "SIGSEGV";
    case SIGBUS: return "SIGBUS";
    case SIGILL: return "SIGILL";
    case SIGFPE: return "SIGFPE";
    case SIGABRT: return "SIGABRT";
    case SIGSYS: return "SIGSYS";
    case SIGTRAP: return "SIGTRAP";
    default: return "signal";
    }
}

const Code *find_code(int host, int code)
{
    for (const Code &c : kCodes)
        if ((c.signal == host || c.signal == 0) && c.code == code)
            return &c;
    return nullptr;
}

// The signal itself sets a fault address for these, unless it was sent.
bool has_address(int host, const siginfo_t *info)
{
    return info != nullptr && info->si_code > 0 && info->si_code != SI_KERNEL &&
           (host == SIGSEGV || host == SIGBUS || host == SIGILL || host == SIGFPE ||
            host == SIGTRAP);
}

// "YYYY/MM/DD, HH:MM:SS" of calendar seconds, with the offset from UTC
// taken at load: localtime may take locks and read files.
void write_time(time_t t)
{
    long long s = (long long)t + ZULWN_settings.utcOffset;
    long long days = s >= 0 ? s / 86400 : (s - 86399) / 86400;
    long long rest = s - days * 86400;
    // Civil date from days since 1970-01-01.
    long long z = days + 719468;
    long long era = (z >= 0 ? z : z - 146096) / 146097;
    long long doe = z - era * 146097;
    long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    long long mp = (5 * doy + 2) / 153;
    long long d = doy - (153 * mp + 2) / 5 + 1;
    long long m = mp < 10 ? mp + 3 : mp - 9;
    long long y = yoe + era * 400 + (m <= 2);
    ZULWN_Printf(&out, "%04ld/%02ld/%02ld, %02ld:%02ld:%02ld", (long)y, (long)m, (long)d,
                 (long)(rest / 3600), (long)(rest / 60 % 60), (long)(rest % 60));
}

void write_head(int host, const siginfo_t *info, const ucontext_t *uc)
{
    char banner[81];
    memset(banner, '=', 80);
    banner[80] = '\0';
    ZULWN_Printf(&out, "%s\nException 0x%08X (%s)", banner, (unsigned)host, signal_name(host));
    const Code *code = info ? find_code(host, info->si_code) : nullptr;
    if (code != nullptr)
        ZULWN_Printf(&out, ": %s (%s)", code->text, code->name);
    if (has_address(host, info)) {
        uintptr_t address = reinterpret_cast<uintptr_t>(info->si_addr);
        ZULWN_Printf(&out, ", address 0x%016lX", (unsigned long)address);
        uintptr_t sp = (uintptr_t)uc->uc_mcontext.gregs[REG_RSP];
        if (host == SIGSEGV && address + 65536 > sp && address < sp + 65536)
            ZULWN_Printf(&out, ", by the stack pointer: the stack has overflowed");
    } else if (info != nullptr && info->si_code <= 0) {
        ZULWN_Printf(&out, ", from process %d", (int)info->si_pid);
    }
    ZULWN_Printf(&out, "\n");
    if (host == SIGABRT && ZULWN_exceptionType[0] != '\0')
        ZULWN_Printf(&out, "%15s: uncaught C++ exception of type %s\n", "Terminate",
                     ZULWN_exceptionType);

    char node[65], release[65];
    if (ZULPL_HostNames(node, sizeof node, release, sizeof release) != 0)
        strcpy(node, "** Unknown **");
    ZULWN_Printf(&out, "\n%15s: %-25s  Linux: %s\n", "Computer", node, release);
    time_t now = (time_t)ZULPL_CalendarNow(nullptr);
    const ZULWN_settings_t &s = ZULWN_settings;
    ZULWN_Printf(&out, "%15s: ", "Current Time");
    write_time(now);
    ZULWN_Printf(&out, "%14s: ", "Start Time");
    write_time(s.startClock);
    ZULWN_Printf(&out, "\n%15s: 0x%08lX%24s: 0x%08lX\n%15s: 0x%08lX%24s: 0x%08lX\n",
                 "Current Clock", (unsigned long)now, "Start Clock", (unsigned long)s.startClock,
                 "Process ID", (unsigned long)ZULPL_ProcessId(), "Thread ID", (unsigned long)thread_id());
    ZULWN_Printf(&out, "%15s: %.*s\n", "Program", s.programLength, s.programName);
}

void write_registers(const ucontext_t *uc)
{
    const greg_t *g = uc->uc_mcontext.gregs;
    struct Row {
        const char *name;
        int reg;
    };
    static constexpr Row kMain[18] = {
        {"RAX", REG_RAX}, {"RBX", REG_RBX}, {"RCX", REG_RCX}, {"RDX", REG_RDX},
        {"RSI", REG_RSI}, {"RDI", REG_RDI}, {"RBP", REG_RBP}, {"RSP", REG_RSP},
        {"R8", REG_R8},   {"R9", REG_R9},   {"R10", REG_R10}, {"R11", REG_R11},
        {"R12", REG_R12}, {"R13", REG_R13}, {"R14", REG_R14}, {"R15", REG_R15},
        {"RIP", REG_RIP}, {"EFL", REG_EFL},
    };
    ZULWN_Printf(&out, "\nMain Registers\n\n");
    for (int i = 0; i < 18; i++)
        ZULWN_Printf(&out, "%6s:%016lX%s", kMain[i].name, (unsigned long)g[kMain[i].reg],
                     i % 3 == 2 ? "\n" : "");
    // CS, GS and FS share one word, 16 bits each, then SS on newer kernels.
    unsigned long segments = (unsigned long)g[REG_CSGSFS];
    ZULWN_Printf(&out, "\nSegment Registers\n\n%5s:%04lX%7s:%04lX%7s:%04lX%7s:%04lX\n", "CS",
                 segments & 0xFFFF, "SS", (segments >> 48) & 0xFFFF, "GS",
                 (segments >> 16) & 0xFFFF, "FS", (segments >> 32) & 0xFFFF);
    ZULWN_Printf(&out, "\nFault Registers\n\n%6s:%016lX%6s:%016lX%6s:%016lX\n", "TRAP",
                 (unsigned long)g[REG_TRAPNO], "ERR", (unsigned long)g[REG_ERR], "CR2",
                 (unsigned long)g[REG_CR2]);
}

// An address without symbols: module<>offset from its base, or bare.
void write_raw_address(uintptr_t address)
{
    const ZULWN_module_t *m = ZULWN_FindModule(modules, moduleCount, address);
    if (m != nullptr)
        ZULWN_Printf(&out, "%s<>0x%lX", ZULWN_BaseName(m->path), (unsigned long)(address - m->base));
    else
        ZULWN_Printf(&out, "<0x%016lX>", (unsigned long)address);
}

void write_modules()
{
    ZULWN_Printf(&out, "\nModule List\n\n");
    for (uint32_t i = 0; i < moduleCount; i++) {
        const ZULWN_module_t &m = modules[i];
        ZULWN_Printf(&out, "%3s%016lX-%016lX; %-32s ", "", (unsigned long)m.base,
                     (unsigned long)(m.end - 1), m.path);
        if (m.idLength == 0)
            ZULWN_Printf(&out, " no build ID");
        for (uint32_t b = 0; b < m.idLength; b++)
            ZULWN_Printf(&out, "%02x", m.buildId[b]);
        ZULWN_Printf(&out, "\n");
    }
}

// The stack as the chain of frame pointers gives it: exact in code that
// keeps frame pointers, cut short where a function does not.  A frame
// pointer is believed only while it lies on the stack, above the stack
// pointer and above the frame before it: optimised code uses RBP for
// anything.
void write_raw_stack(const ucontext_t *uc)
{
    ZULWN_Printf(&out, "\nRaw Stack\n\n");
    const uintptr_t sp = (uintptr_t)uc->uc_mcontext.gregs[REG_RSP];
    uintptr_t ip = (uintptr_t)uc->uc_mcontext.gregs[REG_RIP];
    uintptr_t bp = (uintptr_t)uc->uc_mcontext.gregs[REG_RBP];
    for (int n = 0; n < kRawFrames && ip != 0; n++) {
        ZULWN_Printf(&out, "%5s:%016lX%4s:%016lX  ", "IP", (unsigned long)ip, "BP",
                     (unsigned long)bp);
        write_raw_address(ip);
        ZULWN_Printf(&out, "\n");
        uintptr_t frame[2];
        if (bp < sp || bp - sp > kStackReach || (bp & 7) != 0 ||
            !ZULWN_ReadMemory(bp, frame, sizeof frame) || frame[0] <= bp)
            break;
        bp = frame[0];
        ip = frame[1];
    }
}

void write_components()
{
    ZULWN_Printf(&out, "\nComponent Info\n\n");
    void *records[128];
    uint32_t index = 0;
    for (;;) {
        uint32_t room = 128;
        if (RAS1_EnumInfo(RAS1_LIST_BUILDS, records, &index, &room) != 0)
            break;
        for (uint32_t i = 0; i < room; i++) {
            const ZULRA_build_t *b = static_cast<const ZULRA_build_t *>(records[i]);
            ZULWN_Printf(&out, "%9s: %-9s%8s: %-9s%8s: %s, %s\n%9s: %s/%s.%s\n", "Name",
                         ZULRA_BuildValue(b, ZULRA_BUILD_COMPONENT), "Target",
                         ZULRA_BuildValue(b, ZULRA_BUILD_TARGET), "Built",
                         ZULRA_BuildValue(b, ZULRA_BUILD_DATE),
                         ZULRA_BuildValue(b, ZULRA_BUILD_TIME), "Driver",
                         ZULRA_BuildValue(b, ZULRA_BUILD_DRIVER),
                         ZULRA_BuildValue(b, ZULRA_BUILD_SERIAL),
                         ZULRA_BuildValue(b, ZULRA_BUILD_SEQUENCE));
        }
        if (room == 0)
            break;
    }
}

void ring_line(void *, const char *text, uint32_t length)
{
    ZULWN_Write(&out, text, length);
    ZULWN_Write(&out, "\n", 1);
}

void symbols_on_own_stack()
{
    const ucontext_t *uc = &savedContext;
    ZULWN_WriteSymbols(&out, uc, (uintptr_t)uc->uc_mcontext.gregs[REG_RIP], modules,
                       moduleCount);
}

// The stretches from `from` on, each flushed before the next begins.
void write_from(int from)
{
    if (from <= kSymbols) {
        stage.store(kSymbols);
        ZULPL_Alarm(kWatchSeconds);
        if (!ZULPL_RunOnStack(symbolStack, kSymbolStack, symbols_on_own_stack))
            symbols_on_own_stack();
        ZULWN_Flush(&out);
    }
    if (from <= kComponents) {
        stage.store(kComponents);
        write_components();
        ZULWN_Flush(&out);
    }
    ZULPL_Alarm(0);
    if (from <= kRing) {
        stage.store(kRing);
        ZULWN_Printf(&out, "\nLast Lines\n\n");
        ZULRA_ReadRing(kRingLines, ring_line, nullptr);
        ZULWN_Printf(&out, "\n\n");
        ZULWN_Flush(&out);
    }
    stage.store(kEnding);
    if (out.fd >= 0)
        ZULPL_Close(out.fd);
    out.fd = -1;
}

constinit const ucontext_t *reportContext = nullptr;

// The synchronous signals are let through while the report is written,
// so that a fault inside it comes back to the handler instead of the
// kernel ending the process at once; the watchdog's alarm too.
void let_faults_through()
{
    uint64_t set = ZULPL_SigBit(SIGALRM);
    for (int h : ZULWN_fatalSignals)
        set |= ZULPL_SigBit(h);
    ZULPL_SigSetMask(set, 0, nullptr);
}

// A signal during the report, on the thread that writes it: cut the
// stretch short and go on with the next.  A fault while ending, or a
// third level, goes straight to the end.
void resume_report(int host)
{
    int level = nesting.fetch_add(1) + 1;
    int now = stage.load();
    if (level < 3 && now >= kHead && now < kEnding && reportContext != nullptr) {
        if (host == SIGALRM)
            ZULWN_Printf(&out, "\n*** Timed out while writing the report; going on\n");
        else
            ZULWN_Printf(&out, "\n*** Signal %s while writing the report; going on\n",
                         signal_name(host));
        write_from(now + 1);
    }
}

int open_report(const char *path)
{
    return ZULPL_OpenReport(path);
}

// The name of an error number, as errno.h spells it.
const char *error_name(int error)
{
    const char *name = strerrorname_np(error);
    return name != nullptr ? name : "unknown error";
}

// Opens the report file, or where its directory cannot be written one of
// the fallbacks.  Anywhere but the place the settings name, the operator
// learns where the report went, or that there is none, from one line on
// standard error: a service manager keeps that line with the service.
int open_report_or_fallback()
{
    const ZULWN_settings_t &s = ZULWN_settings;
    int fd = open_report(s.reportFile);
    if (fd >= 0)
        return fd;
    int errors[3] = {errno, 0, 0};
    int used = -1;
    for (int i = 0; i < s.fallbackCount && used < 0; i++) {
        fd = open_report(s.fallbackFile[i]);
        if (fd >= 0)
            used = i;
        else
            errors[i + 1] = errno;
    }
    ZULWN_out_t &word = errorOut;
    word.fd = 2;
    word.used = 0;
    if (used >= 0) {
        ZULWN_Printf(&word, "%s[%d]: failure report written to %s: %s could not be opened (%s)\n",
                     s.programBase, (int)ZULPL_ProcessId(), s.fallbackFile[used], s.reportFile,
                     error_name(errors[0]));
    } else {
        ZULWN_Printf(&word, "%s[%d]: no failure report written: %s could not be opened (%s)",
                     s.programBase, (int)ZULPL_ProcessId(), s.reportFile, error_name(errors[0]));
        for (int i = 0; i < s.fallbackCount; i++)
            ZULWN_Printf(&word, ", nor %s (%s)", s.fallbackFile[i], error_name(errors[i + 1]));
        ZULWN_Printf(&word, "\n");
    }
    ZULWN_Flush(&word);
    return fd;
}

void write_report(int host, siginfo_t *info, const ucontext_t *uc)
{
    out.fd = open_report_or_fallback();
    if (out.fd < 0)
        return; // no report; the process still ends as it would have
    out.used = 0;
    reportContext = uc;
    stage.store(kHead);
    moduleCount = ZULWN_ReadModules(modules, ZULWN_MODULES);
    write_head(host, info, uc);
    write_registers(uc);
    write_modules();
    write_raw_stack(uc);
    ZULWN_Flush(&out);
    write_from(kSymbols);
}

// What the host does by default with the signal, which ends the process
// for every signal the report is written for.
[[noreturn]] void default_action(int host)
{
    ZULPL_SigDie(host);
}

// Does what the host would have done with the signal without the
// library: the program's handler if it had one, else the default.  With
// `mayReturn`, a fault of the processor with the default action is left
// to happen again when the handler returns, so that the core shows the
// faulting instruction itself; the result is then 1.  The result is 0
// when the program's handler came back: the process goes on.
int end_process(int host, siginfo_t *info, void *context, bool mayReturn)
{
    const bool fault = info != nullptr && info->si_code > 0 &&
                       (host == SIGSEGV || host == SIGBUS || host == SIGILL || host == SIGFPE);
    const ZULWN_previous_t &p = ZULWN_previous[host];
    bool ran = false;
    if (p.saved && (p.action.sa_flags & SA_SIGINFO) && p.action.sa_sigaction != nullptr) {
        p.action.sa_sigaction(host, info, context);
        ran = true;
    } else if (p.saved && p.action.sa_handler != SIG_DFL && p.action.sa_handler != SIG_IGN) {
        p.action.sa_handler(host);
        ran = true;
    }
    // A sent signal that the program's handler dealt with: the process
    // goes on.  A fault would only come again, with one more report each
    // time: the default action ends it.
    if (ran && !fault)
        return 0;
    if (!(mayReturn && fault))
        default_action(host);
    ZULPL_SigSetDefault(host);
    return 1;
}

// A signal that came back during the report: the rest, then the end,
// with the signal the report is about.
[[noreturn]] void end_nested(int host)
{
    resume_report(host);
    int first = firstSignal.load();
    default_action(first ? first : host);
}

// The alarm of a symbol section that does not end.  The alarm goes to the
// process; it is sent on to the thread that writes.
void on_watch(int, siginfo_t *, void *)
{
    pid_t writer = holder.load();
    if (writer == thread_id())
        end_nested(SIGALRM);
    int now = stage.load();
    if (writer != 0 && (now == kSymbols || now == kComponents))
        ZULPL_SignalThread(writer, SIGALRM);
}

void report_and_end(int host, siginfo_t *info, void *context, bool mayReturn)
{
    const pid_t self = thread_id();
    for (;;) {
        pid_t expected = 0;
        if (holder.compare_exchange_strong(expected, self))
            break;
        // A fault inside the report: finish what can be finished.
        if (expected == self)
            end_nested(host);
        // Another thread is writing its report: one after the other.
        ZULPL_Sleep(2);
    }
    // The log's held lines go to its file first, the last of them before
    // anything of the report; from now on every line goes out at once.
    ZULRA_WriteOutLog(1);
    firstSignal.store(host);
    nesting.store(0);
    let_faults_through();
    ZULPL_SigCatch(SIGALRM, on_watch);

    if (context != nullptr)
        memcpy(&savedContext, context, sizeof savedContext);
    else
        ZULPL_SaveContext(&savedContext);
    write_report(host, info, &savedContext);
    // Lines that other threads wrote while the report was written.
    ZULRA_WriteOutLog(1);
    if (end_process(host, info, context, mayReturn))
        return; // the fault comes again, with the default action in place
    // The program's handler dealt with it, and the process goes on.
    ZULRA_HoldAgain();
    stage.store(kIdle);
    reportContext = nullptr;
    holder.store(0);
}

} // namespace

constinit const int ZULWN_fatalSignals[ZULWN_SIGNALS] = {SIGSEGV, SIGBUS,  SIGILL, SIGFPE,
                                                         SIGABRT, SIGSYS, SIGTRAP};

void ZULWN_MakeStack(void)
{
    symbolStack = ZULPL_MapStack(kSymbolStack);
}

void ZULWN_Handler(int host, siginfo_t *info, void *context)
{
    report_and_end(host, info, context, true);
}

void ZULWN_Fatal(int host, siginfo_t *info, void *context)
{
    report_and_end(host, info, context, false);
    // The program's own handler let the process go on; a caller of this
    // call has nowhere to go back to, so the default action ends it.
    default_action(host);
}
