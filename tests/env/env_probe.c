/*
 * env_probe - looks up each argument with BSS1_LocateEnv and prints one
 * line "<argument>=<value>" or "<argument>" alone when there is no value.
 * An argument "@getenv:NAME:FALLBACK" goes through BSS1_GetEnv instead.
 * Tests run it in a prepared directory with a prepared environment,
 * because the environment files are read once per process.
 */
#include <stdio.h>
#include <string.h>

#include <zul/bss1.h>

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; i++) {
        const char *value;
        if (strncmp(argv[i], "@getenv:", 8) != 0) {
            value = BSS1_LocateEnv(argv[i]);
        } else {
            char name[256];
            const char *colon = strchr(argv[i] + 8, ':');
            snprintf(name, sizeof name, "%.*s", colon ? (int)(colon - argv[i] - 8) : 255, argv[i] + 8);
            value = BSS1_GetEnv(name, colon ? colon + 1 : NULL);
        }
        printf(value ? "%s=%s\n" : "%s\n", argv[i], value);
    }
    return 0;
}
