// zulssev - the environment block: its construction, the reading of
// environment files, and the definition of variables.
//
// The block is built at the first lookup, under once-only construction,
// so this code runs alone and takes no lock.  Once it has ended the list
// never changes again: lookups may hand out pointers into it for good.
//
// Files are read so that no set of them can keep the reading going: only
// regular files are read, a file already being read is not read again by
// an inclusion, one file gives at most ZULPL_TEXT_LIMIT bytes, and the
// whole reading at most ZULSS_ENV_MAX_FILES files and ZULSS_ENV_MAX_BYTES
// bytes.  What is passed over or cut short is written to the trace once
// the constructions have ended.
#include "bss/zulssenv.h"

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "platform/zulplat.h"
#include "internal/zulprogram.h"
#include "internal/zulstart.h"
#include "internal/zulunits.h"

ZULRA_BSS1_UNIT("zulssev");

static const char envPathName[] = "ZUL_ENVPATH";
static const uint32_t envPathLength = sizeof envPathName - 1;

// ------------------------------------------------------------------
// The list
// ------------------------------------------------------------------

static ZULSS_envvar_t *sentinel(ZULSS_env_t *env)
{
    return reinterpret_cast<ZULSS_envvar_t *>(env);
}

static inline unsigned char fold(char c)
{
    unsigned char u = static_cast<unsigned char>(c);
    return u >= 'A' && u <= 'Z' ? u + ('a' - 'A') : u;
}

ZULSS_envvar_t *ZULSS_FindEnvVar(ZULSS_env_t *env, const char *name, uint32_t length)
{
    // Lengths first, then the last byte: names of one family share their
    // beginnings and tend to differ at the end, so most candidates are
    // turned away before the full comparison.
    for (ZULSS_envvar_t *v = env->first; v != env->end; v = v->next)
        if (v->nameLength == length &&
            (length == 0 || fold(v->name[length - 1]) == fold(name[length - 1])) &&
            BSS1_Match(v->name, name, length) == 0)
            return v;
    return nullptr;
}

static void unlink_var(ZULSS_envvar_t *v)
{
    v->prior->next = v->next;
    v->next->prior = v->prior;
    free(v);
}

// While the files are read, an index of the list by name, so that a
// definition finds the earlier one of its name without a walk of the
// whole list: a file of many names must not take time in the square of
// their number.  Open addressing, at most half full; a removed name
// leaves a gravestone.  Without memory for it the walk serves instead.
// Used by the constructor alone, and freed at its end.
typedef struct {
    ZULSS_envvar_t **slots;
    uint32_t size;   // a power of 2, or 0 while there is none
    uint32_t filled; // live entries and gravestones
    int failed;      // no memory: the walk serves from now on
} index_t;

static constinit index_t byName = {nullptr, 0, 0, 0};
static constinit ZULSS_envvar_t gravestone = {};

static uint32_t hash_name(const char *name, uint32_t length)
{
    uint32_t h = 2166136261u;
    for (uint32_t i = 0; i < length; i++)
        h = (h ^ fold(name[i])) * 16777619u;
    return h;
}

// The slot that holds `name`, else the slot where it would go: the first
// gravestone on the way, or the empty slot that ends the search.
static ZULSS_envvar_t **index_slot(const char *name, uint32_t length)
{
    uint32_t mask = byName.size - 1;
    ZULSS_envvar_t **grave = nullptr;
    for (uint32_t i = hash_name(name, length) & mask;; i = (i + 1) & mask) {
        ZULSS_envvar_t **slot = &byName.slots[i];
        if (*slot == nullptr)
            return grave != nullptr ? grave : slot;
        if (*slot == &gravestone) {
            if (grave == nullptr)
                grave = slot;
        } else if ((*slot)->nameLength == length && BSS1_Match((*slot)->name, name, length) == 0) {
            return slot;
        }
    }
}

