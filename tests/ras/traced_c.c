/* A unit written in C that traces itself with the public macros, as a
 * program built on the library would. */
#include <zul/ras1.h>

RAS1_DECLARE_UNIT_EX("zultrc", RAS1_APPLICATION, "1.2", "TESTC", 0);
RAS1_DECLARE_ENTRY(traced_c_full_entry, "traced_c_full", RAS1_PUBLIC);
RAS1_DECLARE_ENTRY(traced_c_quick_entry, "traced_c_quick", RAS1_MINOR);

int traced_c_details;

int traced_c_full(int x, uint32_t *seen)
{
    RAS1_ENTRY(traced_c_full_entry, classes, flow);
    *seen = classes;
    if (RAS1_WANTS(classes, RAS1_STATE | RAS1_DETAIL))
        traced_c_details++;
    RAS1_EXIT_VALUE(traced_c_full_entry, flow, x * 2);
    return x * 2;
}

void traced_c_quick(uint32_t *seen, int *flowOut)
{
    RAS1_QUICK(traced_c_quick_entry, classes, flow);
    *seen = classes;
    *flowOut = flow;
    if (RAS1_WANTS(classes, RAS1_DETAIL))
        traced_c_details++;
    RAS1_EXIT(traced_c_quick_entry, flow);
}

ZULRA_entry_t *traced_c_quick_record(void) { return &traced_c_quick_entry; }
