/* The probe of the log target tests: a traced C program whose log goes
 * where ZUL_RAS1 sends it.
 *
 *   target_probe kinds            one line of each trace kind, one of no
 *                                 kind, and a message of three lines
 *   target_probe hostile          messages of bytes that JSON must escape
 *   target_probe threads N STOP   4 threads write numbered lines, N each,
 *                                 or until the file STOP exists; prints
 *                                 how many each wrote
 *   target_probe cloexec          whether every descriptor open on a file
 *                                 of the log's name is close-on-exec
 *   target_probe idle N STOP      N numbered lines, then nothing until the
 *                                 file STOP exists
 *   target_probe forked N         N numbered lines, then the names of its
 *                                 threads; then the same in a child it
 *                                 forks
 *   target_probe aged STOP        3 lines, 150 ms later a fourth, then
 *                                 nothing until the file STOP exists */
#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <zul/ras1.h>

RAS1_DECLARE_UNIT_EX("target_probe", RAS1_APPLICATION, "1", "PROBE", 0);

static ZULRA_entry_t *work_entry;

/* One message of kind `kind` (0: none). */
static void say(uint32_t kind, const char *text, int length)
{
    RAS1_DECLARE_ENTRY(entry, "say", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);
    (void)flow;
    (void)classes;
    work_entry = &entry;
    RAS1_Log(&entry, 77, kind, "%.*s\n", length, text);
}

/* A zero byte reaches the store only through %c: a text stops at one. */
static void say_nul(void)
{
    RAS1_DECLARE_ENTRY(entry, "say", RAS1_PUBLIC);
    RAS1_Log(&entry, 77, 0, "nul%cinside\n", 0);
}

static void kinds(void)
{
    static const uint32_t table[] = {RAS1_ERROR, RAS1_FLOW,   RAS1_TIME,    RAS1_STATE,
                                     RAS1_INPUT, RAS1_OUTPUT, RAS1_METRICS, RAS1_DETAIL};
    char text[64];
    for (size_t i = 0; i < sizeof table / sizeof table[0]; i++) {
        int n = snprintf(text, sizeof text, "a line of kind %02X", (unsigned)table[i]);
        say(table[i], text, n);
    }
    say(0, "a line of no kind", 17);
    static const char lines[] = "first of three\nsecond of three\nthird of three";
    say(RAS1_ERROR, lines, (int)strlen(lines));
}

static void hostile(void)
{
    static const char *const table[] = {
        "quote \" backslash \\ slash /",
        "tab\tcarriage\rbell\aescape\x1b[31mdel\x7f",
        "bad utf-8 \xff\xfe, overlong \xc0\xaf, surrogate \xed\xa0\x80, cut \xe2\x82",
        "good utf-8 \xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80",
        "{\"looks\": \"like json\"}",
    };
    for (size_t i = 0; i < sizeof table / sizeof table[0]; i++)
        say(0, table[i], (int)strlen(table[i]));
    say_nul();
    char *long_text = malloc(6000);
    if (long_text == NULL)
        return;
    for (int i = 0; i < 6000; i++)
        long_text[i] = (char)(i % 250 + 1); /* every byte value but 0 and the top ones */
    say(0, long_text, 6000);
    free(long_text);
}

static int stop_seen;
static const char *stop_file;
static int per_thread;

static void *writer(void *argument)
{
    int thread = (int)(intptr_t)argument;
    int written = 0;
    char text[64];
    while (written < per_thread && !__atomic_load_n(&stop_seen, __ATOMIC_RELAXED)) {
        int n = snprintf(text, sizeof text, "writer %d line %d", thread, written);
        say(RAS1_STATE, text, n);
        written++;
        /* A pause now and then keeps the log to some thousands of lines a
         * second, plenty to be under way through each rotation. */
        if (written % 16 == 0) {
            usleep(1000);
            if (access(stop_file, F_OK) == 0)
                __atomic_store_n(&stop_seen, 1, __ATOMIC_RELAXED);
        }
    }
    return (void *)(intptr_t)written;
}

