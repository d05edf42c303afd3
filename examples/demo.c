/*
 * zul_demo - a small host program built on libzul.
 *
 * Four worker threads share a process-wide "service" block and each keeps
 * a per-thread "session" block.  They serve requests until the operator's
 * input ends; meanwhile the main thread runs a console (demo_console.c),
 * where `ras1 set (unit=demo_net FLOW)` turns on the Entry and Exit lines
 * of the next requests and `ras1 log` shows the last lines of the log.  Nobody initialises anything: the first
 * thread to touch a block builds it, the others wait for it, and each
 * session is torn down by the library when its thread ends.  The service's
 * constructor postpones its announcement with an epilog, which runs once
 * no construction is in progress anywhere in the process.
 *
 * Each request of a worker is a line that demo_net.c decodes and
 * demo_store.c carries out; both are traced, and ZUL_RAS1 chooses what
 * they write to the log.  A log to a file gathers its lines in memory
 * and writes them in large pieces (ERROR lines at once, `ras1 flush` on
 * demand); "zul_demo crash" shows that the lines it holds still reach
 * the file when the process dies.
 *
 * Each session is also a resource of the class "session", so that the
 * console's res1 command lists them, and RES1_DEBUG=session makes them
 * write their debug lines; and the demo has two configuration variables
 * that bss1 config shows and sets: DEMO_LEVEL, a number (3 to start with),
 * and DEMO_MODE, which refuses modes that begin with "x".
 *
 *     zul_demo [crash] [--echo]
 */
#include "demo.h"

#include <zul/zul.h>

#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

/* Set when the operator's input has ended; workers finish the request at
 * hand and stop. */
static int stopping;
/* Workers that have served their first request. */
static int ready;

typedef struct service {
    ZULSS_lock_t lock;     /* guards the counters below; zero bytes are a valid lock */
    unsigned requests;
    unsigned sessionsEnded;
    uint32_t startedAt;
    uint32_t sessionClass; /* RES1 class of the sessions */
} service_t;

typedef struct session {
    uint32_t thread;
    unsigned handled;
    uint32_t resource; /* the session's RES1 handle */
} session_t;

static void announce(void *block)
{
    service_t *s = (service_t *)block;
    printf("epilog: service ready (built at %u), announced after construction ended\n", (unsigned)s->startedAt);
}

static void construct_service(void *block)
{
    service_t *s = (service_t *)block;
    s->startedAt = BSS1_GetTime(NULL);
    RES1_Register(&s->sessionClass, NULL, "session", 0);
    printf("constructor: service block built by thread %u\n", (unsigned)BSS1_ThreadID());
    BSS1_InitializeEpilog(announce, s);
}

static ZULSS_descriptor_t serviceDescriptor = {sizeof(service_t), construct_service, NULL, 0, 0};

static service_t *service(void)
{
    return (service_t *)ZULSS_PROCESS_BLOCK(&serviceDescriptor);
}

static void construct_session(void *block)
{
    session_t *t = (session_t *)block;
    t->thread = BSS1_ThreadID();
    RES1_Create(&t->resource, service()->sessionClass, 0, t);
}

static void end_session(void *block)
{
    session_t *t = (session_t *)block;
    service_t *s = service();
    BSS1_GetLock(&s->lock);
    s->sessionsEnded++;
    printf("destructor: session of thread %u ends after %u requests\n", (unsigned)t->thread, t->handled);
    BSS1_ReleaseLock(&s->lock);
    RES1_Destroy(t->resource);
    RES1_Drop(t->resource);
}

/* The handler of both configuration variables: a level is a number, and
 * a mode that begins with "x" is refused (the value is kept, and shown as
 * invalid). */
static int check_setting(const char *name, void *context, const char *value, uint32_t length)
{
    (void)context;
    if (value == NULL || length == 0)
        return 0;
    if (strcmp(name, "DEMO_MODE") == 0)
        return value[0] == 'x' ? 8 : 0;
    for (uint32_t i = 0; i < length; i++)
        if (value[i] < '0' || value[i] > '9')
            return 8;
    return 0;
}

