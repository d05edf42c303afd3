// zulssef - environment files: their logical lines, NAME=value settings
// and includes, read so that no set of files can keep the reading going.
//
// Only regular files are read, a file already being read is not read
// again by an inclusion, one file gives at most ZULPL_TEXT_LIMIT bytes,
// and the whole reading at most ZULSS_ENV_MAX_FILES files and
// ZULSS_ENV_MAX_BYTES bytes.  What is passed over or cut short is noted
// for the trace (zulssev).
#include "bss/zulssenv.h"
#include "internal/zulascii.h"

#include <stdlib.h>
#include <string.h>

static const char envPathName[] = "ZUL_ENVPATH";
static const uint32_t envPathLength = sizeof envPathName - 1;

bool ZULSS_SplitSetting(const char *line, uint32_t length, ZULSS_setting_t *setting)
{
    const char *equals = static_cast<const char *>(memchr(line, '=', length));
    if (equals == nullptr)
        return false;
    const char *cursor = line;
    uint32_t left = static_cast<uint32_t>(equals - line);
    if (BSS1_Tokenize(&cursor, &left, &setting->name, &setting->nameLength, nullptr) != STC1_Success)
        return false;
    const char *value = equals + 1;
    const char *end = line + length;
    while (value < end && ZUL_AsciiSpace(static_cast<unsigned char>(*value)))
        value++;
    setting->value = value;
    setting->valueLength = static_cast<uint32_t>(end - value);
    return true;
}

void ZULSS_BeginReading(ZULSS_reading_t *reading, ZULSS_env_t *env)
{
    reading->env = env;
    reading->depth = 0;
    reading->files = 0;
    reading->bytesLeft = ZULSS_ENV_MAX_BYTES;
    reading->budgetNoted = 0;
}

// One open file.
typedef struct {
    FILE *file;
    uint32_t left;      // bytes it may still give
    int dropping;       // behind a zero byte, up to the line feed
    char shown[256];    // its path for a note, cut to fit
} source_t;

static void note_budget(ZULSS_reading_t *r, const char *path)
{
    if (!r->budgetNoted) {
        r->budgetNoted = 1;
        ZULSS_NoteEnvFile(ZULSS_NOTE_BUDGET, path, strlen(path));
    }
}

// Adds `path` to the list of files read, kept as ZUL_ENVPATH: the old
// value, one blank and the path; the path alone if there was none or the
// joined text finds no memory.
static void record_path(ZULSS_env_t *env, const char *path)
{
    uint32_t pathLength = static_cast<uint32_t>(strlen(path));
    ZULSS_envvar_t *old = ZULSS_FindEnvVarIndexed(env, envPathName, envPathLength);
    if (old != nullptr) {
        uint32_t joinedLength = old->valueLength + 1 + pathLength;
        char *joined = static_cast<char *>(malloc(joinedLength));
        if (joined != nullptr) {
            memcpy(joined, old->value, old->valueLength);
            joined[old->valueLength] = ' ';
            memcpy(joined + old->valueLength + 1, path, pathLength);
            ZULSS_DefineEnvVar(env, envPathName, envPathLength, joined, joinedLength);
            free(joined);
            return;
        }
    }
    ZULSS_DefineEnvVar(env, envPathName, envPathLength, path, pathLength);
}

// One logical line of `length` bytes in the buffer.
static void process_line(ZULSS_reading_t *r, uint32_t length)
{
    char *line = r->env->buffer;
    ZULSS_setting_t setting;
    if (!ZULSS_SplitSetting(line, length, &setting))
        return;

    if (setting.valueLength != 0 && setting.nameLength == envPathLength &&
        BSS1_Match(setting.name, envPathName, envPathLength) == 0) {
        // An include.  The path lies in the shared buffer, which the
        // included file overwrites; it is used up (opened, checked and
        // recorded) before the first line of that file is read.  Beyond
        // the deepest level the include is passed over and the including
        // file reads on.
        if (r->depth > ZULSS_ENV_NESTING) {
            ZULSS_NoteEnvFile(ZULSS_NOTE_TOO_DEEP, setting.value, setting.valueLength);
            return;
        }
        line[length] = '\0';
        ZULSS_ReadEnvFile(r, setting.value);
        return;
    }
    ZULSS_DefineEnvVar(r->env, setting.name, setting.nameLength, setting.value, setting.valueLength);
}

// Makes at least ZULSS_ENV_STEP bytes free behind `length`.  There is no
// sane way on without a line buffer: the process ends.
static void make_room(ZULSS_env_t *env, uint32_t length)
{
    while (env->capacity - length < ZULSS_ENV_STEP) {
        char *grown = static_cast<char *>(realloc(env->buffer, env->capacity + ZULSS_ENV_STEP));
        if (grown == nullptr)
            ZULPL_Abort("environment line buffer of %lu bytes: out of memory\n",
                        static_cast<unsigned long>(env->capacity) + ZULSS_ENV_STEP);
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
static int read_physical(ZULSS_reading_t *r, source_t *s, uint32_t *length)
{
    ZULSS_env_t *env = r->env;
    char *buffer = env->buffer;
    while (*length + 1 < env->capacity) {
        int c = getc_unlocked(s->file);
        if (c == EOF)
            return FILE_ENDED;
        if (s->left == 0) {
            ZULSS_NoteEnvFile(ZULSS_NOTE_CUT, s->shown, strlen(s->shown));
            return FILE_CUT;
        }
        if (r->bytesLeft == 0) {
            note_budget(r, s->shown);
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
static void read_lines(ZULSS_reading_t *r, source_t *s)
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
        while (length > 0 && ZUL_AsciiSpace(static_cast<unsigned char>(env->buffer[length - 1])))
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

int ZULSS_ReadEnvFile(ZULSS_reading_t *r, const char *path)
{
    if (path == nullptr)
        return 0;
    if (r->files >= ZULSS_ENV_MAX_FILES || r->bytesLeft == 0) {
        note_budget(r, path);
        return 0;
    }
    ZULPL_fileid_t id;
    int found;
    FILE *file = ZULPL_OpenText(path, &id, &found);
    if (file == nullptr) {
        if (found == ZULPL_TEXT_NOT_REGULAR)
            ZULSS_NoteEnvFile(ZULSS_NOTE_NOT_REGULAR, path, strlen(path));
        return 0;
    }
    for (uint32_t i = 0; i < r->depth; i++)
        if (r->open[i].device == id.device && r->open[i].inode == id.inode) {
            fclose(file);
            ZULSS_NoteEnvFile(ZULSS_NOTE_BEING_READ, path, strlen(path));
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
