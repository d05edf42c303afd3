/* The probe of the loading test: gives the signals dispositions of its
 * own (a handler, ignore or the default, in turn), loads the library named
 * by its argument, and fails if loading changed any; then it uses SIG1
 * once and lists the host signals whose disposition that changed. */
#define _POSIX_C_SOURCE 200809L
#include <dlfcn.h>
#include <signal.h>
#include <stdio.h>

static void own_handler(int signal) { (void)signal; }

static void (*const kOwn[3])(int) = {own_handler, SIG_IGN, SIG_DFL};

static int changed(int h)
{
    struct sigaction now;
    sigaction(h, NULL, &now);
    return now.sa_handler != kOwn[h % 3] || (now.sa_flags & SA_SIGINFO);
}

int main(int argc, char **argv)
{
    for (int h = 1; h < 32; h++)
        signal(h, kOwn[h % 3]);
    void *library = argc > 1 ? dlopen(argv[1], RTLD_NOW) : NULL;
    if (library == NULL)
        return 3;
    for (int h = 1; h < 32; h++)
        if (h != SIGKILL && h != SIGSTOP && changed(h))
            return 4;
    int (*query)(void *, unsigned) = (int (*)(void *, unsigned))dlsym(library, "SIG1_Query");
    char record[28];
    if (query == NULL || query(record, sizeof record) != 0)
        return 5;
    printf("used:");
    for (int h = 1; h < 32; h++)
        if (h != SIGKILL && h != SIGSTOP && changed(h))
            printf(" %d", h);
    printf("\n");
    return 0;
}
