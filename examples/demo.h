/* The demo's two traced services: a small key-value table and the
 * decoding of request lines. */
#ifndef ZUL_DEMO_H
#define ZUL_DEMO_H

/* Stores `value` under `key`; 0, or -1 when the table is full. */
int store_put(const char *key, int value);
/* The value under `key`, or -1. */
int store_get(const char *key);
/* How many keys the table holds. */
int store_count(void);
/* Writes through a lost table pointer: the process dies of SIGSEGV and
 * leaves its failure report ("zul_demo crash"). */
void store_crash(void);

/* Decodes and carries out one request line ("PUT key value" or
 * "GET key"); the result of the store call, or -2 for a bad line. */
int net_handle(const char *line);
/* Writes the totals of the requests handled to the log. */
void net_report(void);

/* Runs console lines from standard input until it ends; 0, or the
 * status of a console that could not be made.  With `echo`, each line
 * read from a pipe is shown behind the prompt, and its status after its
 * output, so that a scripted run reads like a session. */
int console_run(int echo);

#endif
