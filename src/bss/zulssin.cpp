// zulssin - BSS1_Info: facts about the process and the machine as short
// texts, worked out once in a process block of their own.
#include "bss/zulss.h"
#include "platform/zulplat.h"
#include "platform/zulplsi.h"
#include "internal/zulprogram.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

// The build environment value shown as item 10: 'L' for Linux in the high
// byte, and 0x64 for the 64-bit build.
#define ZULSS_MAC1_ENV 0x4C64u

// A text is worked out in a local buffer of this size; texts recorded by
// BSS1_Main must be shorter to be shown.
#define ITEM_BUFFER 1024

typedef struct ZULSS_item {
    char *text; // heap memory with a NUL behind `length` bytes; null if no value
    uint32_t length;
} ZULSS_item_t;

// The information block.  Sizes in `memory` are megabytes, rounded up;
// `pageSize` is in kilobytes, rounded up.
typedef struct ZULSS_info {
    time_t now; // when the block was built
    ZULSS_item_t items[BSS1_INFO_COUNT];
    struct {
        char machine[256];
        char name[72];
        char release[72];
        uint32_t processors;
        uint64_t pageSize;
    } system;
    struct {
        uint64_t totalPhys, availPhys;
        uint64_t totalPage, availPage;
        uint64_t totalVirtual, availVirtual;
    } memory;
} ZULSS_info_t;

static uint64_t megabytes(uint64_t bytes)
{
    return (bytes + 1048575u) >> 20;
}

// `format` is one of the literals below: one directive for an unsigned
// long long, which `value` always is.
static int put(char *out, const char *format, unsigned long long value)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    return snprintf(out, ITEM_BUFFER, format, value);
#pragma GCC diagnostic pop
}

// Works item `item` out into `out` (ITEM_BUFFER bytes); returns its length,
// 0 where it has no value.
static size_t work_out(const ZULSS_info_t *info, uint32_t item, char *out)
{
    int n = 0;
    struct tm local;
    out[0] = '\0';
    switch (item) {
    case BSS1_INFO_SYSTEMNAME:
        n = snprintf(out, ITEM_BUFFER, "%s", info->system.machine);
        break;
    case BSS1_INFO_OSNAME:
        n = snprintf(out, ITEM_BUFFER, "%s", info->system.name);
        break;
    case BSS1_INFO_OSVERSION:
        n = snprintf(out, ITEM_BUFFER, "%s", info->system.release);
        break;
    case BSS1_INFO_PROCESSID:
        n = put(out, "%llu", ZULPL_ProcessId());
        break;
    case BSS1_INFO_PROGRAM:
        return ZULSS_ProgramBase(out, ITEM_BUFFER);
    case BSS1_INFO_USER:
        return ZULPL_UserName(out, ITEM_BUFFER);
    case BSS1_INFO_JOB:
        return 0;
    case BSS1_INFO_TASK: {
        const char *name = ZULSS_ProgramName();
        if (name != nullptr && strlen(name) < ITEM_BUFFER)
            n = snprintf(out, ITEM_BUFFER, "%s", name);
        else
            return work_out(info, BSS1_INFO_PROGRAM, out);
        break;
    }
    case BSS1_INFO_SYSTEMTYPE:
        n = snprintf(out, ITEM_BUFFER, "%s;%s", info->system.name, info->system.release);
        break;
    case BSS1_INFO_COMMANDLINE: {
        const char *line = ZULSS_CommandLine();
        if (line != nullptr && strlen(line) < ITEM_BUFFER)
            n = snprintf(out, ITEM_BUFFER, "%s", line);
        break;
    }
    case BSS1_INFO_MACROENV:
        n = put(out, "0x%04llX", ZULSS_MAC1_ENV);
        break;
    case BSS1_INFO_STARTDATE:
    case BSS1_INFO_STARTTIME:
        if (ZULPL_LocalTime(info->now, &local) != 0)
            return 0;
        return strftime(out, ITEM_BUFFER, item == BSS1_INFO_STARTDATE ? "%Y/%m/%d" : "%H:%M:%S",
                        &local);
    case BSS1_INFO_CPUCOUNT:
        n = put(out, "%llu", info->system.processors);
        break;
    case BSS1_INFO_PAGESIZE:
        n = put(out, "%lluK", info->system.pageSize);
        break;
    case BSS1_INFO_PHYSMEMORY:
        n = put(out, "%lluM", info->memory.totalPhys);
        break;
    case BSS1_INFO_VIRTMEMORY:
        n = put(out, "%lluM", info->memory.totalVirtual);
        break;
    case BSS1_INFO_PAGESPACE:
        n = put(out, "%lluM", info->memory.totalPage);
        break;
    default:
        return 0;
    }
    if (n < 0)
        return 0;
    return (size_t)n < ITEM_BUFFER ? (size_t)n : ITEM_BUFFER - 1;
}

static void construct_info(void *argument)
{
    ZULSS_info_t *info = (ZULSS_info_t *)argument;
    info->now = static_cast<time_t>(ZULPL_CalendarNow(nullptr));

    ZULPL_facts_t facts;
    ZULPL_SystemFacts(&facts);
    memcpy(info->system.machine, facts.machine, sizeof info->system.machine);
    memcpy(info->system.name, facts.system, sizeof info->system.name);
    memcpy(info->system.release, facts.release, sizeof info->system.release);
    info->system.processors = facts.processors;
    info->system.pageSize = (facts.pageSize + 1023u) >> 10;
    info->memory.totalPhys = megabytes(facts.physTotal);
    info->memory.availPhys = megabytes(facts.physAvail);
    info->memory.totalPage = megabytes(facts.swapTotal);
    info->memory.availPage = megabytes(facts.swapAvail);
    info->memory.totalVirtual = megabytes(facts.virtTotal);
    info->memory.availVirtual = megabytes(facts.virtAvail);

    // Each text once to learn its length, then again into memory of its
    // own; an item whose memory cannot be had has no value.
    char local[ITEM_BUFFER];
    for (uint32_t item = 0; item < BSS1_INFO_COUNT; item++) {
        size_t length = work_out(info, item, local);
        if (length == 0)
            continue;
        char *text = (char *)malloc(length + 1);
        if (text == nullptr)
            continue;
        work_out(info, item, local);
        memcpy(text, local, length);
        text[length] = '\0';
        info->items[item].text = text;
        info->items[item].length = (uint32_t)length;
    }
}

static constinit ZULSS_descriptor_t info_descriptor = {sizeof(ZULSS_info_t), construct_info,
                                                       nullptr, 0, 0};

uint32_t BSS1_Info(uint32_t item, char *buffer, uint32_t size)
{
    if (item >= BSS1_INFO_COUNT)
        return 0;
    const ZULSS_info_t *info = (const ZULSS_info_t *)ZULSS_PROCESS_BLOCK(&info_descriptor);
    const ZULSS_item_t *it = &info->items[item];
    // The process ID is the one item worked out at each call: a child that
    // fork made without exec, even one made by a bare system call that
    // runs no fork handler, is a process of its own, and the console's
    // abend compares with this item.
    char pid[ITEM_BUFFER];
    ZULSS_item_t live;
    if (item == BSS1_INFO_PROCESSID) {
        live.text = pid;
        live.length = (uint32_t)work_out(info, item, pid);
        it = &live;
    }
    if (it->length == 0)
        return 0;
    if (buffer == nullptr)
        return it->length;
    uint32_t n = it->length < size ? it->length : size;
    memcpy(buffer, it->text, n);
    if (it->length < size)
        buffer[n] = '\0';
    return n;
}
