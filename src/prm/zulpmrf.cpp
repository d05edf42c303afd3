// PRM1_ReadFile: the next logical line of a parameter file.
//
// Physical lines are read into one buffer that keeps 256 bytes free for
// each read.  A line ending in an odd number of backslashes loses the last
// one and goes on with the next physical line; blank lines are skipped;
// the line feed and trailing white space are cut off.
#include "prm/zulpm.h"
#include "internal/zulascii.h"

#include <stdlib.h>

// Reads one physical line into `to`, at most `room` - 1 bytes and the line
// feed included, as fgets does but counting zero bytes too.  Returns the
// number of bytes read; 0 at the end of the file or on a read error.
static uint32_t read_physical(FILE *stream, char *to, uint32_t room)
{
    uint32_t n = 0;
    flockfile(stream);
    while (n + 1 < room) {
        int c = getc_unlocked(stream);
        if (c == EOF)
            break;
        to[n++] = static_cast<char>(c);
        if (c == '\n')
            break;
    }
    funlockfile(stream);
    return n;
}

// Enlarges the buffer until ZULPM_STEP bytes are free behind `length`.
static bool make_room(ZULPM_file_t *file, uint32_t length)
{
    while (file->capacity - length < ZULPM_STEP) {
        if (file->capacity > UINT32_MAX - ZULPM_STEP)
            return false;
        char *buffer = static_cast<char *>(realloc(file->buffer, file->capacity + ZULPM_STEP));
        if (buffer == nullptr)
            return false;
        file->buffer = buffer;
        file->capacity += ZULPM_STEP;
    }
    return true;
}

int PRM1_ReadFile(ZULPM_file_t *file, char **line, uint32_t *length, uint32_t *number)
{
    if (file == nullptr || line == nullptr || length == nullptr)
        return 1;
    uint32_t used = 0;
    bool numbered = false, shortage = false;
    bool midLine = false; // the next read is the rest of a line too long for the room

    for (;;) {
        if (!make_room(file, used)) {
            shortage = true;
            break;
        }
        uint32_t got = read_physical(file->stream, file->buffer + used, file->capacity - used);
        if (got == 0)
            break;
        used += got;
        if (!midLine)
            file->lineNumber++;

        if (file->buffer[used - 1] != '\n') {
            if (used + 1 == file->capacity) {
                midLine = true; // the room filled up: the line goes on
                continue;
            }
            break; // a last line without a line feed stays as it is
        }
        midLine = false;
        --used;
        while (used != 0 && ZUL_AsciiSpace(static_cast<unsigned char>(file->buffer[used - 1])))
            --used;
        if (used != 0 && !numbered) {
            if (number != nullptr)
                *number = file->lineNumber;
            numbered = true;
        }
        uint32_t backslashes = 0;
        while (backslashes < used && file->buffer[used - 1 - backslashes] == '\\')
            ++backslashes;
        if (backslashes % 2 == 1) {
            --used; // continued: the next physical line follows directly
            continue;
        }
        if (used != 0)
            break;
    }

    if (file->buffer != nullptr)
        file->buffer[used] = '\0';
    *line = file->buffer;
    *length = used;
    return used == 0 || shortage ? 1 : 0;
}
