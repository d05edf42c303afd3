/*
 * zul_demo - a small host program built on libzul.
 *
 * Four worker threads share a process-wide "service" block and each keeps
 * a per-thread "session" block.  Nobody initialises anything: the first
 * thread to touch a block builds it, the others wait for it, and each
 * session is torn down by the library when its thread ends.  The service's
 * constructor postpones its announcement with an epilog, which runs once
 * no construction is in progress anywhere in the process.
 *
 * Each request of a worker is a line that demo_net.c decodes and
 * demo_store.c carries out; both are traced, and ZUL_RAS1 chooses what
 * they write to the log.
 */
#include "demo.h"

#include <zul/zul.h>

#include <pthread.h>
#include <stdio.h>
#include <string.h>

typedef struct service {
    ZULSS_lock_t lock;     /* guards the counters below; zero bytes are a valid lock */
    unsigned requests;
    unsigned sessionsEnded;
    uint32_t startedAt;
} service_t;

typedef struct session {
    uint32_t thread;
    unsigned handled;
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
    ((session_t *)block)->thread = BSS1_ThreadID();
}

static void end_session(void *block)
{
    session_t *t = (session_t *)block;
    service_t *s = service();
    BSS1_GetLock(&s->lock);
    s->sessionsEnded++;
    printf("destructor: session of thread %u ends after %u requests\n", (unsigned)t->thread, t->handled);
    BSS1_ReleaseLock(&s->lock);
}

static ZULSS_descriptor_t sessionDescriptor = {sizeof(session_t), construct_session, end_session, 0, 0};

static void *worker(void *arg)
{
    int n = (int)(intptr_t)arg;
    for (int i = 0; i < 5 + n; ++i) {
        session_t *t = (session_t *)ZULSS_THREAD_BLOCK(&sessionDescriptor);
        service_t *s = service();
        t->handled++;
        BSS1_GetLock(&s->lock);
        BSS1_GetLock(&s->lock); /* locks are recursive */
        s->requests++;
        BSS1_ReleaseLock(&s->lock);
        BSS1_ReleaseLock(&s->lock);

        /* Every third request reads back, one in seven is garbled. */
        char line[48];
        if (i % 7 == 6)
            snprintf(line, sizeof line, "PTU w%d-%d", n, i);
        else if (i % 3 == 2)
            snprintf(line, sizeof line, "GET w%d-%d", n, i - 1);
        else
            snprintf(line, sizeof line, "PUT w%d-%d %d", n, i, n * 100 + i);
        net_handle(line);
    }
    return NULL;
}

int main(int argc, char **argv)
{
    BSS1_Main(&argc, argv, "zul_demo");

    ZULSS_time_t start;
    BSS1_GetTime(&start);
    printf("zul_demo: starting 4 workers at %u.%03u\n", (unsigned)start.seconds,
           (unsigned)(start.nanoseconds / 1000000u));

    pthread_t threads[4];
    for (int i = 0; i < 4; ++i)
        pthread_create(&threads[i], NULL, worker, (void *)(intptr_t)i);
    for (int i = 0; i < 4; ++i)
        pthread_join(threads[i], NULL);

    net_report();

    /* "zul_demo crash" ends here, to show the failure report that the
     * library appends to zul_demo.ras in the current directory. */
    if (argc > 1 && strcmp(argv[1], "crash") == 0)
        store_crash();

    service_t *s = service();
    ZULSS_time_t end;
    BSS1_GetTime(&end);
    printf("zul_demo: %u requests, %u sessions ended, %u ms elapsed\n", s->requests, s->sessionsEnded,
           (unsigned)((end.seconds - start.seconds) * 1000u + end.nanoseconds / 1000000u -
                      start.nanoseconds / 1000000u));
    return s->requests == 5 + 6 + 7 + 8 && s->sessionsEnded == 4 ? 0 : 1;
}