static int threads(int n, const char *stop)
{
    per_thread = n;
    stop_file = stop;
    pthread_t ids[4];
    for (int t = 0; t < 4; t++)
        pthread_create(&ids[t], NULL, writer, (void *)(intptr_t)t);
    for (int t = 0; t < 4; t++) {
        void *written;
        pthread_join(ids[t], &written);
        printf("writer %d wrote %d\n", t, (int)(intptr_t)written);
    }
    return 0;
}

/* `n` lines "<who> line <i>" of kind STATE. */
static void numbered(const char *who, int n)
{
    char text[64];
    for (int i = 0; i < n; i++)
        say(RAS1_STATE, text, snprintf(text, sizeof text, "%s line %d", who, i));
}

static void await_stop(const char *stop)
{
    while (access(stop, F_OK) != 0)
        usleep(10000);
}

static int idle(int n, const char *stop)
{
    numbered("writer 0", n);
    await_stop(stop);
    return 0;
}

/* The names of the calling process's threads other than the calling
 * one, on a line after `who`. */
static void print_threads(const char *who)
{
    char path[300], name[32], line[512];
    int at = snprintf(line, sizeof line, "%s threads:", who);
    DIR *tasks = opendir("/proc/self/task");
    for (struct dirent *task; tasks != NULL && (task = readdir(tasks)) != NULL;) {
        if (task->d_name[0] == '.' || atoi(task->d_name) == getpid() || at > 400)
            continue;
        snprintf(path, sizeof path, "/proc/self/task/%s/comm", task->d_name);
        FILE *comm = fopen(path, "r");
        if (comm == NULL)
            continue;
        if (fgets(name, sizeof name, comm) != NULL)
            at += snprintf(line + at, sizeof line - at, " %.*s", (int)strcspn(name, "\n"), name);
        fclose(comm);
    }
    if (tasks != NULL)
        closedir(tasks);
    printf("%s\n", line);
    fflush(stdout);
}

static int forked(int n)
{
    numbered("writer 0", n);
    print_threads("parent");
    pid_t child = fork();
    if (child == 0) {
        numbered("child", n);
        print_threads("child");
        exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

static int aged(const char *stop)
{
    numbered("writer 0", 3);
    usleep(150000);
    say(RAS1_STATE, "writer 0 line 3", 15);
    await_stop(stop);
    return 0;
}

static int cloexec(const char *name)
{
    say(0, "opened", 6);
    int found = 0;
    for (int fd = 0; fd < 1024; fd++) {
        char link[64], target[4096];
        snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
        ssize_t n = readlink(link, target, sizeof target - 1);
        if (n <= 0)
            continue;
        target[n] = '\0';
        if (strcmp(target, name) != 0)
            continue;
        found++;
        if ((fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0) {
            printf("descriptor %d on %s is inherited by programs it starts\n", fd, name);
            return 1;
        }
    }
    printf("%d descriptors on the log, all close-on-exec\n", found);
    return found == 0;
}

int main(int argc, char **argv)
{
    if (argc >= 2 && strcmp(argv[1], "kinds") == 0)
        kinds();
    else if (argc >= 2 && strcmp(argv[1], "hostile") == 0)
        hostile();
    else if (argc >= 4 && strcmp(argv[1], "threads") == 0)
        return threads(atoi(argv[2]), argv[3]);
    else if (argc >= 3 && strcmp(argv[1], "cloexec") == 0)
        return cloexec(argv[2]);
    else if (argc >= 4 && strcmp(argv[1], "idle") == 0)
        return idle(atoi(argv[2]), argv[3]);
    else if (argc >= 3 && strcmp(argv[1], "forked") == 0)
        return forked(atoi(argv[2]));
    else if (argc >= 3 && strcmp(argv[1], "aged") == 0)
        return aged(argv[2]);
    else {
        fprintf(stderr, "usage: target_probe kinds|hostile|threads N STOP|cloexec PATH|idle N STOP|forked N|aged STOP\n");
        return 2;
    }
    return 0;
}
