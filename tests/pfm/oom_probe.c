/* A thread's first protected scope when memory runs out.  The program is
 * linked with --wrap for malloc, calloc and realloc, so that every
 * allocation of the library can be made to fail.
 *
 *     zul_pfm_oom_probe N [cold]
 *
 * A new thread lets its allocations fail from the Nth on (0: none), then
 * opens a scope and faults in it.  The scope must catch the fault (the probe
 * prints "caught" and how many allocations were refused, and exits 0), or
 * the thread must end up without a TAB, which ends the process as an
 * unhandled raise of STC1_Shortage (exit code 255).  With "cold" the
 * main thread has used no scope before; otherwise it has. */
#define _GNU_SOURCE
#include <zul/pfm1.h>

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

static __thread int counting; /* allocations are counted on this thread */
static __thread int failFrom;  /* the first to fail; 0: none fails */
static __thread int made;
static __thread int refused;

static int fails(void)
{
    if (!counting || (++made < failFrom || failFrom == 0))
        return 0;
    refused++;
    return 1;
}

void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *old, size_t size);
void *__wrap_malloc(size_t size) { return fails() ? NULL : __real_malloc(size); }
void *__wrap_calloc(size_t count, size_t size) { return fails() ? NULL : __real_calloc(count, size); }
void *__wrap_realloc(void *old, size_t size) { return fails() ? NULL : __real_realloc(old, size); }

static volatile int *volatile nowhere;

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
    const int count = refused, total = made;
    counting = 0;
    printf("%s, %d of %d refused\n", seen == 0x00120001u ? "caught" : "missed", count, total);
    return NULL;
}

int main(int argc, char **argv)
{
    int from = argc > 1 ? atoi(argv[1]) : 0;
    nowhere = mmap(NULL, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const char *mode = argc > 2 ? argv[2] : "";
    if (strcmp(mode, "signals") == 0)
        SIG1_ProcMask(SIG1_BLOCK, NULL, NULL);
    else if (strcmp(mode, "cold") != 0)
        PFM1_Thread();
    pthread_t thread;
    if (pthread_create(&thread, NULL, first_scope, &from) != 0 || pthread_join(thread, NULL) != 0)
        return 3;
    return 0;
}
