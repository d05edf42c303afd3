/*
 * The demo's key-value table: a fixed array of slots under one lock.
 * Each function is traced: FLOW gives Entry and Exit lines, DETAIL the
 * keys and values, STATE the growth of the table, ERROR a full table.
 */
#include "demo.h"

#include <zul/zul.h>

#include <string.h>

RAS1_DECLARE_UNIT(RAS1_DATABASE, "1.0", "DEMO");

#define SLOTS 12

static struct {
    ZULSS_lock_t lock; /* zero bytes are a valid lock */
    int used;
    char keys[SLOTS][16];
    int values[SLOTS];
} table;

static int find(const char *key)
{
    for (int i = 0; i < table.used; i++)
        if (strcmp(table.keys[i], key) == 0)
            return i;
    return -1;
}

int store_put(const char *key, int value)
{
    RAS1_DECLARE_ENTRY(entry, "store_put", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);
    int result = 0;

    RAS1_LOG(entry, classes, RAS1_DETAIL, "key \"%s\" value %d\n", key, value);
    BSS1_GetLock(&table.lock);
    int at = find(key);
    if (at < 0 && table.used == SLOTS) {
        RAS1_LOG(entry, classes, RAS1_ERROR, "table full (%d slots): key \"%s\" dropped\n", SLOTS, key);
        result = -1;
    } else {
        if (at < 0) {
            at = table.used++;
            strncpy(table.keys[at], key, sizeof table.keys[at] - 1);
            RAS1_LOG(entry, classes, RAS1_STATE, "new key \"%s\" in slot %d\n", key, at);
        }
        table.values[at] = value;
    }
    BSS1_ReleaseLock(&table.lock);

    RAS1_EXIT_VALUE(entry, flow, result);
    return result;
}

int store_get(const char *key)
{
    RAS1_DECLARE_ENTRY(entry, "store_get", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);

    BSS1_GetLock(&table.lock);
    int at = find(key);
    int value = at < 0 ? -1 : table.values[at];
    BSS1_ReleaseLock(&table.lock);
    if (at < 0)
        RAS1_LOG(entry, classes, RAS1_DETAIL, "no key \"%s\"\n", key);

    RAS1_EXIT_VALUE(entry, flow, value);
    return value;
}

int store_count(void)
{
    BSS1_GetLock(&table.lock);
    int n = table.used;
    BSS1_ReleaseLock(&table.lock);
    return n;
}

void store_crash(void)
{
    RAS1_DECLARE_ENTRY(entry, "store_crash", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);
    volatile int *lost = NULL;
    RAS1_LOG(entry, classes, RAS1_ERROR, "table pointer lost after %d keys\n", store_count());
    lost[0] = store_count();
    RAS1_EXIT(entry, flow);
}
