// ZULWN_WriteSymbols: the symbol section of the failure report, through
// the symbol library loaded for the time of one report.
//
// The symbol library is elfutils' libdw, opened with dlopen under the name
// that ZULWNT_DBGHELP gives, so that a process without it still loads and
// still gets the rest of its report.  Its entries are looked up by name;
// one that is missing is a function here that fails, so a missing entry
// reads as a call that failed.  The call stack is walked from the
// signal's context with the modules' call frame information, which needs
// no frame pointers, reading the stack through ZULWN_ReadMemory.  This
// part allocates, and so runs after the raw part of the report is out.
#include "wnt/zulwn.h"
#include "platform/zulplrp.h"
#include "platform/zulplsi.h"

#include <elfutils/libdwfl.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <ucontext.h>

extern "C" char *__cxa_demangle(const char *mangled, char *out, size_t *length, int *status);

namespace {

// The entries of the symbol library, looked up by name at each report.
struct Entries {
    decltype(&dwfl_begin) begin;
    decltype(&dwfl_end) end;
    decltype(&dwfl_errno) error;
    decltype(&dwfl_errmsg) message;
    decltype(&dwfl_linux_proc_report) report;
    decltype(&dwfl_report_end) reportEnd;
    decltype(&dwfl_linux_proc_find_elf) findElf;
    decltype(&dwfl_standard_find_debuginfo) findDebuginfo;
    decltype(&dwfl_attach_state) attach;
    decltype(&dwfl_thread_state_registers) setRegisters;
    decltype(&dwfl_getthread_frames) frames;
    decltype(&dwfl_frame_pc) framePc;
    decltype(&dwfl_frame_reg) frameReg;
    decltype(&dwfl_addrmodule) addrModule;
    decltype(&dwfl_module_addrinfo) addrInfo;
    decltype(&dwfl_module_getsrc) getSource;
    decltype(&dwfl_lineinfo) lineInfo;
    decltype(&dwfl_module_nextcu) nextUnit;
    decltype(&dwarf_haspc) hasPc;
    decltype(&dwarf_getsrc_die) unitLine;
    decltype(&dwarf_lineno) lineNumber;
    decltype(&dwarf_linesrc) lineFile;
};

// Stand-ins for missing entries: each fails the way its entry fails.
Dwfl *no_begin(const Dwfl_Callbacks *) { return nullptr; }
void no_end(Dwfl *) {}
int no_error(void) { return 0; }
const char *no_message(int) { return "entry missing from the symbol library"; }
int no_report(Dwfl *, pid_t) { return -1; }
int no_report_end(Dwfl *, int (*)(Dwfl_Module *, void *, const char *, Dwarf_Addr, void *),
                  void *) { return -1; }
int no_find_elf(Dwfl_Module *, void **, const char *, Dwarf_Addr, char **, Elf **) { return -1; }
int no_find_debuginfo(Dwfl_Module *, void **, const char *, Dwarf_Addr, const char *,
                      const char *, GElf_Word, char **) { return -1; }
bool no_attach(Dwfl *, Elf *, pid_t, const Dwfl_Thread_Callbacks *, void *) { return false; }
bool no_set_registers(Dwfl_Thread *, int, unsigned, const Dwarf_Word *) { return false; }
int no_frames(Dwfl *, pid_t, int (*)(Dwfl_Frame *, void *), void *) { return -1; }
bool no_frame_pc(Dwfl_Frame *, Dwarf_Addr *, bool *) { return false; }
int no_frame_reg(Dwfl_Frame *, unsigned, Dwarf_Word *) { return -1; }
Dwfl_Module *no_addr_module(Dwfl *, Dwarf_Addr) { return nullptr; }
const char *no_addr_info(Dwfl_Module *, GElf_Addr, GElf_Off *, GElf_Sym *, GElf_Word *,
                         Elf **, Dwarf_Addr *) { return nullptr; }
Dwfl_Line *no_get_source(Dwfl_Module *, Dwarf_Addr) { return nullptr; }
const char *no_line_info(Dwfl_Line *, Dwarf_Addr *, int *, int *, Dwarf_Word *, Dwarf_Word *)
{
    return nullptr;
}
Dwarf_Die *no_next_unit(Dwfl_Module *, Dwarf_Die *, Dwarf_Addr *) { return nullptr; }
int no_has_pc(Dwarf_Die *, Dwarf_Addr) { return -1; }
Dwarf_Line *no_unit_line(Dwarf_Die *, Dwarf_Addr) { return nullptr; }
int no_line_number(Dwarf_Line *, int *) { return -1; }
const char *no_line_file(Dwarf_Line *, Dwarf_Word *, Dwarf_Word *) { return nullptr; }

template <typename F> void bind(void *library, F &slot, const char *name, F missing)
{
    void *found = ZULPL_LibraryRoutine(library, name);
    slot = found ? reinterpret_cast<F>(found) : missing;
}

void bind_all(void *library, Entries *e)
{
    bind(library, e->begin, "dwfl_begin", &no_begin);
    bind(library, e->end, "dwfl_end", &no_end);
    bind(library, e->error, "dwfl_errno", &no_error);
    bind(library, e->message, "dwfl_errmsg", &no_message);
    bind(library, e->report, "dwfl_linux_proc_report", &no_report);
    bind(library, e->reportEnd, "dwfl_report_end", &no_report_end);
    bind(library, e->findElf, "dwfl_linux_proc_find_elf", &no_find_elf);
    bind(library, e->findDebuginfo, "dwfl_standard_find_debuginfo", &no_find_debuginfo);
    bind(library, e->attach, "dwfl_attach_state", &no_attach);
    bind(library, e->setRegisters, "dwfl_thread_state_registers", &no_set_registers);
    bind(library, e->frames, "dwfl_getthread_frames", &no_frames);
    bind(library, e->framePc, "dwfl_frame_pc", &no_frame_pc);
    bind(library, e->frameReg, "dwfl_frame_reg", &no_frame_reg);
    bind(library, e->addrModule, "dwfl_addrmodule", &no_addr_module);
    bind(library, e->addrInfo, "dwfl_module_addrinfo", &no_addr_info);
    bind(library, e->getSource, "dwfl_module_getsrc", &no_get_source);
    bind(library, e->lineInfo, "dwfl_lineinfo", &no_line_info);
    bind(library, e->nextUnit, "dwfl_module_nextcu", &no_next_unit);
    bind(library, e->hasPc, "dwarf_haspc", &no_has_pc);
    bind(library, e->unitLine, "dwarf_getsrc_die", &no_unit_line);
    bind(library, e->lineNumber, "dwarf_lineno", &no_line_number);
    bind(library, e->lineFile, "dwarf_linesrc", &no_line_file);
}

// The source line of `address` found by going through the module's
// compile units.  The quick lookup needs the address-range index that
// some compilers leave out (clang does unless asked); without it only
// this search finds the line.
const char *unit_line(Entries *e, Dwfl_Module *module, Dwarf_Addr address, int *number)
{
    Dwarf_Addr bias = 0;
    for (Dwarf_Die *unit = e->nextUnit(module, nullptr, &bias); unit != nullptr;
         unit = e->nextUnit(module, unit, &bias)) {
        if (e->hasPc(unit, address - bias) <= 0)
            continue;
        Dwarf_Line *line = e->unitLine(unit, address - bias);
        if (line == nullptr || e->lineNumber(line, number) != 0)
            return nullptr;
        return e->lineFile(line, nullptr, nullptr);
    }
    return nullptr;
}

// What the walk of one report needs; on the handler's stack.
struct Walk {
    Entries *e;
    Dwfl *dwfl;
    const ucontext_t *context;
    pid_t tid;
    bool given; // the one thread has been handed out
    ZULWN_out_t *out;
    const ZULWN_module_t *modules;
    uint32_t count;
    uint32_t frames;
};

// Frames written at most: a runaway recursion is not written out whole.
constexpr uint32_t kMostFrames = 256;

// The failing thread is the only one the walk is told of.
pid_t next_thread(Dwfl *, void *arg, void **thread_arg)
{
    Walk *w = static_cast<Walk *>(arg);
    if (w->given)
        return 0;
    w->given = true;
    *thread_arg = arg;
    return w->tid;
}

bool memory_read(Dwfl *, Dwarf_Addr address, Dwarf_Word *result, void *)
{
    return ZULWN_ReadMemory(static_cast<uintptr_t>(address), result, sizeof *result);
}

// The signal's registers in the numbering of the x86-64 call frame
// information: rax rdx rcx rbx rsi rdi rbp rsp r8-r15 rip.
bool initial_registers(Dwfl_Thread *thread, void *arg)
{
    Walk *w = static_cast<Walk *>(arg);
    const greg_t *g = w->context->uc_mcontext.gregs;
    const int order[17] = {REG_RAX, REG_RDX, REG_RCX, REG_RBX, REG_RSI, REG_RDI,
                           REG_RBP, REG_RSP, REG_R8,  REG_R9,  REG_R10, REG_R11,
                           REG_R12, REG_R13, REG_R14, REG_R15, REG_RIP};
    Dwarf_Word regs[17];
    for (int i = 0; i < 17; i++)
        regs[i] = static_cast<Dwarf_Word>(g[order[i]]);
    return w->e->setRegisters(thread, 0, 17, regs);
}

const Dwfl_Thread_Callbacks kThreadCallbacks = {
    next_thread, nullptr, memory_read, initial_registers, nullptr, nullptr,
};

// An address: module<>symbol+0xdistance<>file(line), or the module and
// the distance from its base, or the bare address.
void write_address(Walk *w, uintptr_t address, uintptr_t lookup)
{
    ZULWN_out_t *out = w->out;
    const ZULWN_module_t *m = ZULWN_FindModule(w->modules, w->count, address);
    if (m == nullptr) {
        ZULWN_Printf(out, "<0x%016lX>", (unsigned long)address);
        return;
    }
    ZULWN_Printf(out, "%s<>", ZULWN_BaseName(m->path));
    Dwfl_Module *module = w->e->addrModule(w->dwfl, lookup);
    GElf_Off offset = 0;
    GElf_Sym symbol;
    const char *name = module ? w->e->addrInfo(module, lookup, &offset, &symbol, nullptr,
                                               nullptr, nullptr)
                              : nullptr;
    if (name == nullptr) {
        ZULWN_Printf(out, "0x%lX", (unsigned long)(address - m->base));
        return;
    }
    int status = -1;
    char *plain = __cxa_demangle(name, nullptr, nullptr, &status);
    // The distance is from the address itself, not the one looked up.
    ZULWN_Printf(out, "%s+0x%lX", status == 0 && plain ? plain : name,
                 (unsigned long)(offset + (address - lookup)));
    free(plain);
    Dwfl_Line *line = w->e->getSource(module, lookup);
    int number = 0;
    const char *file = line ? w->e->lineInfo(line, nullptr, &number, nullptr, nullptr, nullptr)
                            : unit_line(w->e, module, lookup, &number);
    if (file != nullptr)
        ZULWN_Printf(out, "<>%s(%d)", file, number);
}

int each_frame(Dwfl_Frame *frame, void *arg)
{
    Walk *w = static_cast<Walk *>(arg);
    Dwarf_Addr pc;
    bool activation = false;
    if (!w->e->framePc(frame, &pc, &activation))
        return DWARF_CB_ABORT;
    Dwarf_Word bp = 0;
    if (w->e->frameReg(frame, 6, &bp) != 0)
        bp = 0;
    ZULWN_Printf(w->out, "%5s:%016lX%4s:%016lX  ", "IP", (unsigned long)pc, "BP",
                 (unsigned long)bp);
    // A return address lies after its call: look up the call itself.
    write_address(w, pc, activation ? pc : pc - 1);
    ZULWN_Write(w->out, "\n", 1);
    return ++w->frames < kMostFrames ? DWARF_CB_OK : DWARF_CB_ABORT;
}

} // namespace

