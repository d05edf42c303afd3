// The child of the failure report's tests: loads the shared library, puts
// a line into the log, then fails the way its argument says.
#include <zul/crf1.h>
#include <zul/ras1.h>

#include <pthread.h>
#include <signal.h>
#include <stdexcept>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

RAS1_DECLARE_UNIT(RAS1_DATABASE, "1.0", "WNTC");

// Left to fault even in a build that checks for undefined behaviour.
extern "C" __attribute__((noinline, no_sanitize("undefined"))) void
wnt_store_through_null(int *where)
{
    *where = 42; // the fault the report must place
}

// A stack of `depth` frames of this function above the fault.
__attribute__((noinline)) int wnt_descend(int depth, int *where)
{
    if (depth == 0) {
        wnt_store_through_null(where);
        return 0;
    }
    volatile int keep = depth;
    return wnt_descend(depth - 1, where) + keep;
}

__attribute__((noinline)) int wnt_overflow(int depth)
{
    volatile char room[512];
    room[depth % 512] = (char)depth;
    return wnt_overflow(depth + 1) + room[0];
}

// Two threads that fail at the same moment.
pthread_barrier_t together;
void *wnt_fail_together(void *)
{
    pthread_barrier_wait(&together);
    wnt_store_through_null(nullptr);
    return nullptr;
}

int main(int argc, char **argv)
{
    const char *mode = argc > 1 ? argv[1] : "";
    RAS1_DECLARE_ENTRY(entry, "main", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);
    if (RAS1_WANTS(classes, RAS1_ERROR))
        RAS1_Printf(&entry, __LINE__, "child about to fail: %s\n", mode);
    fflush(stdout);
    int *nowhere = nullptr;
    if (strcmp(mode, "deep") == 0) {
        // The time of the fault, for the parent's measure of the report.
        struct timespec t;
        clock_gettime(CLOCK_MONOTONIC, &t);
        fprintf(stderr, "%lld\n", (long long)t.tv_sec * 1000000000 + t.tv_nsec);
        return wnt_descend(64, nowhere);
    }
    if (strcmp(mode, "null") == 0)
        wnt_store_through_null(nowhere);
    if (strcmp(mode, "names") == 0) {
        // The program's name as the header and the console socket give it,
        // before the report gives it too.
        char name[256], path[512];
        uint32_t length = BSS1_Info(BSS1_INFO_PROGRAM, name, sizeof name);
        if (CRF1_Listen("sockets", 0, path, sizeof path) != CRF1_OK)
            return 3;
        printf("%.*s\n%s\n", (int)length, name, strrchr(path, '/') + 1);
        fflush(stdout);
        wnt_store_through_null(nowhere);
    }
    if (strcmp(mode, "overflow") == 0)
        return wnt_overflow(0);
    if (strcmp(mode, "two") == 0) {
        pthread_t threads[2];
        pthread_barrier_init(&together, nullptr, 2);
        for (pthread_t &t : threads)
            pthread_create(&t, nullptr, wnt_fail_together, nullptr);
        pthread_join(threads[0], nullptr);
    }
    if (strcmp(mode, "abort") == 0)
        abort();
    if (strcmp(mode, "throw") == 0)
        throw std::runtime_error("child gives up");
    return 0;
}
