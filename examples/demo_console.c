/*
 * The demo's console host: reads command lines and runs them on a libzul
 * console while the workers go on serving requests.
 *
 * At a terminal the line is read with libedit (line editing and history),
 * when the demo was built with it; otherwise, and always when standard
 * input is a pipe or a file, plain lines are read with no prompt, so that
 * the console can be scripted:
 *
 *     printf 'ras1 units\n' | bash tools/demo
 *
 * Each line goes to CRF1_Execute, and what the command wrote is fetched
 * with CRF1_Fetch and copied to standard output.  Blank lines are passed
 * over.  The function returns at the end of the input.  "zul_demo --echo"
 * shows each piped line behind the prompt and its status after it:
 *
 *     printf 'bss1 getenv HOME\n' | zul_demo --echo
 */
#include "demo.h"

#include <zul/zul.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#ifdef ZUL_DEMO_LIBEDIT
#include <editline/readline.h>
#endif

#define PROMPT "zul_demo> "

/* Runs one line and copies the console's answer to standard output;
 * with `echo`, behind the prompt and the line, and followed by the
 * status. */
static void run_line(uint32_t console, const char *line, size_t length, int echo)
{
    size_t i = 0;
    while (i < length && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r'))
        i++;
    if (i == length)
        return;

    if (echo)
        printf(PROMPT "%.*s\n", (int)length, line);
    int status = CRF1_Execute(console, line, (uint32_t)length, NULL);

    char buffer[4096];
    uint32_t count = 0;
    while (CRF1_Fetch(console, buffer, sizeof buffer, &count) == 0 && count != 0)
        fwrite(buffer, 1, count, stdout);
    if (echo)
        printf("(status %d)\n", status);
    fflush(stdout);
}

/* Plain lines from a stream, of any length. */
static void read_plain(uint32_t console, int echo)
{
    char *line = NULL;
    size_t size = 0;
    ssize_t length;
    while ((length = getline(&line, &size, stdin)) >= 0) {
        if (length > 0 && line[length - 1] == '\n')
            length--;
        run_line(console, line, (size_t)length, echo);
    }
    free(line);
}

#ifdef ZUL_DEMO_LIBEDIT
static void read_edited(uint32_t console)
{
    printf("Type ? for the commands; end the input (Ctrl-D) to stop the demo.\n");
    char *line;
    while ((line = readline(PROMPT)) != NULL) {
        if (line[0] != '\0')
            add_history(line);
        run_line(console, line, strlen(line), 0);
        free(line);
    }
    printf("\n");
}
#endif

int console_run(int echo)
{
    uint32_t console = 0;
    int status = CRF1_New(&console);
    if (status != 0) {
        fprintf(stderr, "zul_demo: no console (CRF1_New status %d)\n", status);
        /* Without a console the input is still read to its end, so that
         * the demo stops when its operator expects it to. */
        while (getchar() != EOF)
            ;
        return status;
    }
#ifdef ZUL_DEMO_LIBEDIT
    if (isatty(STDIN_FILENO))
        read_edited(console);
    else
#endif
        read_plain(console, echo);
    CRF1_Delete(console);
    return 0;
}
