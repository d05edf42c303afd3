// zulssev - the environment block: its construction, which reads the
// environment files in their order, and the notes on files that the
// reading passed over or cut short, which it writes to the trace.
//
// The block is built at the first lookup, under once-only construction,
// so this code runs alone.  Once it has ended the list never changes
// again: lookups may hand out pointers into it for good.  The list of
// variables is zulssvl, the reading of one file and what it includes
// zulssef, the system table zulssst.
#include "bss/zulssenv.h"

#include <stdlib.h>
#include <string.h>

#include "internal/zulforward.h"
#include "internal/zullock.h"
#include "internal/zulprogram.h"
#include "internal/zulstart.h"
#include "internal/zulunits.h"

ZULRA_BSS1_UNIT("zulssev");

// ------------------------------------------------------------------
// Notes on files passed over or cut short
// ------------------------------------------------------------------

// The files are read while the trace may itself be starting (it reads
// its settings through a lookup), or during the library's load, while the
// trace is held off, so nothing can be written to it then.  What there is
// to say is kept here and written by an epilog once a sync works: the
// reading schedules it, and so does the trace's start.

#define NOTES_KEPT 8
#define NOTE_PATH 256

typedef struct {
    int kind;
    char path[NOTE_PATH]; // cut to fit
} note_t;

// Written by the constructor alone, read by the epilog after it.
static constinit note_t notes[NOTES_KEPT] = {};
static constinit uint32_t noteCount = 0; // may exceed NOTES_KEPT
static constinit uint32_t notesDone = 0; // the notes have had their one chance

void ZULSS_WriteEnvNotes(void *)
{
    RAS1_DECLARE_ENTRY(entry, "ReadEnvironment", 0);
    // The notes are complete once the block is built; until then there
    // are none to write, and the reading schedules this call itself.
    if (__atomic_load_n(&ZULSS_envDescriptor.result, __ATOMIC_ACQUIRE) == 0 ||
        __atomic_load_n(&notesDone, __ATOMIC_ACQUIRE) != 0 || noteCount == 0)
        return;
    uint32_t classes = RAS1_ReadClass(&entry);
    // A record that is still stale was not synchronised: the trace is
    // held off, as during the library's load.  The notes wait for the
    // trace's start, which calls again.
    uint64_t pair = RAS1__LoadPair(&entry);
    if (static_cast<uint32_t>(pair >> 32) != __atomic_load_n(entry.syncWord, __ATOMIC_ACQUIRE))
        return;
    if (__atomic_exchange_n(&notesDone, 1u, __ATOMIC_ACQ_REL) != 0 ||
        !RAS1_WANTS(classes, RAS1_ERROR))
        return;
    uint32_t shown = noteCount < NOTES_KEPT ? noteCount : NOTES_KEPT;
    for (uint32_t i = 0; i < shown; i++) {
        const note_t *n = &notes[i];
        switch (n->kind) {
        case ZULSS_NOTE_NOT_REGULAR:
            RAS1_Log(&entry, __LINE__, RAS1_ERROR,
                     "Environment file not read, not a regular file: %s\n", n->path);
            break;
        case ZULSS_NOTE_BEING_READ:
            RAS1_Log(&entry, __LINE__, RAS1_ERROR,
                     "Environment file not read, already being read: %s\n", n->path);
            break;
        case ZULSS_NOTE_TOO_DEEP:
            RAS1_Log(&entry, __LINE__, RAS1_ERROR,
                     "Environment file not read, nested too deeply: %s\n", n->path);
            break;
        case ZULSS_NOTE_CUT:
            RAS1_Log(&entry, __LINE__, RAS1_ERROR, "Environment file cut at %u bytes: %s\n",
                     (uint32_t)ZULPL_TEXT_LIMIT, n->path);
            break;
        default:
            RAS1_Log(&entry, __LINE__, RAS1_ERROR,
                     "Environment files: reading ended at %u files or %u bytes, before: %s\n",
                     (uint32_t)ZULSS_ENV_MAX_FILES, (uint32_t)ZULSS_ENV_MAX_BYTES, n->path);
            break;
        }
    }
    if (noteCount > shown)
        RAS1_Log(&entry, __LINE__, RAS1_ERROR, "Environment files: %u more notes not shown\n",
                 noteCount - shown);
}

