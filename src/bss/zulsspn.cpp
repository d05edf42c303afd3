// ZULSS_ProgramBase and ZULSS_NameOfPath: the program's name, by the one
// rule that the log header, the environment's system table, the failure
// report and the console socket share.
//
// The name is the executable's file name without its extension, so that
// /opt/kx/bin/agent.bin is "agent" wherever the library names it: in
// "Program Name", in the line of /etc/zul/ZUL_ENVPATH that is looked up,
// in agent.ras and in agent.<pid>.sock.  A name that starts with "." keeps
// it (".hidden" stays whole); only the file name counts, so a dot in a
// directory does not cut anything.  Blanks and control bytes would split
// the name where it is a word of a file or a table, so they become "_".
#include "bss/zulss.h"
#include "internal/zulprogram.h"
#include "platform/zulplat.h"

#include <string.h>

size_t ZULSS_NameOfPath(const char *path, char *out, size_t size)
{
    if (size == 0)
        return 0;
    const char *base = path != nullptr ? strrchr(path, '/') : nullptr;
    base = base != nullptr ? base + 1 : path != nullptr ? path : "";
    size_t length = strlen(base);
    const char *dot = strrchr(base, '.');
    if (dot != nullptr && dot != base)
        length = static_cast<size_t>(dot - base);
    if (length == 0) {
        base = "zul";
        length = 3;
    }
    if (length > size - 1)
        length = size - 1;
    for (size_t i = 0; i < length; i++) {
        unsigned char c = static_cast<unsigned char>(base[i]);
        out[i] = c <= ' ' || c == 0x7F ? '_' : static_cast<char>(c);
    }
    out[length] = '\0';
    return length;
}

size_t ZULSS_ProgramBase(char *out, size_t size)
{
    char path[4096];
    if (ZULPL_ProgramPath(path, sizeof path) != 0)
        return ZULSS_NameOfPath(path, out, size);
    return ZULSS_NameOfPath(ZULSS_ProgramArg0(), out, size);
}
