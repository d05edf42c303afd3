// PRM1_OpenFile: opens a parameter file, or standard input.
#include "prm/zulpm.h"
#include "platform/zulplat.h"

#include <stdlib.h>
#include <string.h>

int PRM1_OpenFile(ZULPM_file_t **file, const char *path)
{
    if (file == nullptr)
        return 1;
    *file = nullptr;
    const char *name = path != nullptr ? path : "<stdin>";
    size_t size = strlen(name) + 1;

    // The record comes first, so that a shortage is told from a file that
    // doesn't open.
    ZULPM_file_t *record = static_cast<ZULPM_file_t *>(malloc(sizeof(ZULPM_file_t) + size));
    if (record == nullptr)
        return 2;
    memset(record, 0, sizeof *record);
    record->name = reinterpret_cast<char *>(record + 1);
    memcpy(record->name, name, size);

    record->stream = path != nullptr ? ZULPL_OpenStream(path) : stdin;
    if (record->stream == nullptr) {
        free(record);
        return 1;
    }
    *file = record;
    return 0;
}
