/*
 * zulssev - the environment block: its construction, the reading of
 * environment files, and the definition of variables.
 *
 * The block is built at the first lookup, under once-only construction,
 * so this code runs alone and takes no lock.  Once it has ended the list
 * never changes again: lookups may hand out pointers into it for good.
 */
#include "bss/zulssenv.h"

#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include "platform/zulplat.h"
#include "ras/zulra.h"

/* Depth of included files now being read.  Touched only by the
 * constructor, which runs once per process. */
static constinit int nesting = 0;

static const char envPathName[] = "ZUL_ENVPATH";
static const uint32_t envPathLength = sizeof envPathName - 1;

/* ------------------------------------------------------------------ */
/* The list                                                            */
/* ------------------------------------------------------------------ */

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
    /* Lengths first, then the last byte: names of one family share their
     * beginnings and tend to differ at the end, so most candidates are
     * turned away before the full comparison. */
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

/* Defines `name` with `value`.  A redefinition goes to the end of the
 * list; an empty value removes the variable.  Without memory the new
 * definition is lost, and so is an older one of the same name: what the
 * files said last must not be silently replaced by what they said before. */
static void define(ZULSS_env_t *env, const char *name, uint32_t nameLength, const char *value,
                   uint32_t valueLength)
{
    ZULSS_envvar_t *old = ZULSS_FindEnvVar(env, name, nameLength);
    if (valueLength != 0) {
        ZULSS_envvar_t *v = static_cast<ZULSS_envvar_t *>(
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
    if (old != nullptr)
        unlink_var(old);
}

/* Adds `path` to the list of files read, kept as ZUL_ENVPATH: the old
 * value, one blank and the path; the path alone if there was none or the
 * joined text finds no memory. */
static void record_path(ZULSS_env_t *env, const char *path)
{
    uint32_t pathLength = static_cast<uint32_t>(strlen(path));
    ZULSS_envvar_t *old = ZULSS_FindEnvVar(env, envPathName, envPathLength);
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

/* ------------------------------------------------------------------ */
/* Files                                                               */
/* ------------------------------------------------------------------ */

static int read_file(ZULSS_env_t *env, const char *path);

/* One logical line of `length` bytes in the buffer. */
static void process_line(ZULSS_env_t *env, uint32_t length)
{
    if (length < 2)
        return;
    char *line = env->buffer;
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
        /* An include.  The path lies in the shared buffer, which the
         * included file overwrites; it is used up (opened and recorded)
         * before the first line of that file is read.  Beyond the deepest
         * level the include is passed over, so a file that includes
         * itself is read a bounded number of times. */
        if (nesting >= ZULSS_ENV_NESTING)
            return;
        line[length] = '\0';
        nesting++;
        read_file(env, value);
        nesting--;
        return;
    }
    define(env, name, nameLength, value, valueLength);
}

/* Makes at least ZULSS_ENV_STEP bytes free behind `length`.  There is no
 * sane way on without a line buffer: the process ends. */
static void make_room(ZULSS_env_t *env, uint32_t length)
{
    while (env->capacity - length < ZULSS_ENV_STEP) {
        char *grown = static_cast<char *>(realloc(env->buffer, env->capacity + ZULSS_ENV_STEP));
        if (grown == nullptr)
            abort();
        env->buffer = grown;
        env->capacity += ZULSS_ENV_STEP;
    }
}

/* Assembles the logical lines of an open file and processes each. */
static void read_lines(ZULSS_env_t *env, FILE *file)
{
    uint32_t length = 0;
    for (;;) {
        make_room(env, length);
        char *free_space = env->buffer + length;
        if (fgets(free_space, static_cast<int>(env->capacity - length), file) == nullptr) {
            process_line(env, length);
            return;
        }
        length += static_cast<uint32_t>(strlen(free_space));
        if (length == 0 || env->buffer[length - 1] != '\n') {
            if (length + 1 == env->capacity)
                continue; /* the buffer filled up: the line goes on */
            /* A last line without a line feed is taken as it stands,
             * trailing blanks and backslashes included. */
            process_line(env, length);
            length = 0;
            continue;
        }
        length--; /* the line feed */
        while (length > 0 && isspace(static_cast<unsigned char>(env->buffer[length - 1])))
            length--;
        uint32_t backslashes = 0;
        while (backslashes < length && env->buffer[length - 1 - backslashes] == '\\')
            backslashes++;
        if (backslashes % 2 == 1) {
            length--; /* the next physical line follows directly */
            continue;
        }
        if (length == 0)
            continue;
        process_line(env, length);
        length = 0;
    }
}

/* Reads one file; returns 1 if it opened.  A null path does not open. */
static int read_file(ZULSS_env_t *env, const char *path)
{
    if (path == nullptr)
        return 0;
    FILE *file = fopen(path, "r");
    if (file == nullptr)
        return 0;
    record_path(env, path);
    read_lines(env, file);
    fclose(file);
    return 1;
}

/* ------------------------------------------------------------------ */
/* Program name and the system table                                   */
/* ------------------------------------------------------------------ */

size_t ZULSS_ProgramStem(const char *path, char *out, size_t size)
{
    if (size == 0)
        return 0;
    size_t length = strlen(path);
    const char *dot = strrchr(path, '.');
    if (dot != nullptr)
        length = static_cast<size_t>(dot - path);
    const char *start = path;
    for (const char *p = path; p < path + length; p++)
        if (*p == '\\')
            start = p + 1;
    for (const char *p = start; p < path + length; p++)
        if (*p == '/')
            start = p + 1;
    length -= static_cast<size_t>(start - path);
    if (length >= size)
        length = size - 1;
    memcpy(out, start, length);
    out[length] = '\0';
    return length;
}

size_t ZULSS_SystemEnvPath(const char *table, const char *program, char *out, size_t size)
{
    if (table == nullptr || program == nullptr || *program == '\0' || size == 0)
        return 0;
    FILE *file = fopen(table, "r");
    if (file == nullptr)
        return 0;
    size_t found = 0;
    uint32_t programLength = static_cast<uint32_t>(strlen(program));
    char line[1024];
    while (found == 0 && fgets(line, sizeof line, file) != nullptr) {
        size_t n = strlen(line);
        if (n + 1 == sizeof line && line[n - 1] != '\n') {
            /* Longer than any entry we take: skip the rest of it. */
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

/* ------------------------------------------------------------------ */
/* Construction                                                        */
/* ------------------------------------------------------------------ */

/* Value `index` of the library's build record, "" where it has none. */
static const char *build_value(uint32_t index)
{
    ZULRA_build_t *build = nullptr;
    ZULRA_BuildInfo(&build);
    if (build == nullptr || index >= build->valueCount || build->values[index] == nullptr)
        return "";
    return build->values[index];
}

/* Reads the file named by the process environment variable
 * "ZUL_ENVFILE_" + `suffix`. */
static void read_named_by(ZULSS_env_t *env, const char *suffix)
{
    static const char prefix[] = "ZUL_ENVFILE_";
    size_t suffixLength = strlen(suffix);
    char *name = static_cast<char *>(malloc(sizeof prefix + suffixLength));
    if (name == nullptr)
        return;
    memcpy(name, prefix, sizeof prefix - 1);
    memcpy(name + sizeof prefix - 1, suffix, suffixLength + 1);
    read_file(env, getenv(name));
    free(name);
}

static void construct_env(void *block)
{
    ZULSS_env_t *env = static_cast<ZULSS_env_t *>(block);

    /* The program's name and its entry in the system table. */
    char path[256];
    char program[256];
    char systemPath[256];
    systemPath[0] = '\0';
    if (ZULPL_ProgramPath(path, sizeof path) > 0 &&
        ZULSS_ProgramStem(path, program, sizeof program) > 0)
        ZULSS_SystemEnvPath(ZULSS_ENV_SYSTEM_TABLE, program, systemPath, sizeof systemPath);

    const char *first = getenv(envPathName);

    BSS1_InitializeLock(&env->lock);
    env->first = env->last = sentinel(env);
    env->end = env;

    /* The first candidate that opens is the only one read. */
    if (!read_file(env, first) && !(systemPath[0] != '\0' && read_file(env, systemPath)) &&
        !read_file(env, ZULSS_ENV_DEFAULT1))
        read_file(env, ZULSS_ENV_DEFAULT2);

    read_file(env, getenv("ZUL_ENVFILE"));
    read_named_by(env, build_value(16)); /* the build serial number */
    read_named_by(env, build_value(3));  /* the environment filename */

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
    nesting = 0;
    construct_env(env);
}
#endif