// Makes room for one more name; false if there is no index to use.  A
// full index is built anew from the list, which holds every live name.
static bool index_ready(ZULSS_env_t *env)
{
    if (byName.failed)
        return false;
    if (byName.size != 0 && (byName.filled + 1) * 2 <= byName.size)
        return true;
    uint32_t live = 0;
    for (ZULSS_envvar_t *v = env->first; v != env->end; v = v->next)
        live++;
    uint32_t size = 64;
    while (size < 4 * (live + 1) && size < (1u << 30))
        size *= 2;
    free(byName.slots);
    byName.slots = static_cast<ZULSS_envvar_t **>(calloc(size, sizeof *byName.slots));
    if (byName.slots == nullptr || (live + 1) * 2 > size) {
        free(byName.slots);
        byName = {nullptr, 0, 0, 1};
        return false;
    }
    byName.size = size;
    byName.filled = live;
    for (ZULSS_envvar_t *v = env->first; v != env->end; v = v->next)
        *index_slot(v->name, v->nameLength) = v;
    return true;
}

static void index_drop(void)
{
    free(byName.slots);
    byName = {nullptr, 0, 0, 0};
}

// The variable `name`, through the index while there is one.
static ZULSS_envvar_t *find_var(ZULSS_env_t *env, const char *name, uint32_t length)
{
    if (!index_ready(env))
        return ZULSS_FindEnvVar(env, name, length);
    ZULSS_envvar_t *v = *index_slot(name, length);
    return v == &gravestone ? nullptr : v;
}

// Defines `name` with `value`.  A redefinition goes to the end of the
// list; an empty value removes the variable.  Without memory the new
// definition is lost, and so is an older one of the same name: what the
// files said last must not be silently replaced by what they said before.
static void define(ZULSS_env_t *env, const char *name, uint32_t nameLength, const char *value,
                   uint32_t valueLength)
{
    ZULSS_envvar_t **slot = index_ready(env) ? index_slot(name, nameLength) : nullptr;
    ZULSS_envvar_t *old = slot == nullptr ? ZULSS_FindEnvVar(env, name, nameLength)
                          : *slot == &gravestone ? nullptr : *slot;
    ZULSS_envvar_t *v = nullptr;
    if (valueLength != 0) {
        v = static_cast<ZULSS_envvar_t *>(
            malloc(sizeof(ZULSS_envvar_t) + nameLength + valueLength + 1));
        if (v != nullptr) {
            v->name = reinterpret_cast<char *>(v + 1);
            v->value = v->name + nameLength;
            v->nameLength = nameLength;
            v->valueLength = valueLength;
            memcpy(v->name, name, nameLength);
            memcpy(v->value, value, valueLength);
            v->value[valueLength] = '\0';
            v->next = sentinel(env);
            v->prior = env->last;
            env->last->next = v;
            env->last = v;
        }
    }
    if (slot != nullptr) {
        if (v != nullptr) {
            if (*slot == nullptr)
                byName.filled++;
            *slot = v;
        } else if (old != nullptr) {
            *slot = &gravestone;
        }
    }
    if (old != nullptr)
        unlink_var(old);
}

// Adds `path` to the list of files read, kept as ZUL_ENVPATH: the old
// value, one blank and the path; the path alone if there was none or the
// joined text finds no memory.
static void record_path(ZULSS_env_t *env, const char *path)
{
    uint32_t pathLength = static_cast<uint32_t>(strlen(path));
    ZULSS_envvar_t *old = find_var(env, envPathName, envPathLength);
    if (old != nullptr) {
        uint32_t joinedLength = old->valueLength + 1 + pathLength;
        char *joined = static_cast<char *>(malloc(joinedLength));
        if (joined != nullptr) {
            memcpy(joined, old->value, old->valueLength);
            joined[old->valueLength] = ' ';
            memcpy(joined + old->valueLength + 1, path, pathLength);
            define(env, envPathName, envPathLength, joined, joinedLength);
            free(joined);
            return;
        }
    }
    define(env, envPathName, envPathLength, path, pathLength);
}

// ------------------------------------------------------------------
// Notes on files passed over or cut short
// ------------------------------------------------------------------

// The files are read while the trace may itself be starting (it reads
// its settings through a lookup), or during the library's load, while the
// trace is held off, so nothing can be written to it then.  What there is
// to say is kept here and written by an epilog once a sync works: the
// reading schedules it, and so does the trace's start.

