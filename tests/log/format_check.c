/* Calls of the log and the format engine as a program writes them, for
 * the compiler's format check: clean, this file compiles under
 * -Werror=format as C and as C++; with ZUL_WRONG set to a case number,
 * one call gives a value that its directive does not read, and the
 * compile must fail (tests.cmake). */
#include <zul/ras1.h>

RAS1_DECLARE_UNIT_EX("fmtchk", RAS1_APPLICATION, "1", "TEST", 0);

void format_check(ZULSS_format_t *out, size_t n, const char *peer, int fd, long long offset)
{
    RAS1_DECLARE_ENTRY(entry, "format_check", RAS1_PUBLIC);
    RAS1_ENTRY(entry, classes, flow);
    if (RAS1_WANTS(classes, RAS1_DETAIL))
        RAS1_Printf(&entry, __LINE__, "read %zu bytes from %s at %lld on %d\n", n, peer, offset, fd);
    if (RAS1_WANTS(classes, RAS1_INPUT))
        RAS1_Dump(&entry, __LINE__, peer, 4, "%s", peer);
    BSS1_PrintFormat(out, "%zu %s %d\n", n, peer, fd);
#if ZUL_WRONG == 1 /* a size_t for %u */
    RAS1_Printf(&entry, __LINE__, "read %u bytes\n", n);
#elif ZUL_WRONG == 2 /* an int for %s */
    BSS1_PrintFormat(out, "from %s\n", fd);
#elif ZUL_WRONG == 3 /* a 32-bit value for %lld */
    RAS1_Dump(&entry, __LINE__, peer, 4, "at %lld\n", fd);
#endif
    RAS1_EXIT(entry, flow);
}
