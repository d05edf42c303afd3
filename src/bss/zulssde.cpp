// zulssde - BSS1_DisplayEnvironment: the header of every log.
//
// Short items (1 to 20 characters) are laid out two to a line, longer ones
// follow one to a line, and the two settings that shape the log close it.
#include "bss/zulssfmt.h"
#include "internal/zulstart.h"

// The labels of the items; items without one are not shown on their own.
static const char *const labels[BSS1_INFO_COUNT] = {
    "System Name", nullptr,        nullptr,          "Process ID",     "Program Name",
    "User Name",   "Job Name",     "Task Name",      "System Type",    "Command Line",
    "MAC1_ENV Macro", "Start Date", "Start Time",    "CPU Count",      "Page Size",
    "Phys Memory", "Virt Memory",  "Page Space",
};

// Items up to this length are paired.
#define SHORT_ITEM 20u

int BSS1_DisplayEnvironment(ZULSS_format_t *object)
{
    if (object == nullptr)
        return 0;

    const char *ras1 = BSS1_LocateEnv("ZUL_RAS1");
    const char *envpath = BSS1_LocateEnv("ZUL_ENVPATH");
    const bool ras1Given = ras1 != nullptr;
    if (!ras1Given)
        ras1 = "<not specified>";

    char text[255];
    int first = 1; // the next short item opens a line
    for (uint32_t item = 0; item < BSS1_INFO_COUNT; item++) {
        if (labels[item] == nullptr)
            continue;
        uint32_t length = BSS1_Info(item, text, sizeof text);
        if (length == 0 || length > SHORT_ITEM)
            continue;
        if (first)
            ZULSS_Print(object, "%16s: %-20.*s", labels[item], (int)length, (const char *)text);
        else
            ZULSS_Print(object, "%18s: %.*s\n", labels[item], (int)length, (const char *)text);
        first = !first;
    }
    if (!first)
        ZULSS_Print(object, "\n");

    for (uint32_t item = 0; item < BSS1_INFO_COUNT; item++) {
        if (labels[item] == nullptr)
            continue;
        uint32_t length = BSS1_Info(item, text, sizeof text);
        if (length > SHORT_ITEM)
            ZULSS_Print(object, "%16s: %.*s\n", labels[item], (int)length, (const char *)text);
    }

    // A program that registered its own store before the trace started
    // chose its log itself, and the value did not take effect: the header
    // must not show it as if it had.
    if (ras1Given && ZULRA_Ras1NotRead())
        ZULSS_Print(object, "%16s: %s (not read: the program registered its own store first)\n",
                    "ZUL_RAS1", ras1);
    else
        ZULSS_Print(object, "%16s: %s\n", "ZUL_RAS1", ras1);
    if (envpath != nullptr)
        ZULSS_Print(object, "%16s: %s\n", "ZUL_ENVPATH", envpath);
    return 0;
}