enum {
    NOTE_NOT_REGULAR,
    NOTE_BEING_READ,
    NOTE_TOO_DEEP,
    NOTE_CUT,
    NOTE_BUDGET,
};

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
        case NOTE_NOT_REGULAR:
            RAS1_Log(&entry, __LINE__, RAS1_ERROR,
                     "Environment file not read, not a regular file: %s\n", n->path);
            break;
        case NOTE_BEING_READ:
            RAS1_Log(&entry, __LINE__, RAS1_ERROR,
                     "Environment file not read, already being read: %s\n", n->path);
            break;
        case NOTE_TOO_DEEP:
            RAS1_Log(&entry, __LINE__, RAS1_ERROR,
                     "Environment file not read, nested too deeply: %s\n", n->path);
            break;
        case NOTE_CUT:
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

static void note(int kind, const char *path, size_t length)
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
// Files
// ------------------------------------------------------------------

// One reading of the environment files, by the constructor.
typedef struct {
    ZULSS_env_t *env;
    // The files now being read, the outermost first: a file that
    // includes itself, directly or through others, is found here.
    ZULPL_fileid_t open[ZULSS_ENV_NESTING + 1];
    uint32_t depth;     // entries of `open`
    uint32_t files;     // files read so far
    uint32_t bytesLeft; // of ZULSS_ENV_MAX_BYTES
    int budgetNoted;
} reading_t;

// One open file.
typedef struct {
    FILE *file;
    uint32_t left;      // bytes it may still give
    int dropping;       // behind a zero byte, up to the line feed
    char shown[NOTE_PATH]; // its path for a note, cut to fit
} source_t;

static int read_file(reading_t *r, const char *path);

// One logical line of `length` bytes in the buffer.
static void process_line(reading_t *r, uint32_t length)
{
    if (length < 2)
        return;
    char *line = r->env->buffer;
    char *equals = static_cast<char *>(memchr(line, '=', length));
    if (equals == nullptr)
        return;

    const char *cursor = line;
    uint32_t left = static_cast<uint32_t>(equals - line);
    const char *name;
    uint32_t nameLength;
    if (BSS1_Tokenize(&cursor, &left, &name, &nameLength, nullptr) != STC1_Success)
        return;

    const char *value = equals + 1;
    const char *end = line + length;
    while (value < end && isspace(static_cast<unsigned char>(*value)))
        value++;
    uint32_t valueLength = static_cast<uint32_t>(end - value);

    if (valueLength != 0 && nameLength == envPathLength &&
        BSS1_Match(name, envPathName, envPathLength) == 0) {
        // An include.  The path lies in the shared buffer, which the
        // included file overwrites; it is used up (opened, checked and
        // recorded) before the first line of that file is read.  Beyond
        // the deepest level the include is passed over and the including
        // file reads on.
        if (r->depth > ZULSS_ENV_NESTING) {
            note(NOTE_TOO_DEEP, value, valueLength);
            return;
        }
        line[length] = '\0';
        read_file(r, value);
        return;
    }
    define(r->env, name, nameLength, value, valueLength);
}

// Makes at least ZULSS_ENV_STEP bytes free behind `length`.  There is no
// sane way on without a line buffer: the process ends.
static void make_room(ZULSS_env_t *env, uint32_t length)
{
    while (env->capacity - length < ZULSS_ENV_STEP) {
        char *grown = static_cast<char *>(realloc(env->buffer, env->capacity + ZULSS_ENV_STEP));
        if (grown == nullptr) {
            fprintf(stderr, "environment line buffer of %lu bytes: out of memory\n",
                    static_cast<unsigned long>(env->capacity) + ZULSS_ENV_STEP);
            fflush(stderr);
            abort();
        }
        env->buffer = grown;
        env->capacity += ZULSS_ENV_STEP;
    }
}

// Why read_physical stopped.
enum {
    LINE_GOES_ON, // the free space is full
    LINE_ENDED,   // a line feed, stored
    FILE_ENDED,   // end of file
    FILE_CUT,     // the file's or the reading's bytes are spent
};

