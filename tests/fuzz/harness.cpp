// Helpers shared by the fuzz targets: working directory, input files and
// the splitting of inputs (see harness.h).
#include "harness.h"

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static char dir[PATH_MAX], home[PATH_MAX];
static char paths[8][PATH_MAX]; // the files written, for the clean-up at exit
static int written;

static void remove_dir()
{
    for (int i = 0; i < written; i++)
        unlink(paths[i]);
    rmdir(dir);
}

// Files are rewritten for every input, so the directory is in memory
// (/dev/shm) where there is one.
static void make_dir()
{
    if (dir[0] != '\0')
        return;
    const char *parent = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    snprintf(home, sizeof home, "%s/zulfuzz.XXXXXX", parent);
    ZUL_FUZZ_CHECK(mkdtemp(home) != nullptr && realpath(home, dir) != nullptr);
    ZUL_FUZZ_CHECK(getcwd(home, sizeof home) != nullptr);
    atexit(remove_dir);
}

const char *zul_fuzz_write(const char *name, const void *data, size_t size)
{
    make_dir();
    int slot = 0;
    while (slot < written && strcmp(paths[slot] + strlen(dir) + 1, name) != 0)
        slot++;
    if (slot == written) {
        ZUL_FUZZ_CHECK(written < 8);
        snprintf(paths[written++], PATH_MAX, "%s/%s", dir, name);
    }
    FILE *file = fopen(paths[slot], "wb");
    ZUL_FUZZ_CHECK(file != nullptr && fwrite(data, 1, size, file) == size && fclose(file) == 0);
    return paths[slot];
}

void zul_fuzz_enter(bool inside)
{
    ZUL_FUZZ_CHECK(dir[0] != '\0' && chdir(inside ? dir : home) == 0);
}

size_t zul_fuzz_split(const uint8_t *data, size_t size, const uint8_t **parts, size_t *sizes,
                      size_t max)
{
    size_t count = 0;
    const uint8_t *start = data, *end = data + size, *nl;
    for (const uint8_t *line = data; count + 1 < max; line = nl + 1) {
        if ((nl = static_cast<const uint8_t *>(memchr(line, '\n', end - line))) == nullptr)
            break;
        if (nl - line == 4 && memcmp(line, "----", 4) == 0) {
            parts[count] = start;
            sizes[count++] = line - start;
            start = nl + 1;
        }
    }
    parts[count] = start;
    sizes[count] = end - start;
    return count + 1;
}
