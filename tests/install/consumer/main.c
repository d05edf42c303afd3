#include <zul/zul.h>
#include <stdio.h>

#if !ZUL_VERSION_AT_LEAST(ZUL_VERSION_MAJOR, ZUL_VERSION_MINOR, ZUL_VERSION_PATCH) || \
    ZUL_VERSION_AT_LEAST(ZUL_VERSION_MAJOR, ZUL_VERSION_MINOR, ZUL_VERSION_PATCH + 1)
#error "ZUL_VERSION does not order as its three parts do"
#endif

/* Prints the headers' version; the install check compares it with the
 * package's and the shared library's name. */
int main(void)
{
    ZULSS_time_t t;
    BSS1_GetTime(&t);
    printf("%s\n", ZUL_VERSION_STRING);
    return BSS1_ThreadID() != 0 ? 0 : 1;
}