// Reads the rest of one physical line into the buffer behind `*length`,
// keeping one byte free for a terminator.  A zero byte and what follows
// it up to the line feed are read but not kept, so a line stays one line
// whatever bytes it holds.
static int read_physical(reading_t *r, source_t *s, uint32_t *length)
{
    ZULSS_env_t *env = r->env;
    char *buffer = env->buffer;
    while (*length + 1 < env->capacity) {
        int c = getc_unlocked(s->file);
        if (c == EOF)
            return FILE_ENDED;
        if (s->left == 0 || r->bytesLeft == 0) {
            if (s->left == 0) {
                note(NOTE_CUT, s->shown, strlen(s->shown));
            } else if (!r->budgetNoted) {
                r->budgetNoted = 1;
                note(NOTE_BUDGET, s->shown, strlen(s->shown));
            }
            return FILE_CUT;
        }
        s->left--;
        r->bytesLeft--;
        if (c == '\n') {
            s->dropping = 0;
            buffer[(*length)++] = '\n';
            return LINE_ENDED;
        }
        if (c == '\0')
            s->dropping = 1;
        if (!s->dropping)
            buffer[(*length)++] = static_cast<char>(c);
    }
    return LINE_GOES_ON;
}

// Assembles the logical lines of an open file and processes each.
static void read_lines(reading_t *r, source_t *s)
{
    ZULSS_env_t *env = r->env;
    uint32_t length = 0;
    for (;;) {
        make_room(env, length);
        int ended = read_physical(r, s, &length);
        if (ended == LINE_GOES_ON)
            continue;
        if (ended == FILE_CUT)
            return; // a line cut short is not taken
        if (ended == FILE_ENDED) {
            // What is gathered.  A last line without a line feed is taken
            // as it stands, trailing blanks and backslashes included.
            process_line(r, length);
            return;
        }
        length--; // the line feed
        while (length > 0 && isspace(static_cast<unsigned char>(env->buffer[length - 1])))
            length--;
        uint32_t backslashes = 0;
        while (backslashes < length && env->buffer[length - 1 - backslashes] == '\\')
            backslashes++;
        if (backslashes % 2 == 1) {
            length--; // the next physical line follows directly
            continue;
        }
        if (length == 0)
            continue;
        process_line(r, length);
        length = 0;
    }
}

// Reads one file; returns 1 if it was read.  A null path, a file that
// doesn't open and one that isn't a regular file count as not read; so
// does a file already being read, and any file once the reading's budget
// is spent.
static int read_file(reading_t *r, const char *path)
{
    if (path == nullptr)
        return 0;
    if (r->files >= ZULSS_ENV_MAX_FILES || r->bytesLeft == 0) {
        if (!r->budgetNoted) {
            r->budgetNoted = 1;
            note(NOTE_BUDGET, path, strlen(path));
        }
        return 0;
    }
    ZULPL_fileid_t id;
    int found;
    FILE *file = ZULPL_OpenText(path, &id, &found);
    if (file == nullptr) {
        if (found == ZULPL_TEXT_NOT_REGULAR)
            note(NOTE_NOT_REGULAR, path, strlen(path));
        return 0;
    }
    for (uint32_t i = 0; i < r->depth; i++)
        if (r->open[i].device == id.device && r->open[i].inode == id.inode) {
            fclose(file);
            note(NOTE_BEING_READ, path, strlen(path));
            return 0;
        }

    source_t s;
    s.file = file;
    s.left = ZULPL_TEXT_LIMIT;
    s.dropping = 0;
    size_t shown = strlen(path);
    if (shown >= sizeof s.shown)
        shown = sizeof s.shown - 1;
    memcpy(s.shown, path, shown);
    s.shown[shown] = '\0';

    record_path(r->env, path);
    r->open[r->depth++] = id;
    r->files++;
    read_lines(r, &s);
    r->depth--;
    fclose(file);
    return 1;
}

// ------------------------------------------------------------------
// The system table
// ------------------------------------------------------------------

