// zulssst - ZULSS_SystemEnvPath: the system table, which names for each
// program the environment file to try second.
//
// The table is read like the files it names: a regular file only, lines
// "program = path" of the same NAME=value form, and lines that begin
// with "#" are comments.
#include "bss/zulssenv.h"
#include "internal/zulascii.h"

#include <string.h>

size_t ZULSS_SystemEnvPath(const char *table, const char *program, char *out, size_t size)
{
    if (table == nullptr || program == nullptr || *program == '\0' || size == 0)
        return 0;
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
        while (n > 0 && ZUL_AsciiSpace(static_cast<unsigned char>(line[n - 1])))
            n--;
        ZULSS_setting_t setting;
        if (line[0] == '#' || !ZULSS_SplitSetting(line, static_cast<uint32_t>(n), &setting) ||
            setting.nameLength != programLength ||
            BSS1_Match(setting.name, program, programLength) != 0)
            continue;
        if (setting.valueLength == 0 || setting.valueLength > 255 || setting.valueLength >= size)
            break;
        memcpy(out, setting.value, setting.valueLength);
        out[setting.valueLength] = '\0';
        found = setting.valueLength;
    }
    fclose(file);
    return found;
}
