// bss/zulssenv.h - the environment block: the variables read from
// environment files, and the reading of those files.
#ifndef ZUL_SRC_BSS_ZULSSENV_H
#define ZUL_SRC_BSS_ZULSSENV_H

#include <stdio.h>

#include "bss/zulss.h"

// One variable: the record and both texts in one allocation.  `name` is
// not terminated; `value` follows it directly and is.
typedef struct ZULSS_envvar {
    struct ZULSS_envvar *next;
    struct ZULSS_envvar *prior;
    char *name;
    char *value;
    uint32_t nameLength;
    uint32_t valueLength; // never 0: an empty value removes the variable
} ZULSS_envvar_t;

// The environment process block.  The list is circular, with the block as
// its sentinel: `first` and `last` overlay `next` and `prior` of a
// variable, and a walk ends when it comes back to `end`, the block's own
// address.  The list is in order of last definition and never changes
// once the block has been built, so a pointer to a value stays good for
// the life of the process.
typedef struct ZULSS_env {
    ZULSS_envvar_t *first;
    ZULSS_envvar_t *last;
    void *end;
    ZULSS_lock_t lock;  // guards the walk of the list in a lookup
    uint32_t useHost;   // 1: lookups ask the process environment first
    uint32_t capacity;  // bytes in `buffer`
    char *buffer;       // the line buffer, shared by all files and levels
} ZULSS_env_t;

// Deepest nesting of included files.  An include that would go deeper is
// passed over and the including file reads on.
#define ZULSS_ENV_NESTING 8

// What one construction reads at most, over all files and inclusions:
// files read, and bytes taken from them.  One file gives at most
// ZULPL_TEXT_LIMIT bytes of its own.
#define ZULSS_ENV_MAX_FILES 256u
#define ZULSS_ENV_MAX_BYTES (16u << 20)

// The buffer grows in steps of this many bytes, and a physical line is
// read with at least this much room.
#define ZULSS_ENV_STEP 256

// The candidate files tried, in order, when the process environment names
// none that opens.
#define ZULSS_ENV_DEFAULT1 "ZULENV"
#define ZULSS_ENV_DEFAULT2 "VNOSDEFN"

// The system table that names, for each program, the environment file to
// try second.  Lines "program = path".
#ifndef ZULSS_ENV_SYSTEM_TABLE
#define ZULSS_ENV_SYSTEM_TABLE "/etc/zul/ZUL_ENVPATH"
#endif

// The block's public descriptor; the block is built at the first lookup.
extern ZULSS_descriptor_t ZULSS_envDescriptor;

static inline ZULSS_env_t *ZULSS_Env(void)
{
    return (ZULSS_env_t *)ZULSS_PROCESS_BLOCK(&ZULSS_envDescriptor);
}

// Looks up one part of a name (cut to its first token) and returns its
// value or null: the process environment first while `useHost` is 1,
// then the variable list.
const char *ZULSS_LookupEnv(ZULSS_env_t *env, const char *part, size_t length);

// The variable `name` of `length` bytes in the list, or null.  The caller
// holds the lock or is the constructor.
ZULSS_envvar_t *ZULSS_FindEnvVar(ZULSS_env_t *env, const char *name, uint32_t length);

// The path that the system table `table` gives for `program` (names
// compare without regard to case) into `out`; 0 if there is none, else
// its length.  Paths longer than 255 bytes are not taken.
size_t ZULSS_SystemEnvPath(const char *table, const char *program, char *out, size_t size);

#ifdef ZUL_FUZZING
// Fuzzing builds only: throws the variables away and reads the files
// again, as at the first lookup of a process.  Not for concurrent use.
void ZULSS_RereadEnv(void);
#endif

#endif