void ZULSS_NoteEnvFile(int kind, const char *path, size_t length)
{
    if (noteCount == 0)
        BSS1_InitializeEpilog(ZULSS_WriteEnvNotes, nullptr);
    if (noteCount < NOTES_KEPT) {
        note_t *n = &notes[noteCount];
        n->kind = kind;
        if (length >= NOTE_PATH)
            length = NOTE_PATH - 1;
        memcpy(n->path, path, length);
        n->path[length] = '\0';
    }
    noteCount++;
}

// ------------------------------------------------------------------
// Construction
// ------------------------------------------------------------------

// Reads the file named by the process environment variable
// "ZUL_ENVFILE_" + `suffix`.
static void read_named_by(ZULSS_reading_t *r, const char *suffix)
{
    static const char prefix[] = "ZUL_ENVFILE_";
    size_t suffixLength = strlen(suffix);
    char *name = static_cast<char *>(malloc(sizeof prefix + suffixLength));
    if (name == nullptr)
        return;
    memcpy(name, prefix, sizeof prefix - 1);
    memcpy(name + sizeof prefix - 1, suffix, suffixLength + 1);
    ZULSS_ReadEnvFile(r, getenv(name));
    free(name);
}

static void construct_env(void *block)
{
    ZULSS_env_t *env = static_cast<ZULSS_env_t *>(block);

    // The program's name and its entry in the system table.
    char program[256];
    char systemPath[256];
    systemPath[0] = '\0';
    if (ZULSS_ProgramBase(program, sizeof program) > 0)
        ZULSS_SystemEnvPath(ZULSS_ENV_SYSTEM_TABLE, program, systemPath, sizeof systemPath);

    const char *first = getenv("ZUL_ENVPATH");
    ZULRA_build_t *build = nullptr;
    ZULRA_BuildInfo(&build);

    BSS1_InitializeLock(&env->lock);
    env->end = env;
    ZUL_RingInit(ZULSS_EnvLinks(env), static_cast<ZULSS_envvar_t *>(env->end));

    // Nobody else can reach the block before its construction has ended;
    // the lock is held only so that the reading meets the list's one
    // precondition, as every lookup does.
    ZULSS_HOLD(&env->lock);
    ZULSS_reading_t r;
    ZULSS_BeginReading(&r, env);

    // The first candidate that is read is the only one read.
    if (!ZULSS_ReadEnvFile(&r, first) &&
        !(systemPath[0] != '\0' && ZULSS_ReadEnvFile(&r, systemPath)) &&
        !ZULSS_ReadEnvFile(&r, ZULSS_ENV_DEFAULT1))
        ZULSS_ReadEnvFile(&r, ZULSS_ENV_DEFAULT2);

    ZULSS_ReadEnvFile(&r, getenv("ZUL_ENVFILE"));
    read_named_by(&r, ZULRA_BuildValue(build, ZULRA_BUILD_SERIAL));
    read_named_by(&r, ZULRA_BuildValue(build, ZULRA_BUILD_ENVIRONMENT_FILE));
    ZULSS_EndEnvIndex();

    static const char ignore[] = "ZUL_IGNOREHOSTENVIRONMENT";
    if (ZULSS_FindEnvVar(env, ignore, sizeof ignore - 1) == nullptr)
        env->useHost = 1;
}

static constinit ZULSS_descriptor_t realDescriptor = {
    sizeof(ZULSS_env_t), construct_env, nullptr, 0, 0};

ZULSS_FORWARDING_DESCRIPTOR(ZULSS_envDescriptor, realDescriptor);

#ifdef ZUL_FUZZING
// Fuzzing builds only: forget what the files defined and read them again,
// as the first lookup of a new process would.  The fuzz harness calls it
// between inputs, with no lookup running; values handed out before are
// gone.  Static state that the reading keeps must be reset here too.
void ZULSS_RereadEnv(void)
{
    ZULSS_env_t *env = ZULSS_Env();
    for (ZULSS_envvar_t *v = env->first; v != env->end;) {
        ZULSS_envvar_t *next = v->next;
        free(v);
        v = next;
    }
    free(env->buffer);
    BSS1_DestroyLock(&env->lock);
    memset(env, 0, sizeof *env);
    ZULSS_EndEnvIndex();
    noteCount = 0;
    notesDone = 0;
    construct_env(env);
}
#endif
