/*
 * loaded_probe - a program built on the shared library, as a user's
 * program is: the library's load reads the environment files with the
 * trace held off.  With the argument "own-store" it registers a store of
 * its own on standard output before its first traced call; then it makes
 * one traced call and writes one line of its own.
 */
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <zul/bss1.h>
#include <zul/ras1.h>

RAS1_DECLARE_UNIT(RAS1_APPLICATION, "1", "PROBE");

static int write_out(void *data, const char *text, uint32_t length, ZULRA_entry_t *entry,
                     uint32_t flags)
{
    (void)data, (void)entry, (void)flags;
    return write(1, text, length) == (ssize_t)length ? 0 : 8;
}

int main(int argc, char **argv)
{
    RAS1_DECLARE_ENTRY(entry, "main", RAS1_PUBLIC);
    if (argc > 1 && strcmp(argv[1], "own-store") == 0)
        RAS1_RegisterStore("probe", 5, NULL, write_out, RAS1_ANY);
    fflush(stdout);
    (void)BSS1_GetEnv("ZUL_LOADED_PROBE", NULL);
    RAS1_Printf(&entry, __LINE__, "probe done\n");
    fflush(stdout);
    return 0;
}