void ZULWN_WriteSymbols(ZULWN_out_t *out, const ucontext_t *context, uintptr_t origin,
                        const ZULWN_module_t *modules, uint32_t count)
{
    const ZULWN_settings_t &s = ZULWN_settings;
    errno = 0;
    const char *why = nullptr;
    void *library = ZULPL_OpenLibrary(s.libraryName, &why);
    if (library == nullptr) {
        ZULWN_Printf(out, "\n*** Unable to load %s, rc=%lu\n%15s: %s\n", s.libraryName,
                     (unsigned long)errno, "Reason", why ? why : "");
        // What the operator can do about it, here, where it is read.
        ZULWN_Printf(out,
                     "%15s: install elfutils' libdw.so.1 (Debian, Ubuntu: libdw1; Fedora, RHEL:\n"
                     "%17selfutils-libs) or name the library in ZULWNT_DBGHELP; meanwhile turn the\n"
                     "%17sRaw Stack's module<>offset into names with eu-addr2line -e MODULE OFFSET,\n"
                     "%17sor debuginfod-find debuginfo BUILD-ID on another machine\n",
                     "Symbols", "", "", "");
        return;
    }
    Entries e;
    bind_all(library, &e);

    char *path = s.haveSymbolPath ? const_cast<char *>(s.symbolPath) : nullptr;
    Dwfl_Callbacks callbacks = {};
    callbacks.find_elf = e.findElf;
    callbacks.find_debuginfo = e.findDebuginfo;
    callbacks.debuginfo_path = &path;
    Walk w = {};
    w.e = &e;
    w.context = context;
    w.tid = (pid_t)ZULPL_RawThreadId();
    w.out = out;
    w.modules = modules;
    w.count = count;
    w.dwfl = e.begin(&callbacks);
    if (w.dwfl == nullptr || e.report(w.dwfl, (pid_t)ZULPL_ProcessId()) != 0 ||
        e.reportEnd(w.dwfl, nullptr, nullptr) != 0) {
        ZULWN_Printf(out, "symInitialize() failed\n%15s: %s\n", "Reason",
                     e.message(e.error()));
        e.end(w.dwfl);
        ZULPL_CloseLibrary(library);
        return;
    }
    ZULWN_Printf(out, "\n%15s: ", "Origin");
    write_address(&w, origin, origin);
    ZULWN_Printf(out, "\n\nCall Stack\n\n");
    ZULWN_Flush(out);
    if (context != nullptr && e.attach(w.dwfl, nullptr, (pid_t)ZULPL_ProcessId(), &kThreadCallbacks, &w))
        e.frames(w.dwfl, w.tid, each_frame, &w);
    if (w.frames == 0)
        ZULWN_Printf(out, "%5s: %s\n", "", e.message(e.error()));
    e.end(w.dwfl);
    ZULPL_CloseLibrary(library);
}
