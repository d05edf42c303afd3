// internal/zulstart.h - what the trace's start and the basic services
// tell each other: whether ZUL_RAS1 was read, and the notes on environment
// files that were kept until the trace could take them.
#ifndef ZUL_SRC_INTERNAL_ZULSTART_H
#define ZUL_SRC_INTERNAL_ZULSTART_H

#ifdef __cplusplus
extern "C" {
#endif

// 1 when ZUL_RAS1 is not read, or will not be: the program registered a
// store of its own before the trace started, and so chose its log itself.
// The log's header says so beside the variable's value.  Any thread.
int ZULRA_Ras1NotRead(void);

// Writes to the trace, under the ERROR class, what the reading of the
// environment files passed over or cut short.  The files are mostly read
// during the library's load, while the trace is held off, so the notes
// are kept until a sync works: the reading schedules this as an epilog,
// and the trace's start schedules it again.  The notes are written once.
void ZULSS_WriteEnvNotes(void *unused);

#ifdef __cplusplus
}
#endif

#endif
