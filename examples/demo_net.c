/*
 * The demo's request decoder: turns lines like "PUT k3 7" into store
 * calls.  INPUT shows each line as it arrives (with a dump under DETAIL),
 * ERROR a line that cannot be decoded, METRICS the totals.
 */
#include "demo.h"

#include <zul/zul.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

RAS1_DECLARE_UNIT(RAS1_NETWORK | RAS1_SERVER, "1.0", "DEMO");

static unsigned handled, rejected; /* updated with atomic adds */

int net_handle(const char *line)
{
    RAS1_DECLARE_ENTRY(entry, "net_handle", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);

    RAS1_LOG(entry, classes, RAS1_INPUT, "request \"%s\"\n", line);
    RAS1_DUMP(entry, classes, RAS1_INPUT | RAS1_DETAIL, line, (uint32_t)strlen(line), "request bytes\n");

    char verb[8], key[16];
    int value = 0, result;
    int fields = sscanf(line, "%7s %15s %d", verb, key, &value);
    if (fields >= 3 && strcmp(verb, "PUT") == 0) {
        result = store_put(key, value);
    } else if (fields == 2 && strcmp(verb, "GET") == 0) {
        result = store_get(key);
    } else {
        RAS1_LOG(entry, classes, RAS1_ERROR, "bad request \"%s\"\n", line);
        __atomic_fetch_add(&rejected, 1u, __ATOMIC_RELAXED);
        result = -2;
    }
    __atomic_fetch_add(&handled, 1u, __ATOMIC_RELAXED);

    RAS1_EXIT_VALUE(entry, flow, result);
    return result;
}

void net_report(void)
{
    RAS1_DECLARE_ENTRY(entry, "net_report", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);
    RAS1_LOG(entry, classes, RAS1_METRICS, "%u requests, %u rejected, %d keys\n",
             __atomic_load_n(&handled, __ATOMIC_RELAXED), __atomic_load_n(&rejected, __ATOMIC_RELAXED),
             store_count());
    RAS1_EXIT(entry, flow);
}
