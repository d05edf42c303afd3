// Shared pieces of the scanner, argument-list and parameter-file tests.
#ifndef ZUL_TESTS_LEX_LEXTEST_H
#define ZUL_TESTS_LEX_LEXTEST_H

#include <zul/lex1.h>

#include <string>

// The n-th allocation (malloc, calloc or realloc) after FailAllocAfter(n)
// returns null; 0 disarms.
void FailAllocAfter(int n);

// Collects what a format object writes, as plain text.
struct Capture {
    ZULSS_format_t *format = nullptr;
    std::string text;
    Capture();
    ~Capture();
    // Everything written so far, the open line included.
    const std::string &Take();
};

#endif
