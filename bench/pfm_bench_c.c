/* The C side of the scope benchmark: each routine opens one protected
 * scope, or saves one jump state, around a call that the compiler cannot
 * see through, and returns how it ended. */
#define _GNU_SOURCE
#include <zul/pfm1.h>

#include <setjmp.h>
#include <sys/mman.h>

extern void pfm_bench_work(void);

uint32_t pfm_bench_scope(void)
{
    uint32_t status = 0;
    PFM1_TRY(s) {
        pfm_bench_work();
    } PFM1_CATCH(s) {
        status = s.status;
    } PFM1_END(s);
    return status;
}

static jmp_buf plain;
static sigjmp_buf withMask;

int pfm_bench_underscore_setjmp(void)
{
    if (_setjmp(plain) != 0)
        return 1;
    pfm_bench_work();
    return 0;
}

int pfm_bench_setjmp(void)
{
    if (setjmp(plain) != 0)
        return 1;
    pfm_bench_work();
    return 0;
}

int pfm_bench_sigsetjmp(void)
{
    if (sigsetjmp(withMask, 1) != 0)
        return 1;
    pfm_bench_work();
    return 0;
}

static volatile int *volatile nowhere;

/* Faults in a scope and comes back to its entry. */
uint32_t pfm_bench_fault(void)
{
    if (nowhere == NULL)
        nowhere = mmap(NULL, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    uint32_t status = 0;
    PFM1_TRY(s) {
        *nowhere = 1;
    } PFM1_CATCH(s) {
        status = s.status;
    } PFM1_END(s);
    return status;
}
