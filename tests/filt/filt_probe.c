/* The probe of the start tests: a traced C program that calls a traced
 * function five times, then reports on stderr whether its record was
 * current afterwards, its word, the default class and the unit name as the
 * trace left it. */
#include <stdio.h>

#include <zul/ras1.h>

RAS1_DECLARE_UNIT_EX("a/b\\c.X ", RAS1_APPLICATION, "7", "PROBE", 0);

static ZULRA_entry_t *last_entry;

static int work(int i)
{
    RAS1_DECLARE_ENTRY(entry, "work", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);
    last_entry = &entry;
    if (RAS1_WANTS(classes, RAS1_ERROR))
        RAS1_Printf(&entry, __LINE__, "failure %d\n", i);
    RAS1_EXIT_VALUE(entry, flow, i);
    return i;
}

int main(void)
{
    for (int i = 0; i < 5; i++)
        work(i);
    ZULRA_entry_t *e = last_entry;
    int current = __atomic_load_n(&e->syncValue, __ATOMIC_ACQUIRE) ==
                  __atomic_load_n(e->syncWord, __ATOMIC_ACQUIRE);
    uint32_t classes = 0;
    RAS1_QueryClass(&classes);
    fprintf(stderr, "current=%d active=%08X default=%08X unit=%.*s\n", current,
            (unsigned)e->active, (unsigned)classes, (int)e->unit->fileLen, e->unit->file);
    return 0;
}
