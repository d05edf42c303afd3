// prm/zulpm.h - the record of an open parameter file.
#ifndef ZUL_SRC_PRM_ZULPM_H
#define ZUL_SRC_PRM_ZULPM_H

#include <zul/prm1.h>

#include <stdio.h>

// One allocation; the name's text follows the record.
struct ZULPM_file {
    char *name;          // the path, or "<stdin>"
    FILE *stream;        // the open file, or stdin
    uint32_t lineNumber; // physical lines begun so far
    uint32_t capacity;   // size of buffer; grows by 256 bytes
    char *buffer;        // the line buffer; null at the start
};

// The step by which the line buffer grows, and the room it keeps free
// for each read.
#define ZULPM_STEP 256u

#endif
