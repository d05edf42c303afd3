/* Scopes written in C, in a process of their own.  The mode names what
 * to do; exit 0 means every check held, and what the host does to the
 * process is the rest of the answer. */
#define _GNU_SOURCE
#include <zul/pfm1.h>

#include <malloc.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>

static volatile int *volatile nowhere;
static volatile int depth_limit = 1 << 30;
static int ffdc_runs;

static void count_ffdc(void *argument) { ffdc_runs += argument == &ffdc_runs; }

static int deep(int n)
{
    volatile char pad[512];
    pad[0] = (char)n;
    return n < depth_limit ? deep(n + 1) + pad[0] : 0;
}

/* A fault in a scope with nothing else in it: the push must still be
 * in place when the store faults. */
static uint32_t bare_fault(void)
{
    uint32_t seen = 1;
    PFM1_TRY(s) {
        *nowhere = 1;
    } PFM1_CATCH(s) {
        seen = s.status;
    } PFM1_END(s);
    return seen;
}

/* One fault in a scope with FFDC named; what the scope saw. */
static uint32_t fault_once(int how)
{
    uint32_t seen = 1;
    if (how == 0)
        return bare_fault();
    PFM1_TRY(s) {
        PFM1__EnableFFDC(s.tab, count_ffdc, &ffdc_runs);
        how == 1 ? (void)(*nowhere = 1) : (void)deep(0);
    } PFM1_CATCH(s) {
        seen = s.status;
    } PFM1_END(s);
    return seen;
}

/* A fault with FFDC named, on a thread of its own: the routine's scope is
 * opened inside the handler, on that thread's alternate stack. */
static void *fault_on_thread(void *result)
{
    *(uint32_t *)result = fault_once(1);
    return NULL;
}

static long heap(void) { return (long)mallinfo2().uordblks; }

int main(int argc, char **argv)
{
    const char *mode = argc > 1 ? argv[1] : "";
    nowhere = mmap(NULL, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0); /* faults on use */
    if (strcmp(mode, "loop") == 0) {
        sigset_t before, after;
        for (int i = 0; i < 1000; i++)
            fault_once(i & 1);
        pthread_sigmask(SIG_BLOCK, NULL, &before);
        const long heapBefore = heap();
        for (int i = 0; i < 100000; i++)
            if (fault_once(i & 1) != 0x00120001u)
                return 2;
        pthread_sigmask(SIG_BLOCK, NULL, &after);
        const long heapAfter = heap();
        printf("heap %ld -> %ld, ffdc %d\n", heapBefore, heapAfter, ffdc_runs);
        if (heapAfter != heapBefore || ffdc_runs != 50500)
            return 3;
        for (int h = 1; h < 65; h++)
            if (sigismember(&before, h) != sigismember(&after, h))
                return 4;
        return PFM1_Thread()->top == &PFM1_Thread()->base ? 0 : 5;
    }
    if (strcmp(mode, "thread") == 0) {
        uint32_t seen = 1;
        pthread_t thread;
        if (pthread_create(&thread, NULL, fault_on_thread, &seen) != 0 ||
            pthread_join(thread, NULL) != 0)
            return 3;
        return seen == 0x00120001u && ffdc_runs == 1 ? 0 : 2;
    }
    if (strcmp(mode, "overflow") == 0)
        return fault_once(2) == 0x00120001u && fault_once(2) == 0x00120001u ? 0 : 2;
    PFM1_Thread();
    if (strcmp(mode, "outside") == 0)
        *nowhere = 1;
    if (strcmp(mode, "deep") == 0)
        deep(0);
    if (strcmp(mode, "raise0") == 0)
        PFM1__Raise(NULL, 0);
    if (strcmp(mode, "raise7") == 0)
        PFM1__Raise(NULL, 7);
    return 9;
}
