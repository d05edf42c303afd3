// platform/zulplsi.h - facts about the machine, the system and the
// process, for the information items.  Linux (glibc) implementation.
#ifndef ZUL_SRC_PLATFORM_ZULPLSI_H
#define ZUL_SRC_PLATFORM_ZULPLSI_H

#include <stddef.h>
#include <stdint.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

// Sizes in bytes; a figure the system does not give is 0.
typedef struct ZULPL_facts {
    char machine[256]; // node name; "" if none
    char system[72];   // name of the operating system, "Linux"
    char release[72];  // its release, "6.1.0-13-amd64"
    uint32_t processors;
    uint64_t pageSize;
    uint64_t physTotal, physAvail;
    uint64_t swapTotal, swapAvail;
    uint64_t virtTotal, virtAvail; // the process's user address space
} ZULPL_facts_t;

// Fills `facts`; what cannot be found stays empty or 0.
void ZULPL_SystemFacts(ZULPL_facts_t *facts);

// The name of the effective user into `buffer` (NUL-terminated, cut to
// fit).  Returns its length, 0 if the user has no name.
size_t ZULPL_UserName(char *buffer, size_t size);

// The ID of the process.
uint32_t ZULPL_ProcessId(void);

// `when` as local time; returns 0 on success.
int ZULPL_LocalTime(time_t when, struct tm *out);

#ifdef __cplusplus
}
#endif

#endif
