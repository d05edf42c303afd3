/* Calls of the log and the format engine as a program writes them, for
 * the compiler's format check: clean, this file compiles with -Wall
 * -Wextra -Werror as C and as C++; with ZUL_WRONG set to a case number,
 * one call gives a value that its directive does not read, and the
 * compile must fail with a format error (tests.cmake). */
#include <zul/ras1.h>

RAS1_DECLARE_UNIT_EX("fmtchk", RAS1_APPLICATION, "1", "TEST", 0);

void format_check(ZULSS_format_t *out, size_t n, const char *peer, int fd, long long offset);
int format_quiet(int x);

void format_check(ZULSS_format_t *out, size_t n, const char *peer, int fd, long long offset)
{
    RAS1_DECLARE_ENTRY(entry, "format_check", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);
    RAS1_LOG(entry, classes, RAS1_DETAIL, "read %zu bytes from %s at %lld on %d\n", n, peer, offset, fd);
    RAS1_LOG(entry, classes, RAS1_STATE, "no values\n");
    RAS1_LOG_KIND(entry, classes, RAS1_ANY, RAS1_ERROR, "%s failed\n", peer);
    RAS1_DUMP(entry, classes, RAS1_INPUT, peer, 4, NULL);
    if (RAS1_WANTS(classes, RAS1_DETAIL))
        RAS1_Printf(&entry, __LINE__, "%p %hhx %jd\n", (void *)peer, (unsigned char)fd, (intmax_t)offset);
    BSS1_PrintFormat(out, "%zu %s %d\n", n, peer, fd);
#if ZUL_WRONG == 1 /* a size_t for %u */
    RAS1_LOG(entry, classes, RAS1_DETAIL, "read %u bytes\n", n);
#elif ZUL_WRONG == 2 /* an int for %s */
    BSS1_PrintFormat(out, "from %s\n", fd);
#elif ZUL_WRONG == 3 /* a 32-bit value for %lld */
    RAS1_DUMP(entry, classes, RAS1_INPUT, peer, 4, "at %lld\n", fd);
#elif ZUL_WRONG == 4 /* the values the wrong way round */
    RAS1_Printf(&entry, __LINE__, "%zu bytes from %s\n", peer, n);
#endif
    RAS1_EXIT(entry, flow);
}

/* A traced function that writes nothing leaves its locals unused, without
 * a warning. */
int format_quiet(int x)
{
    RAS1_DECLARE_ENTRY(entry, "format_quiet", RAS1_MINOR);
    RAS1_QUICK(entry, classes, flow);
    return x + 1;
}
