// internal/zullogout.h - writing out the lines that the log holds, for
// code that may not wait: the failure report before it writes.
#ifndef ZUL_SRC_INTERNAL_ZULLOGOUT_H
#define ZUL_SRC_INTERNAL_ZULLOGOUT_H

#ifdef __cplusplus
extern "C" {
#endif

// Writes the lines that the default store holds for a large write to its
// file, with write(2) only and no lock, so that it may run in a signal
// handler on any thread; a process without a buffered log does nothing.
// With `ending`, every later line goes out at once, since the process is
// about to end.  A line being added at that moment may be cut; none
// before it is lost.
void ZULRA_WriteOutLog(int ending);

// The process goes on after all (the program's own handler dealt with the
// signal): lines are held for large writes again.
void ZULRA_HoldAgain(void);

#ifdef __cplusplus
}
#endif

#endif
