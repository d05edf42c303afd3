// internal/zulreport.h - the failure report's work at load and unload,
// called by the library's entry point.
#ifndef ZUL_SRC_INTERNAL_ZULREPORT_H
#define ZUL_SRC_INTERNAL_ZULREPORT_H

#ifdef __cplusplus
extern "C" {
#endif

// Records the start time and reads the report's settings (ZULWNT_DBGHELP,
// ZULWNT_SYMBOLPATH, ZULWNT_RASPATH, ZULWNT_RASNAME) through BSS1_GetEnv.
// Called while log output is held off at load.
void ZULWNT_Setup(void);

// Puts the report's handler on the fatal signals, keeping what each had
// before (an ignored signal is left alone), gives the loading thread an
// alternate signal stack, and hooks std::terminate to name an uncaught
// C++ exception.  Called after log output is released.
void ZULWNT_Install(void);

// At unload: gives back each signal that still has the report's handler
// the disposition it had before.
void ZULWNT_Restore(void);

#ifdef __cplusplus
}
#endif

#endif
