/* The probe of the loading test: gives the signals dispositions of its
 * own (a handler, ignore or the default, in turn), loads the library named
 * by its argument, and fails if loading changed any of them.  The fatal
 * signals that are not ignored are the exception: the failure report's
 * handler takes them at load, and runs the program's after its report;
 * with ZULWNT_SIGNALS=off it must leave them too. */
#define _POSIX_C_SOURCE 200809L
#include <dlfcn.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>

static void own_handler(int signal) { (void)signal; }

static int reported(int h)
{
    return h == SIGSEGV || h == SIGBUS || h == SIGILL || h == SIGFPE || h == SIGABRT ||
           h == SIGSYS || h == SIGTRAP;
}

int main(int argc, char **argv)
{
    void (*const own[3])(int) = {own_handler, SIG_IGN, SIG_DFL};
    struct sigaction now;
    for (int h = 1; h < 32; h++)
        signal(h, own[h % 3]);
    if (argc < 2 || !dlopen(argv[1], RTLD_NOW))
        return 3;
    const char *setting = getenv("ZULWNT_SIGNALS");
    const int reporting = setting == NULL || strcmp(setting, "off") != 0;
    for (int h = 1; h < 32; h++) {
        if (h == SIGKILL || h == SIGSTOP || sigaction(h, 0, &now) != 0)
            continue;
        const int taken = reporting && reported(h) && own[h % 3] != SIG_IGN;
        if ((now.sa_handler == own[h % 3]) == taken)
            return 4;
    }
    return 0;
}
