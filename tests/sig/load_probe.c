/* The probe of the loading test: gives every signal a disposition of its
 * own, loads the library given as argument, and says whether any
 * disposition changed; then uses SIG1 once and lists the host signals
 * whose disposition changed then. */
#include <dlfcn.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>

static void own_handler(int signal)
{
    (void)signal;
}

static int changed(int h, const struct sigaction *before)
{
    struct sigaction now;
    sigaction(h, NULL, &now);
    return now.sa_handler != before->sa_handler || now.sa_flags != before->sa_flags;
}

int main(int argc, char **argv)
{
    struct sigaction before[32];
    if (argc < 2)
        return 2;
    for (int h = 1; h < 32; h++) {
        if (h != SIGKILL && h != SIGSTOP)
            signal(h, h % 3 == 0 ? own_handler : h % 3 == 1 ? SIG_IGN : SIG_DFL);
        sigaction(h, NULL, &before[h]);
    }
    void *library = dlopen(argv[1], RTLD_NOW);
    if (library == NULL)
        return 3;
    for (int h = 1; h < 32; h++)
        if (changed(h, &before[h]))
            printf("changed at load: %d\n", h);

    int (*query)(void *, unsigned) = (int (*)(void *, unsigned))dlsym(library, "SIG1_Query");
    char record[28];
    if (query == NULL || query(record, sizeof record) != 0)
        return 4;
    printf("used:");
    for (int h = 1; h < 32; h++)
        if (changed(h, &before[h]))
            printf(" %d", h);
    printf("\n");
    return 0;
}
