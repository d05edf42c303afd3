/* A thread's first protected scope when memory runs out.  The program is
 * linked with --wrap for malloc, calloc and realloc, so that every
 * allocation of the library can be made to fail.
 *
 *     zul_pfm_oom_probe warm|signals|cold [last]
 *
 * Before anything else the main thread has used a scope (warm), only the
 * signals (signals), or nothing (cold).  Then, in a forked child for each
 * N, a new thread lets its allocations fail from the Nth on, opens a
 * scope and faults in it.  A first child with none failing counts the
 * thread's allocations, T; N then runs from 1 to T, or over the last
 * `last` of them only, and then once more with none failing.  One line per N says how its child ended:
 * "caught" (the scope caught the fault), "no TAB" (the thread had none,
 * and the process ended as an unhandled raise of STC1_Shortage, exit code
 * 255), "abort" (a process block could not be built), or "status S" for
 * anything else, such as a scope that opened and let its fault end the
 * process.  Forking keeps the many runs cheap under the sanitizers. */
#define _GNU_SOURCE
#include <zul/pfm1.h>

#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

static __thread int counting; /* allocations are counted on this thread */
static __thread int failFrom;  /* the first to fail; 0: none fails */
static __thread int made;

static int fails(void)
{
    return counting && ++made >= failFrom && failFrom != 0;
}

void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *old, size_t size);
void *__wrap_malloc(size_t size) { return fails() ? NULL : __real_malloc(size); }
void *__wrap_calloc(size_t count, size_t size) { return fails() ? NULL : __real_calloc(count, size); }
void *__wrap_realloc(void *old, size_t size) { return fails() ? NULL : __real_realloc(old, size); }

static volatile int *volatile nowhere;
static int *allocations; /* shared with the children: how many the thread made */

static void *first_scope(void *argument)
{
    failFrom = *(int *)argument;
    counting = 1;
    uint32_t seen = 0;
    PFM1_TRY(s) {
        *nowhere = 1;
    } PFM1_CATCH(s) {
        seen = s.status;
    } PFM1_END(s);
    counting = 0;
    *allocations = made;
    return seen == 0x00120001u ? argument : NULL;
}

/* The scenario in a child; its wait status. */
static int run(int from)
{
    fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        pthread_t thread;
        void *caught = NULL;
        if (pthread_create(&thread, NULL, first_scope, &from) != 0 ||
            pthread_join(thread, &caught) != 0 || caught == NULL)
            _exit(2);
        _exit(0);
    }
    int status = -1;
    if (child < 0 || waitpid(child, &status, 0) != child)
        return -1;
    return status;
}

int main(int argc, char **argv)
{
    const char *mode = argc > 1 ? argv[1] : "warm";
    nowhere = mmap(NULL, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    allocations = mmap(NULL, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (allocations == MAP_FAILED)
        return 3;
    if (strcmp(mode, "signals") == 0)
        SIG1_ProcMask(SIG1_BLOCK, NULL, NULL);
    else if (strcmp(mode, "cold") != 0)
        PFM1_Thread();

    if (run(0) != 0)
        return 3;
    const int total = *allocations;
    const int last = argc > 2 ? atoi(argv[2]) : total;
    printf("%d allocations\n", total);
    for (int n = total - last > 0 ? total - last + 1 : 1; n <= total + 1; n++) {
        const int status = run(n);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
            printf("%d caught\n", n);
        else if (WIFEXITED(status) && WEXITSTATUS(status) == 255)
            printf("%d no TAB\n", n);
        else if (WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT)
            printf("%d abort\n", n);
        else
            printf("%d status %d\n", n, status);
    }
    return 0;
}