static ZULSS_descriptor_t sessionDescriptor = {sizeof(session_t), construct_session, end_session, 0, 0};

static void *worker(void *arg)
{
    int n = (int)(intptr_t)arg;
    /* A request every quarter of a second; at least one, so that every
     * unit has run before a short script ends the demo. */
    const struct timespec pause = {0, 250 * 1000 * 1000};
    int i = 0;
    do {
        session_t *t = (session_t *)ZULSS_THREAD_BLOCK(&sessionDescriptor);
        service_t *s = service();
        t->handled++;
        BSS1_GetLock(&s->lock);
        BSS1_GetLock(&s->lock); /* locks are recursive */
        s->requests++;
        BSS1_ReleaseLock(&s->lock);
        BSS1_ReleaseLock(&s->lock);

        /* Every third request reads back, one in seven is garbled; 16 keys
         * in all, so the 12 slots of the table overflow now and then. */
        char line[48];
        if (i % 7 == 6)
            snprintf(line, sizeof line, "PTU w%d-%d", n, i % 4);
        else if (i % 3 == 2)
            snprintf(line, sizeof line, "GET w%d-%d", n, (i - 1) % 4);
        else
            snprintf(line, sizeof line, "PUT w%d-%d %d", n, i % 4, n * 100 + i);
        net_handle(line);
        if (i++ == 0)
            __atomic_fetch_add(&ready, 1, __ATOMIC_RELEASE);
        if (!__atomic_load_n(&stopping, __ATOMIC_ACQUIRE))
            nanosleep(&pause, NULL);
    } while (!__atomic_load_n(&stopping, __ATOMIC_ACQUIRE));
    return NULL;
}

int main(int argc, char **argv)
{
    BSS1_Main(&argc, argv, "zul_demo");
    int crash = 0, echo = 0;
    for (int i = 1; i < argc; i++) {
        if (strcmp(argv[i], "crash") == 0)
            crash = 1;
        else if (strcmp(argv[i], "--echo") == 0)
            echo = 1;
    }
    BSS1_ConfigRegister("DEMO_LEVEL", "3", check_setting, NULL);
    BSS1_ConfigRegister("DEMO_MODE", NULL, check_setting, NULL);

    ZULSS_time_t start;
    BSS1_GetTime(&start);
    printf("zul_demo: starting 4 workers at %u.%03u\n", (unsigned)start.seconds,
           (unsigned)(start.nanoseconds / 1000000u));

    pthread_t threads[4];
    for (int i = 0; i < 4; ++i)
        pthread_create(&threads[i], NULL, worker, (void *)(intptr_t)i);

    /* The console opens once every worker has served a request, so that
     * the demo's units are known to the trace when the first command runs. */
    const struct timespec tick = {0, 10 * 1000 * 1000};
    while (__atomic_load_n(&ready, __ATOMIC_ACQUIRE) < 4)
        nanosleep(&tick, NULL);

    int status = console_run(echo);

    __atomic_store_n(&stopping, 1, __ATOMIC_RELEASE);
    for (int i = 0; i < 4; ++i)
        pthread_join(threads[i], NULL);

    net_report();

    /* "zul_demo crash" ends here, to show the failure report that the
     * library appends to zul_demo.ras in the current directory. */
    if (crash)
        store_crash();

    service_t *s = service();
    ZULSS_time_t end;
    BSS1_GetTime(&end);
    printf("zul_demo: %u requests, %u sessions ended, %u ms elapsed\n", s->requests, s->sessionsEnded,
           (unsigned)((end.seconds - start.seconds) * 1000u + end.nanoseconds / 1000000u -
                      start.nanoseconds / 1000000u));
    return status == 0 && s->sessionsEnded == 4 ? 0 : 1;
}
