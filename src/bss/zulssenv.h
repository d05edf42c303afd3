// bss/zulssenv.h - the environment block: the variables read from
// environment files, and the reading of those files.
//
// zulssev builds the block and keeps the notes for the trace, zulssvl
// keeps the list of variables, zulssef reads the files and zulssst the
// system table; the lookups (zulssle, zulssge) read the list.
#ifndef ZUL_SRC_BSS_ZULSSENV_H
#define ZUL_SRC_BSS_ZULSSENV_H

#include <stdio.h>

#include "bss/zulss.h"
#include "internal/zullinks.h"
#include "platform/zulplat.h"

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

// The environment process block.  The list is circular: `end`, the
// block's own address, stands for its head, whose links are `first` and
// `last` (internal/zullinks.h), and a walk ends when it comes back to
// `end`.  The list is in order of last definition and never changes
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

// The links of the variable list (internal/zullinks.h).
static inline ZUL_links<ZULSS_envvar_t> ZULSS_EnvLinks(ZULSS_env_t *env)
{
    return {&ZULSS_envvar_t::next, &ZULSS_envvar_t::prior, static_cast<ZULSS_envvar_t *>(env->end),
            &env->first, &env->last};
}

// Looks up one part of a name (cut to its first token) and returns its
// value or null: the process environment first while `useHost` is 1,
// then the variable list.
const char *ZULSS_LookupEnv(ZULSS_env_t *env, const char *part, size_t length);

// ------------------------------------------------------------------
// The variable list (zulssvl)
// ------------------------------------------------------------------

// The variable `name` of `length` bytes in the list, or null.  The caller
// holds the lock (the constructor holds it while it reads the files).
ZULSS_envvar_t *ZULSS_FindEnvVar(ZULSS_env_t *env, const char *name, uint32_t length);

// The same while the files are read, through an index by name, so that a
// file of many names does not take time in the square of their number.
ZULSS_envvar_t *ZULSS_FindEnvVarIndexed(ZULSS_env_t *env, const char *name, uint32_t length);

// Defines `name` with `value`.  A redefinition goes to the end of the
// list; an empty value removes the variable.  Without memory the new
// definition is lost, and so is an older one of the same name: what the
// files said last must not be silently replaced by what they said before.
// The caller holds the lock.
void ZULSS_DefineEnvVar(ZULSS_env_t *env, const char *name, uint32_t nameLength,
                        const char *value, uint32_t valueLength);

// Frees the index, once the files have been read.
void ZULSS_EndEnvIndex(void);

// ------------------------------------------------------------------
// Environment files (zulssef)
// ------------------------------------------------------------------

// A line that sets something: NAME=value.  The name is the first token
// before the first "="; the value is what follows the "=" from its first
// byte that is not white space to the end of the line.  Environment files
// and the system table are read by this one rule.
typedef struct ZULSS_setting {
    const char *name;
    uint32_t nameLength;
    const char *value;
    uint32_t valueLength;
} ZULSS_setting_t;

// Splits `length` bytes at `line`; false for a line without "=" or
// without a name before it.
bool ZULSS_SplitSetting(const char *line, uint32_t length, ZULSS_setting_t *setting);

// One reading of the environment files, by the constructor.
typedef struct ZULSS_reading {
    ZULSS_env_t *env;
    // The files now being read, the outermost first: a file that
    // includes itself, directly or through others, is found here.
    ZULPL_fileid_t open[ZULSS_ENV_NESTING + 1];
    uint32_t depth;     // entries of `open`
    uint32_t files;     // files read so far
    uint32_t bytesLeft; // of ZULSS_ENV_MAX_BYTES
    int budgetNoted;
} ZULSS_reading_t;

// Starts a reading into `env`, with the whole budget.
void ZULSS_BeginReading(ZULSS_reading_t *reading, ZULSS_env_t *env);

// Reads the file at `path` and the files it includes, defining their
// variables; 1 if it was read.  A null path, a file that doesn't open
// and one that isn't a regular file count as not read; so does a file
// already being read, and any file once the reading's budget is spent.
int ZULSS_ReadEnvFile(ZULSS_reading_t *reading, const char *path);

// The path that the system table `table` gives for `program` (names
// compare without regard to case) into `out`; 0 if there is none, else
// its length.  Paths longer than 255 bytes are not taken.  (zulssst)
size_t ZULSS_SystemEnvPath(const char *table, const char *program, char *out, size_t size);

// ------------------------------------------------------------------
// Notes on files passed over or cut short (zulssev)
// ------------------------------------------------------------------

// Why a file was passed over or cut short.
enum {
    ZULSS_NOTE_NOT_REGULAR,
    ZULSS_NOTE_BEING_READ,
    ZULSS_NOTE_TOO_DEEP,
    ZULSS_NOTE_CUT,
    ZULSS_NOTE_BUDGET,
};

// Keeps a note on the file `path` (`length` bytes, cut to fit) for the
// trace, which is written once a sync works (ZULSS_WriteEnvNotes).
void ZULSS_NoteEnvFile(int kind, const char *path, size_t length);

#ifdef ZUL_FUZZING
// Fuzzing builds only: throws the variables away and reads the files
// again, as at the first lookup of a process.  Not for concurrent use.
void ZULSS_RereadEnv(void);
#endif

#endif
