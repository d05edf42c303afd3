// zulplsi - facts about the machine, the system and the process.
#include "platform/zulplsi.h"

#include <pwd.h>
#include <stdio.h>
#include <string.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>

// The user part of the address space of an x86-64 process with four-level
// page tables: 47 bits.
#define USER_ADDRESS_SPACE (UINT64_C(1) << 47)

static void copy_cut(char *to, size_t size, const char *from)
{
    size_t n = strlen(from);
    if (n >= size)
        n = size - 1;
    memcpy(to, from, n);
    to[n] = '\0';
}

// Bytes of address space the process has mapped, from /proc/self/statm.
static uint64_t mapped_bytes(uint64_t pageSize)
{
    FILE *f = fopen("/proc/self/statm", "re");
    if (f == nullptr)
        return 0;
    unsigned long long pages = 0;
    if (fscanf(f, "%llu", &pages) != 1)
        pages = 0;
    fclose(f);
    return pages * pageSize;
}

void ZULPL_SystemFacts(ZULPL_facts_t *facts)
{
    memset(facts, 0, sizeof *facts);

    struct utsname names;
    if (uname(&names) == 0) {
        copy_cut(facts->machine, sizeof facts->machine, names.nodename);
        copy_cut(facts->system, sizeof facts->system, names.sysname);
        copy_cut(facts->release, sizeof facts->release, names.release);
    }

    long processors = sysconf(_SC_NPROCESSORS_ONLN);
    facts->processors = processors > 0 ? (uint32_t)processors : 0;
    long page = sysconf(_SC_PAGESIZE);
    facts->pageSize = page > 0 ? (uint64_t)page : 0;

    struct sysinfo memory;
    if (sysinfo(&memory) == 0) {
        uint64_t unit = memory.mem_unit ? memory.mem_unit : 1;
        facts->physTotal = (uint64_t)memory.totalram * unit;
        facts->physAvail = ((uint64_t)memory.freeram + memory.bufferram) * unit;
        facts->swapTotal = (uint64_t)memory.totalswap * unit;
        facts->swapAvail = (uint64_t)memory.freeswap * unit;
    }

    facts->virtTotal = USER_ADDRESS_SPACE;
    uint64_t mapped = mapped_bytes(facts->pageSize);
    facts->virtAvail = mapped < USER_ADDRESS_SPACE ? USER_ADDRESS_SPACE - mapped : 0;
}

size_t ZULPL_UserName(char *buffer, size_t size)
{
    if (size == 0)
        return 0;
    buffer[0] = '\0';
    char work[4096];
    struct passwd entry, *found = nullptr;
    if (getpwuid_r(geteuid(), &entry, work, sizeof work, &found) != 0 || found == nullptr ||
        found->pw_name == nullptr)
        return 0;
    copy_cut(buffer, size, found->pw_name);
    return strlen(buffer);
}

uint32_t ZULPL_ProcessId(void)
{
    return (uint32_t)getpid();
}

int ZULPL_LocalTime(time_t when, struct tm *out)
{
    return localtime_r(&when, out) != nullptr ? 0 : -1;
}
