// Helpers shared by the fuzz targets: working directory, input files and
// the guard on fopen (see harness.h).
#include "harness.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

extern "C" FILE *__real_fopen(const char *path, const char *mode);
extern "C" FILE *__wrap_fopen(const char *path, const char *mode);

namespace {

char dir[PATH_MAX];
size_t dirLength;
char written[8][64]; // names written, for the clean-up at exit
int writtenCount;
char pathBuffer[8][PATH_MAX];

bool guarding;
bool unguarded;
unsigned opensLeft;
int homeDir = -1; // the directory the process started in

void remove_dir()
{
    for (int i = 0; i < writtenCount; i++) {
        char path[PATH_MAX];
        snprintf(path, sizeof path, "%s/%s", dir, written[i]);
        unlink(path);
    }
    rmdir(dir);
}

// True if `path` names an existing file inside the directory.
bool inside(const char *path)
{
    char resolved[PATH_MAX];
    if (realpath(path, resolved) == nullptr)
        return false;
    return strncmp(resolved, dir, dirLength) == 0 && resolved[dirLength] == '/';
}

} // namespace

const char *zul_fuzz_dir(void)
{
    if (dir[0] != '\0')
        return dir;
    // Files are rewritten for every input: in memory (/dev/shm) that costs
    // nothing, while on a disk file system each rewrite may wait for the
    // disk.  ZUL_FUZZ_DIR names another parent.
    const char *parent = getenv("ZUL_FUZZ_DIR");
    if (parent == nullptr || *parent == '\0')
        parent = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    char pattern[PATH_MAX];
    snprintf(pattern, sizeof pattern, "%s/zulfuzz.XXXXXX", parent);
    if (mkdtemp(pattern) == nullptr || realpath(pattern, dir) == nullptr) {
        perror("zul fuzz: working directory");
        abort();
    }
    dirLength = strlen(dir);
    const char *off = getenv("ZUL_FUZZ_UNGUARDED");
    unguarded = off != nullptr && strcmp(off, "1") == 0;
    atexit(remove_dir);
    return dir;
}

const char *zul_fuzz_write(const char *name, const void *data, size_t size)
{
    zul_fuzz_dir();
    int slot = 0;
    while (slot < writtenCount && strcmp(written[slot], name) != 0)
        slot++;
    if (slot == writtenCount) {
        if (writtenCount == 8 || strlen(name) >= sizeof written[0])
            zul_fuzz_fail("room for another file name", __FILE__, __LINE__);
        snprintf(written[writtenCount++], sizeof written[0], "%s", name);
    }
    char *path = pathBuffer[slot];
    snprintf(path, PATH_MAX, "%s/%s", dir, name);
    FILE *file = __real_fopen(path, "wb");
    if (file == nullptr || fwrite(data, 1, size, file) != size || fclose(file) != 0) {
        perror(path);
        abort();
    }
    return path;
}

void zul_fuzz_begin(unsigned opens)
{
    zul_fuzz_dir();
    if (homeDir < 0)
        homeDir = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (homeDir < 0 || chdir(dir) != 0) {
        perror("zul fuzz: chdir");
        abort();
    }
    guarding = !unguarded;
    opensLeft = opens;
}

void zul_fuzz_end(void)
{
    guarding = false;
    if (fchdir(homeDir) != 0) {
        perror("zul fuzz: fchdir");
        abort();
    }
}

void zul_fuzz_fail(const char *what, const char *file, int line)
{
    fprintf(stderr, "zul fuzz: check failed at %s:%d: %s\n", file, line, what);
    abort();
}

size_t zul_fuzz_split(const uint8_t *data, size_t size, const uint8_t **parts, size_t *sizes,
                      size_t max)
{
    static const char mark[] = "----\n";
    const size_t markLength = sizeof mark - 1;
    size_t count = 0, start = 0, at = 0;
    while (at + markLength <= size && count + 1 < max) {
        bool lineStart = at == 0 || data[at - 1] == '\n';
        if (lineStart && memcmp(data + at, mark, markLength) == 0) {
            parts[count] = data + start;
            sizes[count] = at - start;
            count++;
            at += markLength;
            start = at;
            continue;
        }
        const void *nl = memchr(data + at, '\n', size - at);
        if (nl == nullptr)
            break;
        at = static_cast<size_t>(static_cast<const uint8_t *>(nl) - data) + 1;
    }
    parts[count] = data + start;
    sizes[count] = size - start;
    return count + 1;
}

// The library's fopen, with the guard on reading while an input runs.
extern "C" FILE *__wrap_fopen(const char *path, const char *mode)
{
    if (guarding && path != nullptr && mode != nullptr && mode[0] == 'r') {
        if (opensLeft == 0) {
            errno = EMFILE;
            return nullptr;
        }
        if (!inside(path)) {
            errno = EACCES;
            return nullptr;
        }
        opensLeft--;
    }
    return __real_fopen(path, mode);
}
