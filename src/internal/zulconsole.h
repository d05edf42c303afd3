// internal/zulconsole.h - the console server's start at library load,
// for the entry point.
#ifndef ZUL_SRC_INTERNAL_ZULCONSOLE_H
#define ZUL_SRC_INTERNAL_ZULCONSOLE_H

// Reads ZUL_CONSOLE and, when it asks for one, opens the console socket
// (CRF1_Listen).  Off, 0, no or an empty value: nothing; 1, on or yes: the
// default directory; a value starting with '/': that directory.
void ZULCR_ListenFromSetting(void);

#endif
