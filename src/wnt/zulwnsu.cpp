// ZULWNT_Setup, ZULWNT_Install, ZULWNT_Restore: the failure report's
// settings and handlers, put in place while the library is loaded.
//
// ZULWNT_SIGNALS says whether the report takes the fatal signals at load
// at all; without it, the build decides (ZULWN_SIGNALS_DEFAULT, 0 in
// fuzzing builds, where libFuzzer must be the one to take them: it puts
// its own handler only on a signal that has none, and it is that handler
// which saves the failing input).
//
// Everything the report needs later is worked out here, while the
// process is sound: the start time and the offset from UTC (localtime is
// not for a signal handler), the program's path, and the whole name of
// the report file.  The handler goes on every fatal signal that is not
// ignored; what the signal had before is kept, and runs after the
// report.  The signal layer, if it hooks one of these signals later,
// keeps the report's handler as its own "previous" one, so a signal its
// routine does not take still reaches the report.
#include "internal/zulfatal.h"
#include "internal/zulprogram.h"
#include "internal/zulreport.h"
#include "platform/zulplat.h"
#include "wnt/zulwn.h"

#include <zul/bss1.h>

#include <cxxabi.h>
#include <exception>
#include <stdlib.h>
#include <string.h>
#include <typeinfo>

constinit ZULWN_settings_t ZULWN_settings = {};
constinit ZULWN_previous_t ZULWN_previous[65] = {};
constinit char ZULWN_exceptionType[256] = {};

namespace {

// The symbol library's default name: elfutils' libdw.
constexpr const char *kSymbolLibrary = "libdw.so.1";

#ifndef ZULWN_SIGNALS_DEFAULT
#define ZULWN_SIGNALS_DEFAULT 1
#endif

// Whether ZULWNT_Install takes the fatal signals: ZULWNT_SIGNALS, read at
// load; "1", "on", "yes" or "0", "off", "no" in any case, anything else
// leaves the build's choice.
constinit bool takeSignals = ZULWN_SIGNALS_DEFAULT != 0;

bool take_signals(const char *value, bool otherwise)
{
    static const char *const kOn[] = {"1", "on", "yes"};
    static const char *const kOff[] = {"0", "off", "no"};
    if (value != nullptr) {
        for (const char *word : kOn)
            if (BSS1_Match(value, word, 0) == 0)
                return true;
        for (const char *word : kOff)
            if (BSS1_Match(value, word, 0) == 0)
                return false;
    }
    return otherwise;
}

constinit std::terminate_handler previousTerminate = nullptr;

// Copies `text` into `to` of `room` bytes, cut to fit.
void copy_cut(char *to, size_t room, const char *text)
{
    size_t n = strnlen(text, room - 1);
    memcpy(to, text, n);
    to[n] = '\0';
}

// `path` and `name` joined as given, and ".ras": a directory in `path`
// ends with a slash.  A name too long for the room is cut, ".ras" kept.
void join_report_file(char (&to)[512], const char *path, const char *name)
{
    size_t room = sizeof to - 5;
    size_t used = strnlen(path, room);
    memcpy(to, path, used);
    size_t more = strnlen(name, room - used);
    memcpy(to + used, name, more);
    memcpy(to + used + more, ".ras", 5);
}

// Names the exception on its way to abort: the report reads the name in
// the handler of SIGABRT.  The name is demangled here, where allocation
// is still allowed.
void on_terminate()
{
    const std::type_info *type = abi::__cxa_current_exception_type();
    if (type != nullptr) {
        int status = -1;
        char *plain = abi::__cxa_demangle(type->name(), nullptr, nullptr, &status);
        copy_cut(ZULWN_exceptionType, sizeof ZULWN_exceptionType,
                 status == 0 && plain ? plain : type->name());
        free(plain);
    }
    if (previousTerminate != nullptr)
        previousTerminate();
    abort();
}

} // namespace

void ZULWNT_Setup(void)
{
    ZULWN_settings_t &s = ZULWN_settings;
    s.startClock = static_cast<time_t>(ZULPL_CalendarNow(&s.utcOffset));

    takeSignals = take_signals(BSS1_GetEnv("ZULWNT_SIGNALS", nullptr), takeSignals);

    s.programLength = static_cast<int>(ZULPL_ProgramPath(s.programName, sizeof s.programName));

    copy_cut(s.libraryName, sizeof s.libraryName, BSS1_GetEnv("ZULWNT_DBGHELP", kSymbolLibrary));
    const char *symbols = BSS1_GetEnv("ZULWNT_SYMBOLPATH", nullptr);
    s.haveSymbolPath = symbols != nullptr;
    if (symbols != nullptr)
        copy_cut(s.symbolPath, sizeof s.symbolPath, symbols);

    // The default name: the program's name, as the library names it
    // everywhere.
    char *base = s.programBase;
    ZULSS_ProgramBase(base, sizeof s.programBase);
    const char *path = BSS1_GetEnv("ZULWNT_RASPATH", "");
    const char *name = BSS1_GetEnv("ZULWNT_RASNAME", base);
    join_report_file(s.reportFile, path, name);

    // Where the report goes when its own directory cannot be written (a
    // service started in / under a user of its own): the user's state
    // directory if it names one, else /var/tmp, which every user may
    // write and which a reboot does not clear.
    s.fallbackCount = 0;
    const char *state = BSS1_GetEnv("XDG_STATE_HOME", nullptr);
    if (state != nullptr && state[0] == '/') {
        char directory[256];
        size_t n = strnlen(state, sizeof directory - 2);
        memcpy(directory, state, n);
        if (directory[n - 1] != '/')
            directory[n++] = '/';
        directory[n] = '\0';
        join_report_file(s.fallbackFile[s.fallbackCount++], directory, name);
    }
    join_report_file(s.fallbackFile[s.fallbackCount++], "/var/tmp/", name);
}

void ZULWNT_Install(void)
{
    // The symbol section's stack serves a report that a fault outside
    // every protected scope asks for, also when the report takes no signal.
    ZULWN_MakeStack();
    if (!takeSignals)
        return; // the fatal signals, and std::terminate, stay as they are
    // A fault inside the report comes back to the handler, which cuts the
    // report short (see ZULPL_SigTakeFatal).
    for (int h : ZULWN_fatalSignals)
        (void)ZULPL_SigTakeFatal(h, ZULWN_Handler, &ZULWN_previous[h]);
    ZULPL_AltStack();
    previousTerminate = std::set_terminate(on_terminate);
}

void ZULWNT_Restore(void)
{
    for (int h : ZULWN_fatalSignals)
        ZULPL_SigGiveBackFatal(h, ZULWN_Handler, &ZULWN_previous[h]);
    if (std::get_terminate() == on_terminate)
        std::set_terminate(previousTerminate);
}