size_t ZULSS_SystemEnvPath(const char *table, const char *program, char *out, size_t size)
{
    if (table == nullptr || program == nullptr || *program == '\0' || size == 0)
        return 0;
    // The table is read like the files it names: a regular file only.
    int kind;
    FILE *file = ZULPL_OpenText(table, nullptr, &kind);
    if (file == nullptr)
        return 0;
    size_t found = 0;
    uint32_t programLength = static_cast<uint32_t>(strlen(program));
    char line[1024];
    while (found == 0 && fgets(line, sizeof line, file) != nullptr) {
        size_t n = strlen(line);
        if (n + 1 == sizeof line && line[n - 1] != '\n') {
            // Longer than any entry we take: skip the rest of it.
            int c;
            while ((c = fgetc(file)) != EOF && c != '\n') {
            }
            continue;
        }
        while (n > 0 && isspace(static_cast<unsigned char>(line[n - 1])))
            n--;
        char *equals = static_cast<char *>(memchr(line, '=', n));
        if (line[0] == '#' || equals == nullptr)
            continue;
        const char *cursor = line;
        uint32_t left = static_cast<uint32_t>(equals - line);
        const char *name;
        uint32_t nameLength;
        if (BSS1_Tokenize(&cursor, &left, &name, &nameLength, nullptr) != STC1_Success ||
            nameLength != programLength || BSS1_Match(name, program, programLength) != 0)
            continue;
        const char *value = equals + 1;
        while (value < line + n && isspace(static_cast<unsigned char>(*value)))
            value++;
        size_t valueLength = static_cast<size_t>(line + n - value);
        if (valueLength == 0 || valueLength > 255 || valueLength >= size)
            break;
        memcpy(out, value, valueLength);
        out[valueLength] = '\0';
        found = valueLength;
    }
    fclose(file);
    return found;
}

// ------------------------------------------------------------------
// Construction
// ------------------------------------------------------------------

// Reads the file named by the process environment variable
// "ZUL_ENVFILE_" + `suffix`.
static void read_named_by(reading_t *r, const char *suffix)
{
    static const char prefix[] = "ZUL_ENVFILE_";
    size_t suffixLength = strlen(suffix);
    char *name = static_cast<char *>(malloc(sizeof prefix + suffixLength));
    if (name == nullptr)
        return;
    memcpy(name, prefix, sizeof prefix - 1);
    memcpy(name + sizeof prefix - 1, suffix, suffixLength + 1);
    read_file(r, getenv(name));
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

    const char *first = getenv(envPathName);

    BSS1_InitializeLock(&env->lock);
    env->first = env->last = sentinel(env);
    env->end = env;

    reading_t r;
    r.env = env;
    r.depth = 0;
    r.files = 0;
    r.bytesLeft = ZULSS_ENV_MAX_BYTES;
    r.budgetNoted = 0;

    // The first candidate that is read is the only one read.
    if (!read_file(&r, first) && !(systemPath[0] != '\0' && read_file(&r, systemPath)) &&
        !read_file(&r, ZULSS_ENV_DEFAULT1))
        read_file(&r, ZULSS_ENV_DEFAULT2);

    read_file(&r, getenv("ZUL_ENVFILE"));
    ZULRA_build_t *build = nullptr;
    ZULRA_BuildInfo(&build);
    read_named_by(&r, ZULRA_BuildValue(build, ZULRA_BUILD_SERIAL));
    read_named_by(&r, ZULRA_BuildValue(build, ZULRA_BUILD_ENVIRONMENT_FILE));
    index_drop();

    static const char ignore[] = "ZUL_IGNOREHOSTENVIRONMENT";
    if (ZULSS_FindEnvVar(env, ignore, sizeof ignore - 1) == nullptr)
        env->useHost = 1;
}

static constinit ZULSS_descriptor_t realDescriptor = {
    sizeof(ZULSS_env_t), construct_env, nullptr, 0, 0};

static void forward_env(void *word)
{
    *static_cast<uintptr_t *>(word) =
        reinterpret_cast<uintptr_t>(BSS1_ResolveProcess(&realDescriptor, __FILE__, __LINE__));
}

constinit ZULSS_descriptor_t ZULSS_envDescriptor = {0, forward_env, nullptr, 0, 0};

#ifdef ZUL_FUZZING
// Fuzzing builds only: forget what the files defined and read them again,
// as the first lookup of a new process would.  The fuzz harness calls it
// between inputs, with no lookup running; values handed out before are
// gone.  Static state that the reading keeps must be reset here too.
void ZULSS_RereadEnv(void)
{
    ZULSS_env_t *env = ZULSS_Env();
    while (env->first != env->end)
        unlink_var(env->first);
    free(env->buffer);
    BSS1_DestroyLock(&env->lock);
    memset(env, 0, sizeof *env);
    index_drop();
    noteCount = 0;
    notesDone = 0;
    construct_env(env);
}
#endif
