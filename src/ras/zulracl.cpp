// zulracl - the class table, the names of the bits of a class word, and
// ZULRA_FindClass, the one lookup of a class by its name.
//
// The order of the rows decides both which name an abbreviation reaches
// (the first row that accepts it) and how a word is printed (the first
// rows that cover its bits), so the combinations come first and STATE
// stands before STORAGE.
#include "ras/zulralg.h"

static constinit const ZULRA_class_t class_table[] = {
    {0xFFFFFFFFu, 3, 3, "ALL"},
    {0x000000FFu, 6, 10, "EVERYTRACE"},
    {0x00001E00u, 6, 10, "EVERYENTRY"},
    {0xFFFFE000u, 6, 9, "EVERYUNIT"},
    {0x00000080u, 2, 5, "ERROR"},
    {0x00000040u, 2, 4, "FLOW"},
    {0x00000020u, 2, 4, "TIME"},
    {0x00000010u, 2, 5, "STATE"},
    {0x00000008u, 2, 5, "INPUT"},
    {0x00000004u, 3, 6, "OUTPUT"},
    {0x00000002u, 2, 7, "METRICS"},
    {0x00000001u, 2, 6, "DETAIL"},
    {0x00000100u, 3, 3, "ANY"},
    {0x00001000u, 2, 5, "MINOR"},
    {0x00000800u, 3, 7, "PRIVATE"},
    {0x00000400u, 2, 10, "RESTRICTED"},
    {0x00000200u, 2, 6, "PUBLIC"},
    {0x80000000u, 2, 11, "APPLICATION"},
    {0x40000000u, 2, 9, "SUBSYSTEM"},
    {0x20000000u, 2, 7, "LIBRARY"},
    {0x10000000u, 2, 6, "KERNEL"},
    {0x08000000u, 2, 8, "DATABASE"},
    {0x04000000u, 3, 12, "PRESENTATION"},
    {0x02000000u, 2, 6, "CLIENT"},
    {0x01000000u, 2, 6, "SERVER"},
    {0x00800000u, 2, 7, "NETWORK"},
    {0x00400000u, 2, 6, "OBJECT"},
    {0x00200000u, 2, 4, "FILE"},
    {0x00100000u, 2, 6, "THREAD"},
    {0x00080000u, 2, 6, "WINDOW"},
    {0x00040000u, 2, 4, "VIEW"},
    {0x00020000u, 2, 7, "STORAGE"},
    {0x00010000u, 2, 7, "TOOLKIT"},
    {0x00004000u, 2, 5, "AGENT"},
    {0x00008000u, 3, 5, "PROBE"},
    {0x00002000u, 2, 7, "MANAGER"},
    {0x00000000u, 2, 4, "NONE"},
    {0, 0, 0, nullptr},
};

const struct ZULRA_class *ZULRA_ClassTable(void)
{
    return class_table;
}

const ZULRA_class_t *ZULRA_FindClass(const char *name, uint32_t length, int none)
{
    for (const ZULRA_class_t *row = class_table; row->text != nullptr; row++) {
        if (row->value == 0 && !none)
            return nullptr;
        if (length >= row->minLength && length <= row->maxLength &&
            BSS1_Match(name, row->text, length) == 0)
            return row;
    }
    return nullptr;
}
