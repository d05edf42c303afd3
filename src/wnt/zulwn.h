// wnt/zulwn.h - private records of the failure report: its settings, the
// writer that every line goes through, and the module list.
//
// Everything here is static and starts as zero bytes.  The settings are
// written once, while the library is loaded, and only read afterwards;
// the writer and the module table are used by the one thread that holds
// the report (see zulwnt.cpp).
#ifndef ZUL_SRC_WNT_ZULWN_H
#define ZUL_SRC_WNT_ZULWN_H

#include <signal.h>
#include <stdarg.h>
#include <stdint.h>
#include <time.h>

#include "internal/zulfatal.h"

// The settings, read at load.
typedef struct ZULWN_settings {
    time_t startClock;        // time() at load: the process's start
    long utcOffset;           // seconds east of UTC at load, for local times
    char libraryName[256];    // ZULWNT_DBGHELP: the symbol library
    char symbolPath[512];     // ZULWNT_SYMBOLPATH: where debug files are looked for
    int haveSymbolPath;       // 0: the symbol library's own search path
    char reportFile[512];     // reportPath + reportName + ".ras"
    char fallbackFile[2][512]; // reportName + ".ras" in $XDG_STATE_HOME, in /var/tmp
    int fallbackCount;
    char programBase[256];    // the program's name, for the word on standard error
    char programName[512];    // the process image's path
    int programLength;
} ZULWN_settings_t;

extern ZULWN_settings_t ZULWN_settings;

// The writer: text is gathered in `buffer` and goes to `fd` with write(2)
// when the buffer fills and at each ZULWN_Flush.  All of it is
// async-signal-safe.  With `fd` below 0 the text is dropped.
typedef struct ZULWN_out {
    int fd;
    uint32_t used;
    char buffer[4096];
} ZULWN_out_t;

// Formats as printf does, for the conversions d, u, x, X, s, c and %
// with the flags - and 0, a width, a precision (for s: a length; both may
// be *), and the sizes l and z.  A null text prints as "(null)".
void ZULWN_Printf(ZULWN_out_t *out, const char *format, ...)
    __attribute__((format(printf, 2, 3)));
void ZULWN_VPrintf(ZULWN_out_t *out, const char *format, va_list args);
void ZULWN_Write(ZULWN_out_t *out, const char *text, uint32_t length);
void ZULWN_Flush(ZULWN_out_t *out);

// Copies `length` bytes at `address` of this process into `to` without
// touching them directly, so that a bad address costs a failed read and
// not a fault.  1 when all of them could be read.
int ZULWN_ReadMemory(uintptr_t address, void *to, uint32_t length);

// One module of the process: a file mapped into it.
typedef struct ZULWN_module {
    uintptr_t base;      // the lowest address mapped from the file
    uintptr_t end;       // one past the highest
    uint32_t idLength;   // bytes of the GNU build ID; 0 without one
    uint8_t buildId[32];
    char path[256];
} ZULWN_module_t;

#define ZULWN_MODULES 512

// Fills `modules` from the process's map, in address order, with each
// module's build ID; gives the number found.  Async-signal-safe.
uint32_t ZULWN_ReadModules(ZULWN_module_t *modules, uint32_t room);

// The module that holds `address`, or null.
const ZULWN_module_t *ZULWN_FindModule(const ZULWN_module_t *modules, uint32_t count,
                                       uintptr_t address);

// The file name of a path, without its directories.
const char *ZULWN_BaseName(const char *path);

// The symbol section: loads the symbol library, writes the origin, the
// call stack walked from `context` and symbolised, and the module list.
// Allocates, and so runs only after the raw part of the report is out.
void ZULWN_WriteSymbols(ZULWN_out_t *out, const ucontext_t *context, uintptr_t origin,
                        const ZULWN_module_t *modules, uint32_t count);

// The signals the report is written for.
#define ZULWN_SIGNALS 7
extern const int ZULWN_fatalSignals[ZULWN_SIGNALS];

// What each of them did before the report's handler took it over: `saved`
// is 1 when `action` holds the disposition replaced at load.
typedef ZULPL_sigkept_t ZULWN_previous_t;

extern ZULWN_previous_t ZULWN_previous[65];

// Maps the stack that the symbol section runs on; at load.  Without it
// the section runs on the stack the signal came on.
void ZULWN_MakeStack(void);

// The report's host handler, installed at load.
void ZULWN_Handler(int host, siginfo_t *info, void *context);

// The type of the C++ exception that ended in std::terminate, readable
// in the terminate's abort; empty until then.
extern char ZULWN_exceptionType[256];

#endif
