/* A program with its console socket open, for tests and measurements
 * from outside: `zul_crf_sock_probe DIR [WORKERS]`.
 *
 * It listens in DIR, prints the socket's path on a line of its own, and
 * obeys its standard input, one word a line, until it ends:
 *
 *   fill    open descriptors until the process has none left; "filled N"
 *   free    close them again; "freed"
 *   rate    the workers' trace lines a second since the last rate (or
 *           the start); "lines/s N"
 *   stamp N N lines "stamp T" under ERROR, a millisecond apart, where T
 *           is the monotonic clock in nanoseconds just before the line is
 *           written: a watcher of the log learns how long each took to
 *           reach it; "stamped N"
 *   burst N N lines "burst I" under ERROR as fast as they go, I from 0,
 *           then, 100 ms later, "burst end"; "burst N"
 *
 * Its commands: `ping` answers pong; `fault scope` faults inside a
 * protected scope and prints the status the scope caught; `fault bare`
 * faults with no scope.  WORKERS threads trace a DETAIL line each as fast
 * as they can (when a filter gives this unit DETAIL) to a store of the
 * probe's own, which drops their lines and writes all others to standard
 * error, so that the log holds only what the library and main write. */
#define _GNU_SOURCE
#include <zul/crf1.h>
#include <zul/lex1.h>
#include <zul/pfm1.h>
#include <zul/ras1.h>

#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

RAS1_DECLARE_UNIT(RAS1_APPLICATION, "1.0", "PROBE");

static volatile int *volatile nowhere;
static long traced;
static int spare[65536];
static int spares;

static __thread int worker;
static int sink = -1;

/* Each flush costs what a file's would: one write(2), the workers' to
 * /dev/null, everyone else's to standard error. */
static int route_lines(void *data, const char *text, uint32_t length, ZULRA_entry_t *entry, uint32_t flags)
{
    (void)data, (void)entry, (void)flags;
    return write(worker ? sink : 2, text, length) == (ssize_t)length ? 0 : 1;
}

static void *work(void *arg)
{
    RAS1_DECLARE_ENTRY(entry, "work", RAS1_PUBLIC);
    (void)arg;
    worker = 1;
    for (long i = 0;; i++)
        if (RAS1_WANTS(RAS1_ReadClass(&entry), RAS1_DETAIL)) {
            RAS1_Printf(&entry, __LINE__, "work item %ld\n", i);
            __atomic_fetch_add(&traced, 1, __ATOMIC_RELAXED);
        }
    return NULL;
}

static int ping(ZULLX_list_t *list, ZULSS_format_t *format, ZULCR_request_t *request)
{
    (void)list, (void)request;
    return BSS1_PrintFormat(format, "pong\n");
}

static int fault(ZULLX_list_t *list, ZULSS_format_t *format, ZULCR_request_t *request)
{
    ZULLX_arg_t *how = NULL;
    uint32_t count = 1;
    (void)request;
    int status = LEX1_Parse(format, list, LEX1_PARSE_WHOLE, 1, &count, &how, 0, NULL, NULL, NULL);
    if (status != LEX1_OK)
        return status;
    if (strcmp(how->text, "bare") == 0)
        *nowhere = 1;
    volatile uint32_t caught = 0;
    PFM1_TRY(s) {
        *nowhere = 1;
    } PFM1_CATCH(s) {
        caught = s.status;
    } PFM1_END(s);
    return BSS1_PrintFormat(format, "caught %08X\n", (unsigned)caught);
}

static double now(void)
{
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec + (double)t.tv_nsec / 1e9;
}

static void stamp(ZULRA_entry_t *entry, int count)
{
    const struct timespec pause = {0, 1000000};
    for (int i = 0; i < count; i++) {
        struct timespec t;
        clock_gettime(CLOCK_MONOTONIC, &t);
        RAS1_LOG(*entry, RAS1_ReadClass(entry), RAS1_ERROR, "stamp %lld\n",
                 (long long)t.tv_sec * 1000000000 + t.tv_nsec);
        nanosleep(&pause, NULL);
    }
    printf("stamped %d\n", count);
}

static void burst(ZULRA_entry_t *entry, int count)
{
    const struct timespec pause = {0, 100000000};
    for (int i = 0; i < count; i++)
        RAS1_LOG(*entry, RAS1_ReadClass(entry), RAS1_ERROR, "burst %d\n", i);
    nanosleep(&pause, NULL);
    RAS1_LOG(*entry, RAS1_ReadClass(entry), RAS1_ERROR, "burst end\n");
    printf("burst %d\n", count);
}

int main(int argc, char **argv)
{
    char path[108];
    int workers = argc > 2 ? atoi(argv[2]) : 0;
    nowhere = mmap(NULL, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (argc < 2 || CRF1_Register(NULL, ping, NULL, "ping", 0, "Answers pong", 0) != CRF1_OK ||
        CRF1_Register(NULL, fault, NULL, "fault", 0, "Faults: fault scope|bare", 0) != CRF1_OK ||
        CRF1_Listen(argv[1], 0, path, sizeof path) != CRF1_OK)
        return 2;
    /* A program logs as it starts, so its log is open before it runs out
     * of descriptors. */
    RAS1_DECLARE_ENTRY(entry, "main", RAS1_PUBLIC);
    if (RAS1_WANTS(RAS1_ReadClass(&entry), RAS1_ERROR))
        RAS1_Printf(&entry, __LINE__, "probe listening on %s\n", path);
    /* Registered once the trace has started from ZUL_RAS1, so that this
     * store does not set the default class.  With a filter in force it
     * takes every line. */
    sink = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (workers > 0)
        RAS1_RegisterStore("WORK", 4, NULL, route_lines, RAS1_DETAIL);
    printf("%s\n", path);
    fflush(stdout);
    for (int i = 0; i < workers; i++) {
        pthread_t t;
        pthread_create(&t, NULL, work, NULL);
    }
    double since = now();
    long before = 0;
    char line[64];
    while (fgets(line, sizeof line, stdin) != NULL) {
        if (strncmp(line, "fill", 4) == 0) {
            int fd;
            while (spares < (int)(sizeof spare / sizeof spare[0]) && (fd = open("/dev/null", O_RDONLY)) >= 0)
                spare[spares++] = fd;
            printf("filled %d\n", spares);
        } else if (strncmp(line, "free", 4) == 0) {
            while (spares > 0)
                close(spare[--spares]);
            printf("freed\n");
        } else if (strncmp(line, "stamp ", 6) == 0) {
            stamp(&entry, atoi(line + 6));
        } else if (strncmp(line, "burst ", 6) == 0) {
            burst(&entry, atoi(line + 6));
        } else if (strncmp(line, "rate", 4) == 0) {
            long lines = __atomic_load_n(&traced, __ATOMIC_RELAXED);
            double t = now();
            printf("lines/s %.0f\n", (double)(lines - before) / (t - since));
            before = lines, since = t;
        }
        fflush(stdout);
    }
    CRF1_Unlisten();
    return 0;
}
